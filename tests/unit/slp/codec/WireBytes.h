#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <gtest/gtest.h>

#include "slp/wire/Codec.h"

/// What tests do with the bytes of messages.
namespace slp::test {

inline std::string encoded(const wire::Message& message) {
  std::string bytes;
  EXPECT_TRUE(wire::encode(message, bytes));
  return bytes;
}

/// The message, whose views are of `bytes`; nothing when it was rejected.
inline std::optional<wire::Message> decoded(std::string_view bytes) {
  auto result = wire::decode(wire::bytesOf(bytes));
  if (auto* message = std::get_if<wire::Message>(&result)) return std::move(*message);
  return std::nullopt;
}

/// Its views would outlive the bytes.
std::optional<wire::Message> decoded(std::string&& bytes) = delete;

inline bool accepts(std::string_view bytes) {
  return decoded(bytes).has_value();
}

inline std::optional<wire::Rejected> rejected(std::string_view bytes) {
  const auto result = wire::decode(wire::bytesOf(bytes));
  if (const auto* rejection = std::get_if<wire::Rejected>(&result)) return *rejection;
  return std::nullopt;
}

std::optional<wire::Rejected> rejected(std::string&& bytes) = delete;

inline std::string u16(std::size_t value) {
  return {static_cast<char>(value >> 8U & 0xFFU), static_cast<char>(value & 0xFFU)};
}

inline std::string u24(std::size_t value) {
  return static_cast<char>(value >> 16U & 0xFFU) + u16(value & 0xFFFFU);
}

/// The bytes with a header that says how many they are.
inline std::string withTrueLength(std::string bytes) {
  return bytes.replace(2, 3, u24(bytes.size()));
}

inline std::string withFirstExtensionAt(std::string bytes, std::size_t offset) {
  return bytes.replace(7, 3, u24(offset));
}

}  // namespace slp::test
