#include "host/config/LogLevel.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <optional>

#include "framework/utils/Log.h"

namespace host {
namespace {

struct Level {
  std::string_view name;
  unsigned int mask;
};

/// Each level includes those before it.
constexpr unsigned int kError = utils::LOG_ERROR;
constexpr unsigned int kWarning = kError | utils::LOG_FAILURE | utils::LOG_MISMATCH;
constexpr unsigned int kInfo = kWarning | utils::LOG_INVENTORY | utils::LOG_INVENTORY_DETAIL;
constexpr unsigned int kDetail = kInfo | utils::LOG_DETAIL;
constexpr unsigned int kTrace = kDetail | utils::LOG_TRACE;
constexpr std::array kLevels{Level{"error", kError}, Level{"warning", kWarning}, Level{"info", kInfo},
                             Level{"detail", kDetail}, Level{"trace", kTrace}};

std::optional<unsigned int> parseMask(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x");
  if (hexadecimal) text.remove_prefix(2);
  unsigned int mask = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mask, hexadecimal ? 16 : 10);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() || mask > 0xFF) return std::nullopt;
  return mask;
}

}  // namespace

Result<unsigned int> parseLogLevel(std::string_view text) {
  for (const Level& level : kLevels) {
    if (level.name == text) return level.mask;
  }
  if (const auto mask = parseMask(text)) return *mask;
  return Failure{"\"" + std::string(text) +
                 "\" is no log level: write error, warning, info, detail, trace or a mask from 0 to 255"};
}

std::string logLevelName(unsigned int mask) {
  for (const Level& level : kLevels) {
    if (level.mask == mask) return std::string(level.name);
  }
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%02x", mask);
  return text.data();
}

}  // namespace host
