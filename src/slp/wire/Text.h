#pragma once

#include <string>
#include <string_view>

/// How SLP compares texts (RFC 2608, section 6.4): ASCII letters without case, white space inside folded to one blank,
/// white space around it ignored. URLs are not compared like this, but byte by byte.
namespace slp::wire {

constexpr bool isBlank(char character) {
  return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

/// What no URL, tag or log line may hold.
constexpr bool isControl(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

constexpr char lowered(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

/// Without the white space around it.
constexpr std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back()))
    text.remove_suffix(1);
  return text;
}

/// The form in which equal texts are equal bytes.
std::string folded(std::string_view text);
/// The same for a piece from within a text, whose outer white space counts and becomes one blank.
std::string foldedPiece(std::string_view piece);
/// Negative, zero or positive, as the folded forms compare; allocates nothing.
int compareFolded(std::string_view left, std::string_view right);
inline bool equalFolded(std::string_view left, std::string_view right) {
  return compareFolded(left, right) == 0;
}

/// The bytes of `tag` that name the language, without the dialect ("en" of "en-GB"); RFC 2608, section 16.
std::string_view primaryLanguage(std::string_view tag);

}  // namespace slp::wire
