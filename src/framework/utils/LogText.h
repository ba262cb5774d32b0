#pragma once

#include <string>
#include <string_view>

namespace utils::logging {

/// The longest text of one record that is written, in bytes.
constexpr std::size_t kMaxRecordLength = 8192;

/// A record's text as one line of a console or file: control characters, which could forge lines or drive a terminal,
/// become escapes ("\n", "\x1b"); what is longer than the limit is cut and ends in "...".
std::string printable(std::string_view text);

}  // namespace utils::logging
