#pragma once

#include <algorithm>
#include <cctype>
#include <string_view>

namespace host {

/// Without the blanks and tabs around it.
inline std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

inline bool equalIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  });
}

/// Calls `visit` with each element of a header such as "a, b;q=1", trimmed, the empty ones left out (RFC 9110 section
/// 5.6.1). Does not look into quoted texts.
template <typename Visit>
void forEachElement(std::string_view header, Visit visit) {
  while (!header.empty()) {
    const auto comma = std::min(header.find(','), header.size());
    const std::string_view element = trimmed(header.substr(0, comma));
    if (!element.empty()) visit(element);
    header.remove_prefix(std::min(comma + 1, header.size()));
  }
}

}  // namespace host
