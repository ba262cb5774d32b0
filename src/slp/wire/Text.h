#pragma once

#include <string>
#include <string_view>

/// How SLP compares texts (RFC 2608, section 6.4): ASCII letters without case, white space inside folded to one blank,
/// white space around it ignored. URLs are not compared like this, but byte by byte.
namespace slp::wire {

/// The form in which equal texts are equal bytes.
std::string folded(std::string_view text);
/// Negative, zero or positive, as the folded forms compare; allocates nothing.
int compareFolded(std::string_view left, std::string_view right);
inline bool equalFolded(std::string_view left, std::string_view right) {
  return compareFolded(left, right) == 0;
}

/// The bytes of `tag` that name the language, without the dialect ("en" of "en-GB"); RFC 2608, section 16.
std::string_view primaryLanguage(std::string_view tag);

}  // namespace slp::wire
