#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "slp/wire/AttributeList.h"
#include "slp/wire/Filter.h"
#include "slp/wire/Limits.h"
#include "slp/wire/StringList.h"

// A filter, an attribute list and another list, a line each. The filter is matched against the attributes, the other
// list selects from them and is merged with them.
namespace {

using namespace slp::wire;

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "slp_filter_fuzz: " << what << '\n';
  std::abort();
}

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

void requireNegations(std::string_view filter, bool matches, const AttributeList& attributes) {
  const std::string negation = "(!" + std::string(filter) + ")";
  if (const auto parsed = Filter::parse(negation))
    require(matches || parsed->matches(attributes), "neither a filter nor its negation matches");
  if (const auto parsed = Filter::parse("(!" + negation + ")"))
    require(parsed->matches(attributes) == matches, "a filter negated twice matches otherwise");
}

void requireOrder(const AttributeList& list) {
  std::size_t values = 0;
  const Attribute* before = nullptr;
  for (const Attribute& attribute : list.attributes()) {
    require(before == nullptr || before->tag < attribute.tag, "tags out of order");
    require(list.find(attribute.tag) == &attribute, "an attribute that is not found");
    before = &attribute;
    values += attribute.values.size();
  }
  require(values <= slp::limits::kMaxAttributeValues, "too many values");
  require(list.attributes().size() <= slp::limits::kMaxAttributeValues, "too many attributes");
}

void requireSelection(std::string_view attributes, std::string_view tags) {
  const std::string all = selectAttributes(attributes, "*");
  require(selectAttributes(all, "*") == all, "a selection of everything that is read otherwise than it was");
  require(selectAttributes(attributes, tags).size() <= 2 * attributes.size(), "a selection that grows");
}

void requireMerge(std::string_view one, std::string_view other, std::size_t maxBytes) {
  bool cut = false;
  const std::string merged = mergeAttributes({one, other}, maxBytes, cut);
  require(merged.size() <= maxBytes, "a merged list beyond its limit");
  bool again = false;
  require(mergeAttributes({merged, merged}, maxBytes, again) == merged && !again, "a merged list that is cut");
}

void requireCommonElements(std::string_view one, std::string_view other) {
  const bool common = intersects(one, other);
  require(common == intersects(other, one), "lists that have something in common on one side only");
  require(common == !intersection(one, other).empty(), "lists with something in common that cannot be told");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const std::string_view filter = takeLine(rest);
  const std::string_view attributes = takeLine(rest);
  const AttributeList list(attributes);
  requireOrder(list);
  if (const auto parsed = Filter::parse(filter)) {
    requireNegations(filter, parsed->matches(list), list);
    require(!parsed->matches(list) || parsed->mayMatch(attributes), "a match that its text rules out");
  }
  requireSelection(attributes, rest);
  requireMerge(attributes, rest, 65'535);
  requireMerge(attributes, rest, size / 2);
  requireCommonElements(attributes, rest);
  return 0;
}
