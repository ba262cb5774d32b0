#pragma once

#include <cstddef>
#include <string_view>

namespace json::detail {

// What a ParseException says when nothing wrong was found in a text that the parser rejected. Seeing it is a bug.
inline constexpr const char* kNoDiagnosis = "not a document";

// Throws what is wrong with a text that was rejected at the given offset: a Reader::ScanException if there is cause
// for one anywhere in the text, else a Reader::ParseException.
[[noreturn]] void throwDiagnosis(std::string_view text, std::size_t rejectedAt);

}  // namespace json::detail
