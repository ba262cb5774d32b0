#include "slp/wire/Escape.h"

namespace slp::wire {
namespace {

constexpr std::size_t kEscapeSize = 3;

std::optional<unsigned> hexDigit(char character) {
  if (character >= '0' && character <= '9') return static_cast<unsigned>(character - '0');
  if (character >= 'a' && character <= 'f') return static_cast<unsigned>(character - 'a' + 10);
  if (character >= 'A' && character <= 'F') return static_cast<unsigned>(character - 'A' + 10);
  return std::nullopt;
}

/// Star is no reserved character, but no tag may have it either.
bool isBadInTag(char character) {
  return character == '\r' || character == '\n' || character == '\t' || character == '_' || character == '*';
}

void appendEscaped(std::string& out, char character) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const unsigned byte = static_cast<unsigned char>(character);
  out += '\\';
  out += kDigits[byte >> 4U];
  out += kDigits[byte & 0xFU];
}

}  // namespace

bool isReserved(char character) {
  switch (character) {
    case '(':
    case ')':
    case ',':
    case '\\':
    case '!':
    case '<':
    case '=':
    case '>':
    case '~':
    case '\x7F':
      return true;
    default:
      return static_cast<unsigned char>(character) < 0x20U;
  }
}

std::optional<char> escapedByte(std::string_view text) {
  if (text.size() < kEscapeSize || text.front() != '\\') return std::nullopt;
  const std::optional<unsigned> high = hexDigit(text[1]);
  const std::optional<unsigned> low = hexDigit(text[2]);
  if (!high || !low) return std::nullopt;
  return static_cast<char>(*high << 4U | *low);
}

bool isOpaque(std::string_view value) {
  return escapedByte(value) == '\xFF';
}

std::optional<std::string> escape(std::string_view text, TextKind kind) {
  std::string result;
  result.reserve(text.size());
  for (const char character : text) {
    if (kind == TextKind::kTag && isBadInTag(character)) return std::nullopt;
    if (isReserved(character)) {
      appendEscaped(result, character);
    } else {
      result += character;
    }
  }
  return result;
}

std::optional<std::string> unescape(std::string_view text, TextKind kind) {
  if (kind == TextKind::kValue && isOpaque(text)) return std::string(text);
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const bool escaped = text.front() == '\\';
    const std::optional<char> byte = escaped ? escapedByte(text) : text.front();
    if (!byte || (escaped && !isReserved(*byte))) return std::nullopt;
    if (kind == TextKind::kTag && isBadInTag(*byte)) return std::nullopt;
    result += *byte;
    text.remove_prefix(escaped ? kEscapeSize : 1);
  }
  return result;
}

std::string unescapeLeniently(std::string_view text) {
  if (text.find('\\') == std::string_view::npos) return std::string(text);
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::optional<char> byte = escapedByte(text);
    result += byte.value_or(text.front());
    text.remove_prefix(byte ? kEscapeSize : 1);
  }
  return result;
}

}  // namespace slp::wire
