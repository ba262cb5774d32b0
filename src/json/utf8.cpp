#include "json/utf8.h"

namespace json::detail {
namespace {

struct Form {
  std::size_t length;
  // The bounds of the second byte; they keep out overlong forms, surrogates and what is beyond U+10FFFF.
  unsigned char secondLow;
  unsigned char secondHigh;
};

Form formOf(unsigned char first) noexcept {
  if (first < 0x80) return {1, 0, 0};
  if (first < 0xC2) return {0, 0, 0};
  if (first < 0xE0) return {2, 0x80, 0xBF};
  if (first == 0xE0) return {3, 0xA0, 0xBF};
  if (first == 0xED) return {3, 0x80, 0x9F};
  if (first < 0xF0) return {3, 0x80, 0xBF};
  if (first == 0xF0) return {4, 0x90, 0xBF};
  if (first < 0xF4) return {4, 0x80, 0xBF};
  if (first == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

}  // namespace

std::size_t utf8SequenceLength(std::string_view text) noexcept {
  const Form form = formOf(static_cast<unsigned char>(text.front()));
  if (form.length < 2) return form.length;
  if (text.size() < form.length) return 0;
  const auto second = static_cast<unsigned char>(text[1]);
  if (second < form.secondLow || second > form.secondHigh) return 0;
  for (std::size_t index = 2; index < form.length; ++index) {
    if ((static_cast<unsigned char>(text[index]) & 0xC0) != 0x80) return 0;
  }
  return form.length;
}

void appendUtf8(std::string& text, unsigned codePoint) {
  const auto append = [&text](unsigned byte) { text.push_back(static_cast<char>(byte)); };
  const auto appendRest = [&](int shift) {
    for (; shift >= 0; shift -= 6) {
      append(0x80 | (codePoint >> shift & 0x3F));
    }
  };
  if (codePoint < 0x80) {
    append(codePoint);
  } else if (codePoint < 0x800) {
    append(0xC0 | codePoint >> 6);
    appendRest(0);
  } else if (codePoint < 0x10000) {
    append(0xE0 | codePoint >> 12);
    appendRest(6);
  } else {
    append(0xF0 | codePoint >> 18);
    appendRest(12);
  }
}

}  // namespace json::detail
