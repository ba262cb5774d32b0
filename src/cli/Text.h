#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text that other machines chose, made fit for a terminal. Input is UTF-8; what is not counts as U+FFFD.
namespace cli {

/// Controls, terminal escapes, line ends, invisible characters and those that turn the direction of writing become the
/// visible "\u001b" or "\U000e0041": what a peer sends can neither steer the terminal nor pass for something else.
std::string neutralise(std::string_view text);

/// The same for a JSON document, where these only occur within strings and an escape means the same text. Line ends and
/// TABs, its own layout, stay.
std::string neutraliseJson(std::string_view document);

/// Terminal columns of neutralised text.
std::size_t displayWidth(std::string_view text);

/// The text itself, or its beginning and "..." in `columns` (3 at least) when it is wider.
std::string shorten(std::string_view text, std::size_t columns);

}  // namespace cli
