#include <algorithm>
#include <map>
#include <set>

#include "slp/wire/AttributeList.h"
#include "slp/wire/AttributeReader.h"
#include "slp/wire/Escape.h"
#include "slp/wire/Limits.h"
#include "slp/wire/Pattern.h"
#include "slp/wire/StringList.h"
#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

std::string comparable(std::string_view tag) {
  return folded(unescapeLeniently(tag));
}

/// The tags that a tag list asks for.
class TagSelection {
 public:
  explicit TagSelection(const std::vector<std::string_view>& tags) {
    std::size_t wildcards = 0;
    for (const std::string_view tag : tags) {
      const std::size_t own = Pattern::wildcardsIn(tag);
      if (own == 0) {
        mTags.push_back(comparable(tag));
      } else if (wildcards + own <= limits::kMaxWildcards) {
        mPatterns.emplace_back(tag);
        wildcards += own;
      }
    }
    std::sort(mTags.begin(), mTags.end());
  }

  bool has(std::string_view rawTag) const {
    const std::string tag = comparable(rawTag);
    return std::binary_search(mTags.begin(), mTags.end(), tag) ||
           std::any_of(mPatterns.begin(), mPatterns.end(),
                       [&tag](const Pattern& pattern) { return pattern.matches(tag); });
  }

 private:
  std::vector<std::string> mTags;
  std::vector<Pattern> mPatterns;
};

/// Puts terms together, each tag and each of its values once.
class Merger {
 public:
  explicit Merger(std::size_t maxBytes) : mMaxBytes(maxBytes) {}

  /// False, and nothing added, when the list would become too long.
  bool add(const AttributeTerm& term) {
    const auto [place, isNew] = mByTag.try_emplace(comparable(term.tag), mEntries.size());
    if (isNew) mEntries.push_back({term.tag, {}, {}, true});
    Entry& entry = mEntries[place->second];
    const std::vector<std::string_view> fresh = unknownValues(entry, term);

    std::size_t bytes = isNew ? term.tag.size() + (mEntries.size() > 1 ? 1 : 0) : 0;
    if (entry.keyword && !term.keyword) bytes += kAroundValues - 1;
    for (const std::string_view value : fresh)
      bytes += value.size() + 1;
    if (mBytes + bytes > mMaxBytes) {
      if (isNew) mEntries.pop_back();
      return false;
    }
    mBytes += bytes;
    entry.keyword = entry.keyword && term.keyword;
    entry.values.insert(entry.values.end(), fresh.begin(), fresh.end());
    return true;
  }

  std::string text() const {
    std::string result;
    result.reserve(mBytes);
    for (const Entry& entry : mEntries) {
      if (!result.empty()) result += ',';
      if (entry.keyword) {
        result += entry.tag;
      } else {
        result.append("(").append(entry.tag);
        char separator = '=';
        for (const std::string_view value : entry.values) {
          result += separator;
          result += value;
          separator = ',';
        }
        result += ')';
      }
    }
    return result;
  }

 private:
  /// "(", "=" and ")".
  static constexpr std::size_t kAroundValues = 3;

  struct Entry {
    std::string_view tag;
    std::vector<std::string_view> values;
    std::set<std::string> known;  ///< the values in the form in which equal ones are equal
    bool keyword = true;
  };

  static std::vector<std::string_view> unknownValues(Entry& entry, const AttributeTerm& term) {
    std::vector<std::string_view> result;
    std::string_view value;
    for (ValueReader reader(term); reader.next(value);) {
      const TypedValue read = readValue(value);
      const std::string key = std::to_string(static_cast<int>(read.kind)) + std::to_string(read.integer) + ':';
      if (entry.known.insert(key + read.text).second) result.push_back(value);
    }
    return result;
  }

  std::size_t mMaxBytes;
  std::size_t mBytes = 0;
  std::map<std::string, std::size_t> mByTag;
  std::vector<Entry> mEntries;
};

void appendTerm(std::string& list, std::string_view term) {
  if (!list.empty()) list += ',';
  list += term;
}

/// The whole attributes at the start of a list that fit.
std::string startOf(std::string_view list, std::size_t maxBytes) {
  std::string result;
  AttributeTerm term;
  for (AttributeReader reader(list); reader.next(term);) {
    if (result.size() + term.text.size() + (result.empty() ? 0 : 1) > maxBytes) break;
    appendTerm(result, term.text);
  }
  return result;
}

/// In their order, without empty and repeated ones.
std::vector<std::string_view> differentLists(const std::vector<std::string_view>& lists) {
  std::vector<std::string_view> result;
  std::set<std::string_view> known;
  for (const std::string_view list : lists)
    if (!list.empty() && known.insert(list).second) result.push_back(list);
  return result;
}

}  // namespace

std::string selectAttributes(std::string_view attributes, std::string_view tags) {
  const std::vector<std::string_view> asked = splitList(tags);
  if (asked.empty()) return std::string(attributes);
  const TagSelection selection(asked);
  std::string result;
  AttributeTerm term;
  for (AttributeReader reader(attributes); reader.next(term);)
    if (selection.has(term.tag)) appendTerm(result, term.text);
  return result;
}

std::string mergeAttributes(const std::vector<std::string_view>& lists, std::size_t maxBytes, bool& cut) {
  const std::vector<std::string_view> different = differentLists(lists);
  cut = false;
  if (different.empty()) return {};
  if (different.size() == 1) {
    cut = different.front().size() > maxBytes;
    return cut ? startOf(different.front(), maxBytes) : std::string(different.front());
  }
  Merger merger(maxBytes);
  AttributeTerm term;
  for (const std::string_view list : different) {
    for (AttributeReader reader(list); reader.next(term);) {
      if (merger.add(term)) continue;
      cut = true;
      return merger.text();
    }
  }
  return merger.text();
}

}  // namespace slp::wire
