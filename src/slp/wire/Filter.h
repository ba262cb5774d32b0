#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "slp/wire/AttributeList.h"

namespace slp::wire {

/// A search filter of LDAPv3 (RFC 2254; RFC 2608, section 8.1): and, or, not, presence, equality with wildcards, <=,
/// >=, ~= (as =). Immutable once parsed; safe for every thread.
class Filter {
 public:
  /// Nothing when the text is no filter, or one beyond the limits of depth, terms and wildcards.
  static std::optional<Filter> parse(std::string_view text);
  ~Filter();
  Filter(Filter&&) noexcept;
  Filter& operator=(Filter&&) noexcept;

  /// A term matches when any value of its attribute does, and values match only terms of their own kind; order is one
  /// of integers and strings. What is negated is the comparison of each value: "(!(y=0))" matches (y=0,1). It also
  /// matches what has no y, or y as a keyword. The work is bounded by the filter's terms times the values of the
  /// attributes named.
  bool matches(const AttributeList& attributes) const;
  /// False when the list of this text cannot match, because it has not the tags: far cheaper than to parse it, for a
  /// filter that fits few of many registrations.
  bool mayMatch(std::string_view attributeText) const;

 private:
  struct Node;
  class Parser;
  explicit Filter(std::unique_ptr<Node> root);
  std::unique_ptr<Node> mRoot;
};

}  // namespace slp::wire
