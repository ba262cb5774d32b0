#pragma once

// The nodes behind the values of elements.h, which includes this file at its end; include that one.

namespace json {
namespace detail {

struct StringNode : NodeHeader {
  std::string value;
};

struct ContainerNode : NodeHeader {
  explicit ContainerNode(bool isOfObject) noexcept : ofObject(isOfObject) {}

  const bool ofObject;
  ContainerNode* nextToDestroy = nullptr;
};

struct ArrayNode : ContainerNode {
  ArrayNode() noexcept : ContainerNode(false) {}
  std::vector<UnknownElement> value;
};

struct ObjectNode : ContainerNode {
  ObjectNode() noexcept : ContainerNode(true) {}
  std::vector<Object::Member> value;
};

// Neither recurses, however deep the document.
StringNode* duplicate(const StringNode& node);
ArrayNode* duplicate(const ArrayNode& node);
ObjectNode* duplicate(const ObjectNode& node);
void destroy(StringNode* node) noexcept;
void destroy(ArrayNode* node) noexcept;
void destroy(ObjectNode* node) noexcept;

// Lets this folder reach the nodes of the values.
struct Access {
  template <typename Container>
  static auto& node(Container& container) noexcept {
    return container.mNode;
  }
  static auto& value(UnknownElement& element) noexcept { return element.mValue; }
  static const auto& value(const UnknownElement& element) noexcept { return element.mValue; }
};

}  // namespace detail

inline const std::string& String::Value() const noexcept {
  return mNode.read();
}

inline Array::const_iterator Array::Begin() const noexcept {
  return mNode.read().data();
}
inline Array::const_iterator Array::End() const noexcept {
  return Begin() + Size();
}
inline std::size_t Array::Size() const noexcept {
  return mNode.read().size();
}

inline Object::const_iterator Object::Begin() const noexcept {
  return mNode.read().data();
}
inline Object::const_iterator Object::End() const noexcept {
  return Begin() + Size();
}
inline std::size_t Object::Size() const noexcept {
  return mNode.read().size();
}

inline UnknownElement::UnknownElement(const UnknownElement& other) = default;
inline UnknownElement::UnknownElement(UnknownElement&& other) noexcept = default;
inline UnknownElement::~UnknownElement() = default;

}  // namespace json
