#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace slp::wire {

/// The types that values have by their look (RFC 2608, section 5).
enum class ValueKind : std::uint8_t { kInteger, kBoolean, kString, kOpaque };

/// One value of an attribute, or what a filter compares it with, in the form in which equal values are equal.
struct TypedValue {
  ValueKind kind = ValueKind::kString;
  std::int32_t integer = 0;  ///< of kInteger; 0 or 1 of kBoolean
  std::string text;          ///< of kString: unescaped and folded; of kOpaque: the bytes
};

/// Reads a value as it stands in a list or a filter. Never fails: what is no escape stands for itself.
TypedValue readValue(std::string_view raw);
/// Whether every escape is one that may be used: of a reserved character or a star, or bytes of an opaque value.
/// Filters with others are refused.
bool hasProperEscapes(std::string_view raw);

}  // namespace slp::wire
