#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace slp::wire {

/// A text with stars, each of which stands for any characters (RFC 2608, sections 6.4 and 9.4). Matching takes time
/// linear in the text, whatever the pattern.
class Pattern {
 public:
  /// Has at least one star; those that are escaped stand for themselves.
  explicit Pattern(std::string_view raw);

  bool matches(std::string_view foldedText) const;
  static std::size_t wildcardsIn(std::string_view raw);

 private:
  std::string mStart;
  std::vector<std::string> mMiddle;
  std::string mEnd;
};

}  // namespace slp::wire
