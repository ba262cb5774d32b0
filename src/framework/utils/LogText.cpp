#include "framework/utils/LogText.h"

namespace utils::logging {
namespace {

void appendEscaped(std::string& line, unsigned char byte) {
  constexpr char kHex[] = "0123456789abcdef";
  switch (byte) {
    case '\n':
      line += "\\n";
      break;
    case '\r':
      line += "\\r";
      break;
    case '\t':
      line += "\\t";
      break;
    default:
      line += "\\x";
      line += kHex[byte >> 4];
      line += kHex[byte & 15];
  }
}

bool isControl(unsigned char byte) {
  return byte < 0x20 || byte == 0x7F;
}

/// The control characters beyond ASCII, as UTF-8 has them: C2 80 to C2 9F.
bool isWideControl(std::string_view text, std::size_t at) {
  if (static_cast<unsigned char>(text[at]) != 0xC2 || at + 1 >= text.size()) return false;
  const auto second = static_cast<unsigned char>(text[at + 1]);
  return second >= 0x80 && second <= 0x9F;
}

/// The text without a character that the limit would cut in two.
std::string_view bounded(std::string_view text) {
  if (text.size() <= kMaxRecordLength) return text;
  std::size_t end = kMaxRecordLength;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
    --end;
  return text.substr(0, end);
}

}  // namespace

std::string printable(std::string_view text) {
  const std::string_view kept = bounded(text);
  std::string line;
  line.reserve(kept.size());
  for (std::size_t i = 0; i < kept.size(); ++i) {
    const auto byte = static_cast<unsigned char>(kept[i]);
    if (isWideControl(kept, i)) {
      appendEscaped(line, static_cast<unsigned char>(kept[++i]));
    } else if (isControl(byte)) {
      appendEscaped(line, byte);
    } else {
      line += kept[i];
    }
  }
  if (kept.size() < text.size()) line += "...";
  return line;
}

}  // namespace utils::logging
