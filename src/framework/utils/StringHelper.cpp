#include "framework/utils/StringHelper.h"

#include <algorithm>
#include <cstdint>

namespace utils {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

void StringHelper::to_lower(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(), lower);
}

void StringHelper::split(std::vector<std::string>& parts, const std::string& text, const std::string& separator) {
  std::vector<std::string> pieces;
  std::size_t begin = 0;
  if (!separator.empty()) {
    for (std::size_t end = 0; (end = text.find(separator, begin)) != std::string::npos;
         begin = end + separator.size()) {
      pieces.push_back(text.substr(begin, end - begin));
    }
  }
  if (begin < text.size()) pieces.push_back(text.substr(begin));
  parts.swap(pieces);
}

void StringHelper::replace(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty()) return;
  std::string replaced;
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = text.find(from, begin)) != std::string::npos; begin = end + from.size()) {
    replaced.append(text, begin, end - begin);
    replaced += to;
  }
  replaced.append(text, begin);
  text.swap(replaced);
}

bool StringHelper::compare_ignore_case(const std::string& left, const std::string& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

int StringHelper::getStringArrayHashCode(std::string text) {
  std::uint32_t hash = 0;
  for (const char c : text)
    hash = hash * 31 + static_cast<unsigned char>(c);
  return static_cast<int>(hash);
}

}  // namespace utils
