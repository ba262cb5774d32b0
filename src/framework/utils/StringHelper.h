#pragma once

#include <string>
#include <vector>

namespace utils {

/// Text helpers. ASCII case rules, byte by byte.
class StringHelper {
 public:
  static void to_lower(std::string& text);
  /// Replaces `parts` by the pieces between separators, empty ones included, but for an empty last one. An empty
  /// separator gives the whole text.
  static void split(std::vector<std::string>& parts, const std::string& text, const std::string& separator);
  /// Every occurrence, left to right; what was put in is not searched again. An empty `from` changes nothing.
  static void replace(std::string& text, const std::string& from, const std::string& to);
  /// True when equal.
  static bool compare_ignore_case(const std::string& left, const std::string& right);
  /// A hash of the text, the same in every process.
  static int getStringArrayHashCode(std::string text);
};

}  // namespace utils
