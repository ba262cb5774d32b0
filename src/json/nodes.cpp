#include <memory>

#include "json/elements.h"

// Walks over documents that keep what is left to do in a list instead of on the stack.
namespace json {
namespace detail {
namespace {

using std::get_if;

// A part to copy, and the Null in the copy that it will replace.
struct PendingCopy {
  const UnknownElement* from;
  UnknownElement* to;
};
using PendingCopies = std::vector<PendingCopy>;

bool isLentContainer(const UnknownElement& element) noexcept {
  if (const auto* object = element.getIf<Object>()) return Access::node(*object).isLent();
  if (const auto* array = element.getIf<Array>()) return Access::node(*array).isLent();
  return false;
}

void copyElement(const UnknownElement& from, UnknownElement& to, PendingCopies& pending) {
  if (isLentContainer(from)) {
    pending.push_back({&from, &to});
  } else {
    to = from;
  }
}

std::unique_ptr<ArrayNode> copyLevel(const std::vector<UnknownElement>& elements, PendingCopies& pending) {
  auto copy = std::make_unique<ArrayNode>();
  copy->value.resize(elements.size());
  for (std::size_t index = 0; index < elements.size(); ++index) {
    copyElement(elements[index], copy->value[index], pending);
  }
  return copy;
}

std::unique_ptr<ObjectNode> copyLevel(const std::vector<Object::Member>& members, PendingCopies& pending) {
  auto copy = std::make_unique<ObjectNode>();
  copy->value.reserve(members.size());
  for (const Object::Member& member : members) {
    copyElement(member.element, copy->value.emplace_back(member.name).element, pending);
  }
  return copy;
}

template <typename Container, typename Node>
Container adopt(std::unique_ptr<Node> node) {
  Container container;
  Access::node(container) = Shared<Node>(node.release());
  return container;
}

template <typename Node>
Node* copyNode(const Node& node) {
  PendingCopies pending;
  auto copy = copyLevel(node.value, pending);
  while (!pending.empty()) {
    const auto [from, to] = pending.back();
    pending.pop_back();
    if (const auto* object = from->getIf<Object>()) {
      *to = adopt<Object>(copyLevel(Access::node(*object).read(), pending));
    } else {
      *to = adopt<Array>(copyLevel(Access::node(*from->getIf<Array>()).read(), pending));
    }
  }
  return copy.release();
}

// Takes the node of a container that nothing else holds out of its element and puts it on the list.
void takeLastOwned(UnknownElement& element, ContainerNode*& pending) noexcept {
  ContainerNode* node = nullptr;
  if (auto* object = get_if<Object>(&Access::value(element))) {
    node = Access::node(*object).abandon();
  } else if (auto* array = get_if<Array>(&Access::value(element))) {
    node = Access::node(*array).abandon();
  }
  if (node == nullptr) return;
  node->nextToDestroy = pending;
  pending = node;
}

void destroyAll(ContainerNode* pending) noexcept {
  while (pending != nullptr) {
    ContainerNode* node = std::exchange(pending, pending->nextToDestroy);
    if (node->ofObject) {
      std::unique_ptr<ObjectNode> object(static_cast<ObjectNode*>(node));
      for (Object::Member& member : object->value) {
        takeLastOwned(member.element, pending);
      }
    } else {
      std::unique_ptr<ArrayNode> array(static_cast<ArrayNode*>(node));
      for (UnknownElement& element : array->value) {
        takeLastOwned(element, pending);
      }
    }
  }
}

using PendingPairs = std::vector<std::pair<const UnknownElement*, const UnknownElement*>>;

// Whether two elements are equal as far as they can be told without looking into containers, which are put off.
bool equalSoFar(const UnknownElement& left, const UnknownElement& right, PendingPairs& pending) {
  const auto& leftValue = Access::value(left);
  const auto& rightValue = Access::value(right);
  if (leftValue.index() != rightValue.index()) return false;
  if (left.getIf<Object>() == nullptr && left.getIf<Array>() == nullptr) return leftValue == rightValue;
  pending.emplace_back(&left, &right);
  return true;
}

bool equalLevel(const Array& left, const Array& right, PendingPairs& pending) {
  if (left.Size() != right.Size()) return false;
  const UnknownElement* other = right.Begin();
  for (const UnknownElement& element : left) {
    if (!equalSoFar(element, *other++, pending)) return false;
  }
  return true;
}

bool equalLevel(const Object& left, const Object& right, PendingPairs& pending) {
  if (left.Size() != right.Size()) return false;
  const Object::Member* other = right.Begin();
  for (const Object::Member& member : left) {
    if (member.name != other->name || !equalSoFar(member.element, other->element, pending)) return false;
    ++other;
  }
  return true;
}

bool equalRest(PendingPairs& pending) {
  while (!pending.empty()) {
    const auto [left, right] = pending.back();
    pending.pop_back();
    const auto* object = left->getIf<Object>();
    const bool equal = object != nullptr ? equalLevel(*object, *right->getIf<Object>(), pending)
                                         : equalLevel(*left->getIf<Array>(), *right->getIf<Array>(), pending);
    if (!equal) return false;
  }
  return true;
}

}  // namespace

StringNode* duplicate(const StringNode& node) {
  auto copy = std::make_unique<StringNode>();
  copy->value = node.value;
  return copy.release();
}

ArrayNode* duplicate(const ArrayNode& node) {
  return copyNode(node);
}

ObjectNode* duplicate(const ObjectNode& node) {
  return copyNode(node);
}

void destroy(StringNode* node) noexcept {
  delete node;
}

void destroy(ArrayNode* node) noexcept {
  destroyAll(node);
}

void destroy(ObjectNode* node) noexcept {
  destroyAll(node);
}

}  // namespace detail

bool operator==(const Array& left, const Array& right) {
  detail::PendingPairs pending;
  return detail::equalLevel(left, right, pending) && detail::equalRest(pending);
}

bool operator==(const Object& left, const Object& right) {
  detail::PendingPairs pending;
  return detail::equalLevel(left, right, pending) && detail::equalRest(pending);
}

bool operator==(const UnknownElement& left, const UnknownElement& right) {
  detail::PendingPairs pending;
  return detail::equalSoFar(left, right, pending) && detail::equalRest(pending);
}

}  // namespace json
