#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace json::detail {

// The length of the well-formed UTF-8 sequence at the start of a text that is not empty; 0 when it is not well-formed
// (overlong, a surrogate, beyond U+10FFFF or cut off).
std::size_t utf8SequenceLength(std::string_view text) noexcept;

// Appends the sequence of a code point up to U+10FFFF that is no surrogate.
void appendUtf8(std::string& text, unsigned codePoint);

}  // namespace json::detail
