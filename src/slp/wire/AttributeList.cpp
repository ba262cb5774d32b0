#include "slp/wire/AttributeList.h"

#include <algorithm>

#include "slp/wire/AttributeReader.h"
#include "slp/wire/Escape.h"
#include "slp/wire/Limits.h"
#include "slp/wire/Text.h"

namespace slp::wire {
namespace {

struct DraftAttribute {
  std::string tag;
  std::size_t firstValue = 0;
  std::size_t values = 0;
};

/// What is read, before it is known how much there is of it.
struct Draft {
  std::vector<TypedValue> values;
  std::vector<DraftAttribute> attributes;

  explicit Draft(std::string_view text) {
    AttributeTerm term;
    for (AttributeReader reader(text); left() > 0 && reader.next(term);)
      add(term);
    std::stable_sort(attributes.begin(), attributes.end(),
                     [](const DraftAttribute& one, const DraftAttribute& other) { return one.tag < other.tag; });
  }

  std::size_t left() const { return limits::kMaxAttributeValues - std::max(values.size(), attributes.size()); }

  void add(const AttributeTerm& term) {
    attributes.push_back({folded(unescapeLeniently(term.tag)), values.size(), 0});
    std::string_view value;
    ValueReader reader(term);
    while (values.size() < limits::kMaxAttributeValues && reader.next(value))
      values.push_back(readValue(value));
    attributes.back().values = values.size() - attributes.back().firstValue;
  }

  std::size_t textBytes() const {
    std::size_t bytes = 0;
    for (const DraftAttribute& attribute : attributes)
      bytes += attribute.tag.size();
    for (const TypedValue& value : values)
      bytes += value.text.size();
    return bytes;
  }

  std::size_t differentTags() const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < attributes.size(); ++i)
      count += i == 0 || attributes[i - 1].tag != attributes[i].tag ? 1 : 0;
    return count;
  }
};

}  // namespace

AttributeList::AttributeList(std::string_view text) {
  const Draft draft(text);
  mTextBytes = draft.textBytes();
  mTexts = std::make_unique_for_overwrite<char[]>(mTextBytes);
  mValues.reserve(draft.values.size());
  mAttributes.reserve(draft.differentTags());

  char* end = mTexts.get();
  const auto kept = [&end](std::string_view read) {
    const char* const start = end;
    end = std::copy(read.begin(), read.end(), end);
    return std::string_view(start, read.size());
  };
  for (const DraftAttribute& attribute : draft.attributes) {
    const bool known = !mAttributes.empty() && mAttributes.back().tag == attribute.tag;
    if (!known) mAttributes.push_back({kept(attribute.tag), {mValues.data() + mValues.size(), 0}});
    for (std::size_t i = 0; i < attribute.values; ++i) {
      const TypedValue& value = draft.values[attribute.firstValue + i];
      mValues.push_back({value.kind, value.integer, kept(value.text)});
    }
    std::span<const AttributeValue>& values = mAttributes.back().values;
    values = {values.data(), values.size() + attribute.values};
  }
}

const Attribute* AttributeList::find(std::string_view foldedTag) const {
  const auto found =
      std::lower_bound(mAttributes.begin(), mAttributes.end(), foldedTag,
                       [](const Attribute& attribute, std::string_view tag) { return attribute.tag < tag; });
  return found != mAttributes.end() && found->tag == foldedTag ? &*found : nullptr;
}

std::size_t AttributeList::bytes() const {
  return sizeof *this + mTextBytes + mValues.capacity() * sizeof(AttributeValue) +
         mAttributes.capacity() * sizeof(Attribute);
}

}  // namespace slp::wire
