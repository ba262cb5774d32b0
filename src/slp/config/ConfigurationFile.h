#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace slp::config {

/// A line of a configuration file that is neither empty nor a comment.
struct ConfigurationLine {
  std::size_t number = 0;           ///< from 1
  std::optional<std::string> name;  ///< unescaped; none: the line is not of the form "name = value"
  std::string_view value;           ///< trimmed, escapes as they stand: what they mean depends on the property
};

std::vector<ConfigurationLine> linesOf(std::string_view text);

/// The whole of a file; empty, or why it cannot be read.
std::string readText(const std::string& path, std::string& into);

}  // namespace slp::config
