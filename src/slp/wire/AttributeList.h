#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "slp/wire/AttributeValue.h"

/// Attribute lists (RFC 2608, section 5), read leniently: texts are kept and handed out byte for byte by others, and
/// this says what filters and tag lists can see of them. What cannot be read is passed over, and the reading goes on at
/// the next "(" that starts an attribute, so that lists whose terms are joined by a doubled ")" or that hold JSON have
/// at least the tags that can be told.
namespace slp::wire {

/// A value as an AttributeList holds it.
struct AttributeValue {
  ValueKind kind = ValueKind::kString;
  std::int32_t integer = 0;  ///< of kInteger; 0 or 1 of kBoolean
  std::string_view text;     ///< of kString: unescaped and folded; of kOpaque: the bytes
};

struct Attribute {
  std::string_view tag;                    ///< unescaped and folded
  std::span<const AttributeValue> values;  ///< none: a keyword
};

/// The attributes of one registration, parsed once and matched often. Compact, because there may be thousands: three
/// blocks of memory, whatever the list holds. Safe for every thread; the views live as long as the list, and outlive
/// its being moved.
class AttributeList {
 public:
  AttributeList() = default;
  /// Reads at most limits::kMaxAttributeValues values and keywords.
  explicit AttributeList(std::string_view text);
  AttributeList(AttributeList&&) noexcept = default;
  AttributeList& operator=(AttributeList&&) noexcept = default;

  /// Null when the tag is not in the list. An attribute that stands there twice has the values of both.
  const Attribute* find(std::string_view foldedTag) const;
  /// In order of tags, each of which is there once.
  const std::vector<Attribute>& attributes() const { return mAttributes; }
  std::size_t size() const { return mAttributes.size(); }
  /// What the list takes of memory, itself included.
  std::size_t bytes() const;

 private:
  std::unique_ptr<char[]> mTexts;
  std::size_t mTextBytes = 0;
  std::vector<AttributeValue> mValues;
  std::vector<Attribute> mAttributes;
};

/// The part of an attribute list that a tag list asks for (RFC 2608, sections 9.4 and 10.3): the attributes whose tags
/// match, byte for byte as they stand, with commas between them. An empty tag list asks for everything: the text as it
/// is. Wildcards match any characters; tags with more than limits::kMaxWildcards of them, all together, are left out.
std::string selectAttributes(std::string_view attributes, std::string_view tags);

/// Joins the attributes of several services of a type (RFC 2608, section 10.4): each tag once, each of its values once,
/// in the order and spelling in which they came first. A single list comes back byte for byte, and so do several equal
/// ones. Stops (`cut`) before the result would exceed `maxBytes`; whole attributes only.
std::string mergeAttributes(const std::vector<std::string_view>& lists, std::size_t maxBytes, bool& cut);

}  // namespace slp::wire
