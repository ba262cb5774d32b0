#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Attribute lists (RFC 2608, section 5), read leniently: texts are kept and handed out byte for byte by others, and
/// this says what filters and tag lists can see of them. What cannot be read is passed over, and the reading goes on at
/// the next "(" that starts an attribute, so that lists whose terms are joined by a doubled ")" or that hold JSON have
/// at least the tags that can be told.
namespace slp::wire {

enum class ValueKind : std::uint8_t { kInteger, kBoolean, kString, kOpaque };

struct AttributeValue {
  ValueKind kind = ValueKind::kString;
  std::int32_t integer = 0;  ///< of kInteger; 0 or 1 of kBoolean
  std::string text;          ///< of kString: unescaped and folded; of kOpaque: the bytes
};

struct Attribute {
  std::string tag;                     ///< unescaped and folded
  std::vector<AttributeValue> values;  ///< none: a keyword
};

/// The attributes of one registration, parsed once and matched often. Compact, because there may be thousands.
class AttributeList {
 public:
  AttributeList() = default;
  explicit AttributeList(std::string_view text);

  const Attribute* find(std::string_view foldedTag) const;
  const std::vector<Attribute>& attributes() const { return mAttributes; }

 private:
  std::vector<Attribute> mAttributes;  ///< in order of tags
};

/// The part of an attribute list that a tag list asks for (RFC 2608, sections 9.4 and 10.3): the attributes whose tags
/// match, byte for byte as they stand, with commas between them. An empty tag list asks for everything: the text as it
/// is. Wildcards match any characters.
std::string selectAttributes(std::string_view attributes, std::string_view tags);

/// Joins the attributes of several services of a type (RFC 2608, section 10.4): each tag once, each of its values once,
/// in the order and spelling in which they came first. A single list comes back byte for byte. Stops before the result
/// would exceed `maxBytes`; whole attributes only.
std::string mergeAttributes(const std::vector<std::string_view>& lists, std::size_t maxBytes, bool& cut);

}  // namespace slp::wire
