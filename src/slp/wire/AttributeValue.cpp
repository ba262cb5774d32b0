#include "slp/wire/AttributeValue.h"

#include <algorithm>
#include <charconv>

#include "slp/wire/Escape.h"
#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

constexpr std::size_t kEscapeSize = 3;

std::optional<std::int32_t> integerOf(std::string_view text) {
  std::int32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end) return std::nullopt;
  return number;
}

bool isAllEscapes(std::string_view text) {
  for (; !text.empty(); text.remove_prefix(kEscapeSize))
    if (!escapedByte(text)) return false;
  return true;
}

}  // namespace

TypedValue readValue(std::string_view raw) {
  const std::string_view text = trimmed(raw);
  if (isOpaque(text)) return {ValueKind::kOpaque, 0, unescapeLeniently(text.substr(kEscapeSize))};
  if (const std::optional<std::int32_t> number = integerOf(text)) return {ValueKind::kInteger, *number, {}};
  if (equalFolded(text, "true")) return {ValueKind::kBoolean, 1, {}};
  if (equalFolded(text, "false")) return {ValueKind::kBoolean, 0, {}};
  return {ValueKind::kString, 0, folded(unescapeLeniently(text))};
}

bool hasProperEscapes(std::string_view raw) {
  std::string_view text = trimmed(raw);
  if (isOpaque(text)) return isAllEscapes(text);
  while (true) {
    text.remove_prefix(std::min(text.find('\\'), text.size()));
    if (text.empty()) return true;
    const std::optional<char> byte = escapedByte(text);
    if (!byte || !(isReserved(*byte) || *byte == '*')) return false;
    text.remove_prefix(kEscapeSize);
  }
}

}  // namespace slp::wire
