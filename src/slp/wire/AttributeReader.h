#pragma once

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace slp::wire {

/// One term of an attribute list; the parts are views of the list, as they stand there.
struct AttributeTerm {
  std::string_view text;    ///< with its parentheses
  std::string_view tag;     ///< with the white space around it
  std::string_view values;  ///< with commas between them
  bool keyword = false;     ///< a tag without values
};

/// Walks over the terms of an attribute list (RFC 2608, section 5), in time linear in its length whatever it holds.
/// Lists that keep the rules are read exactly. Of others: a value reaches to the parenthesis that balances the one of
/// its attribute, or without such a one to the next closing one; what is between the terms and is no keyword is passed
/// over, and so is an attribute that does not end before the next one starts.
class AttributeReader {
 public:
  /// The text must outlive the reader and its terms.
  explicit AttributeReader(std::string_view list) : mList(list) {}

  /// False at the end, and `term` is as it was.
  bool next(AttributeTerm& term);

 private:
  bool readAttribute(AttributeTerm& term);
  bool readKeyword(AttributeTerm& term);
  std::size_t equalsSign(std::size_t open) const;
  std::size_t closing(std::size_t open, std::size_t equals);
  std::size_t balanced(std::size_t open);

  std::string_view mList;
  std::size_t mAt = 0;
  bool mKeywordMayStart = true;
  /// Positions of parentheses that belong together; filled only when a value has a parenthesis inside.
  std::vector<std::pair<std::size_t, std::size_t>> mPairs;
  bool mPaired = false;
};

/// Hands out the values of a term, as they stand.
class ValueReader {
 public:
  explicit ValueReader(const AttributeTerm& term) : mRest(term.values), mAtEnd(term.keyword) {}
  /// False at the end.
  bool next(std::string_view& value);

 private:
  std::string_view mRest;
  bool mAtEnd;
};

/// Whether a text may be a tag: escapes are looked at by others, an underscore is let through because many use it.
bool isTag(std::string_view text);

}  // namespace slp::wire
