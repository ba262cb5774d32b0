#include "slp/wire/StringList.h"

#include <algorithm>
#include <unordered_set>

#include "slp/wire/Escape.h"
#include "slp/wire/Limits.h"
#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

/// Lists with no more pairs of elements than this are compared pair by pair, which allocates nothing.
constexpr std::size_t kFewPairs = 64;

/// Hands out the elements of a list one by one.
class Elements {
 public:
  explicit Elements(std::string_view list) : mRest(list) {}

  /// False at the end.
  bool next(std::string_view& element) {
    while (!mAtEnd && mCount < limits::kMaxListElements) {
      const std::size_t comma = mRest.find(',');
      element = trimmed(mRest.substr(0, comma));
      mAtEnd = comma == std::string_view::npos;
      if (!mAtEnd) mRest.remove_prefix(comma + 1);
      if (element.empty()) continue;
      ++mCount;
      return true;
    }
    return false;
  }

 private:
  std::string_view mRest;
  std::size_t mCount = 0;
  bool mAtEnd = false;
};

bool hasEscape(std::string_view text) {
  return text.find('\\') != std::string_view::npos;
}

/// "a\2c" is "a\2C".
int compareElements(std::string_view left, std::string_view right) {
  if (!hasEscape(left) && !hasEscape(right)) return compareFolded(left, right);
  return compareFolded(unescapeLeniently(left), unescapeLeniently(right));
}

std::size_t elementsAtMost(std::string_view list) {
  return static_cast<std::size_t>(std::count(list.begin(), list.end(), ',')) + 1;
}

/// Answers whether a list has an element; sorted first, so that two long lists do not cost their product.
class ElementSet {
 public:
  explicit ElementSet(std::string_view list) : mElements(splitList(list)) {
    std::sort(mElements.begin(), mElements.end(), less);
  }
  bool has(std::string_view element) const {
    return std::binary_search(mElements.begin(), mElements.end(), element, less);
  }

 private:
  static bool less(std::string_view left, std::string_view right) { return compareElements(left, right) < 0; }

  std::vector<std::string_view> mElements;
};

}  // namespace

std::vector<std::string_view> splitList(std::string_view list) {
  std::vector<std::string_view> result;
  std::string_view element;
  for (Elements elements(list); elements.next(element);)
    result.push_back(element);
  return result;
}

bool contains(std::string_view list, std::string_view element) {
  std::string_view candidate;
  for (Elements elements(list); elements.next(candidate);)
    if (compareElements(candidate, element) == 0) return true;
  return false;
}

bool intersects(std::string_view left, std::string_view right) {
  std::string_view element;
  if (elementsAtMost(left) * elementsAtMost(right) <= kFewPairs) {
    for (Elements elements(left); elements.next(element);)
      if (contains(right, element)) return true;
    return false;
  }
  const ElementSet set(right);
  for (Elements elements(left); elements.next(element);)
    if (set.has(element)) return true;
  return false;
}

std::string intersection(std::string_view left, std::string_view right) {
  std::string result;
  const ElementSet set(right);
  std::string_view element;
  for (Elements elements(left); elements.next(element);) {
    if (!set.has(element)) continue;
    if (!result.empty()) result += ',';
    result += element;
  }
  return result;
}

std::string merged(std::span<const std::string_view> lists) {
  std::string result;
  std::unordered_set<std::string> taken;
  for (const std::string_view list : lists) {
    std::string_view element;
    for (Elements elements(list); taken.size() < limits::kMaxListElements && elements.next(element);) {
      if (!taken.insert(folded(unescapeLeniently(element))).second) continue;
      if (!result.empty()) result += ',';
      result += element;
    }
  }
  return result;
}

}  // namespace slp::wire
