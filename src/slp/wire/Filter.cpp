#include "slp/wire/Filter.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "slp/wire/AttributeReader.h"
#include "slp/wire/AttributeValue.h"
#include "slp/wire/Escape.h"
#include "slp/wire/Limits.h"
#include "slp/wire/Pattern.h"
#include "slp/wire/Text.h"

namespace slp::wire {

/// "Not" is no node: it is carried down to the comparisons while parsing, because there it is a question about each
/// value. On the way "and" and "or" change places.
struct Filter::Node {
  enum class Test : std::uint8_t { kAll, kAny, kPresent, kEqual, kPattern, kAtMost, kAtLeast };

  Test test = Test::kAll;
  bool negated = false;  ///< of a comparison
  std::string tag;       ///< folded
  TypedValue value;
  std::vector<Pattern> pattern;  ///< the one of kPattern
  std::vector<Node> parts;       ///< of kAll and kAny

  bool matches(const AttributeList& attributes) const;
  bool mayMatch(std::string_view attributeText) const;
  bool holdsFor(const AttributeValue& actual) const;
  template <typename Ordered>
  bool inOrder(const Ordered& actual, const Ordered& asserted) const {
    if (test == Test::kAtMost) return actual <= asserted;
    if (test == Test::kAtLeast) return actual >= asserted;
    return actual == asserted;
  }
};

bool Filter::Node::holdsFor(const AttributeValue& actual) const {
  if (test == Test::kPattern) return actual.kind == ValueKind::kString && pattern.front().matches(actual.text);
  if (actual.kind != value.kind) return false;
  switch (value.kind) {
    case ValueKind::kInteger:
      return inOrder(actual.integer, value.integer);
    case ValueKind::kString:
      return inOrder(actual.text, std::string_view(value.text));
    case ValueKind::kBoolean:
      return test == Test::kEqual && actual.integer == value.integer;
    case ValueKind::kOpaque:
      return test == Test::kEqual && actual.text == value.text;
  }
  return false;
}

/// Calls itself no deeper than the parser allowed.
bool Filter::Node::matches(const AttributeList& attributes) const {
  const auto partMatches = [&attributes](const Node& part) { return part.matches(attributes); };
  if (test == Test::kAll) return std::all_of(parts.begin(), parts.end(), partMatches);
  if (test == Test::kAny) return std::any_of(parts.begin(), parts.end(), partMatches);
  const Attribute* const attribute = attributes.find(tag);
  if (test == Test::kPresent) return (attribute != nullptr) != negated;
  if (attribute == nullptr || attribute->values.empty()) return negated;
  return std::any_of(attribute->values.begin(), attribute->values.end(),
                     [this](const AttributeValue& actual) { return holdsFor(actual) != negated; });
}

namespace {

/// Whether the folded text stands in the other one, in whatever case.
bool containsFolded(std::string_view text, std::string_view folded) {
  const char lower = folded.front();
  const char upper = lower >= 'a' && lower <= 'z' ? static_cast<char>(lower - 'a' + 'A') : lower;
  const auto isHere = [&](std::size_t at) {
    const auto piece = text.substr(at, folded.size());
    return std::equal(piece.begin(), piece.end(), folded.begin(), folded.end(),
                      [](char left, char right) { return lowered(left) == right; });
  };
  for (const char first : {lower, upper})
    for (auto at = text.find(first); at != std::string_view::npos; at = text.find(first, at + 1))
      if (isHere(at)) return true;
  return false;
}

/// In doubt it has: white space and escapes can be written in several ways.
bool mayHaveTag(std::string_view attributeText, std::string_view tag) {
  return tag.empty() || tag.find(' ') != std::string_view::npos || containsFolded(attributeText, tag) ||
         attributeText.find('\\') != std::string_view::npos;
}

}  // namespace

/// Calls itself no deeper than the parser allowed.
bool Filter::Node::mayMatch(std::string_view attributeText) const {
  const auto partMay = [attributeText](const Node& part) { return part.mayMatch(attributeText); };
  if (test == Test::kAll) return std::all_of(parts.begin(), parts.end(), partMay);
  if (test == Test::kAny) return std::any_of(parts.begin(), parts.end(), partMay);
  return negated || mayHaveTag(attributeText, tag);
}

class Filter::Parser {
 public:
  explicit Parser(std::string_view text) : mRest(trimmed(text)) {}

  bool parse(Node& root) { return readFilter(root, 1, false) && mRest.empty(); }

 private:
  using Test = Node::Test;

  bool take(char character) {
    mRest = trimmed(mRest);
    if (mRest.empty() || mRest.front() != character) return false;
    mRest.remove_prefix(1);
    return true;
  }

  bool readFilter(Node& node, std::size_t depth, bool negated) {
    if (depth > limits::kMaxFilterDepth || !take('(')) return false;
    if (take('!')) return readFilter(node, depth + 1, !negated) && take(')');
    if (take('&')) return readParts(node, negated ? Test::kAny : Test::kAll, depth, negated);
    if (take('|')) return readParts(node, negated ? Test::kAll : Test::kAny, depth, negated);
    node.negated = negated;
    return ++mTerms <= limits::kMaxFilterTerms && readTerm(node) && take(')');
  }

  /// At least one, and the parenthesis behind the last.
  bool readParts(Node& node, Test test, std::size_t depth, bool negated) {
    node.test = test;
    do {
      if (!readFilter(node.parts.emplace_back(), depth + 1, negated)) return false;
    } while (!take(')'));
    return true;
  }

  bool readTerm(Node& node) {
    const std::size_t end = mRest.find_first_of("()");
    const std::string_view term = mRest.substr(0, end);
    const std::size_t equals = term.find('=');
    if (end == std::string_view::npos || equals == std::string_view::npos) return false;
    mRest.remove_prefix(end);
    std::string_view tag = term.substr(0, equals);
    node.test = takeComparison(tag);
    if (!isTag(tag) || !hasProperEscapes(tag)) return false;
    node.tag = folded(unescapeLeniently(tag));
    return readAssertion(node, trimmed(term.substr(equals + 1)), equals != tag.size());
  }

  /// What stands between tag and "=".
  static Test takeComparison(std::string_view& tag) {
    const char sign = tag.empty() ? '\0' : tag.back();
    if (sign != '~' && sign != '<' && sign != '>') return Test::kEqual;
    tag.remove_suffix(1);
    if (sign == '~') return Test::kEqual;
    return sign == '<' ? Test::kAtMost : Test::kAtLeast;
  }

  /// Stars are wildcards of "=" alone.
  static bool readAssertion(Node& node, std::string_view value, bool otherThanEquals) {
    const std::size_t wildcards = Pattern::wildcardsIn(value);
    if (wildcards == 0) {
      node.value = readValue(value);
      return hasProperEscapes(value);
    }
    if (otherThanEquals || wildcards > limits::kMaxWildcards || !hasProperEscapes(value) || isOpaque(value))
      return false;
    node.test = value == "*" ? Test::kPresent : Test::kPattern;
    if (node.test == Test::kPattern) node.pattern.emplace_back(value);
    return true;
  }

  std::string_view mRest;
  std::size_t mTerms = 0;
};

std::optional<Filter> Filter::parse(std::string_view text) {
  auto root = std::make_unique<Node>();
  if (!Parser(text).parse(*root)) return std::nullopt;
  return Filter(std::move(root));
}

Filter::Filter(std::unique_ptr<Node> root) : mRoot(std::move(root)) {}
Filter::~Filter() = default;
Filter::Filter(Filter&&) noexcept = default;
Filter& Filter::operator=(Filter&&) noexcept = default;

bool Filter::matches(const AttributeList& attributes) const {
  return mRoot->matches(attributes);
}

bool Filter::mayMatch(std::string_view attributeText) const {
  return mRoot->mayMatch(attributeText);
}

}  // namespace slp::wire
