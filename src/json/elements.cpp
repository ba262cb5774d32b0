#include "json/elements.h"

#include <algorithm>
#include <functional>

namespace json {
namespace {

using Elements = std::vector<UnknownElement>;
using Members = std::vector<Object::Member>;

template <typename Value>
std::size_t indexOf(const std::vector<Value>& values, const Value* where, std::size_t limit) {
  const Value* first = values.data();
  if (std::less<>()(where, first) || std::less<>()(first + limit, where)) throw Exception("position out of range");
  return static_cast<std::size_t>(where - first);
}

// A position at which something stands, and one before which something can be inserted. Both are taken before the
// container gets a node of its own, because they may point into the node that it still shares.
template <typename Value>
std::size_t indexOfElement(const std::vector<Value>& values, const Value* where) {
  if (values.empty()) throw Exception("position out of range");
  return indexOf(values, where, values.size() - 1);
}
template <typename Value>
std::size_t indexOfGap(const std::vector<Value>& values, const Value* where) {
  return indexOf(values, where, values.size());
}

std::size_t indexOfName(const Members& members, std::string_view name) noexcept {
  std::size_t index = 0;
  while (index < members.size() && members[index].name != name) {
    ++index;
  }
  return index;
}

void rejectExisting(const Members& members, const std::string& name) {
  if (indexOfName(members, name) < members.size()) throw Exception("member exists already: " + name);
}

}  // namespace

String::String(std::string value) {
  if (!value.empty()) mNode.write() = std::move(value);
}

std::string& String::Value() {
  return mNode.lend();
}

Array::iterator Array::Begin() {
  return mNode.lend().data();
}

Array::iterator Array::End() {
  Elements& elements = mNode.lend();
  return elements.data() + elements.size();
}

void Array::Insert(const UnknownElement& element) {
  UnknownElement copy(element);
  mNode.write().push_back(std::move(copy));
}

Array::iterator Array::Insert(const UnknownElement& element, const_iterator where) {
  const auto index = static_cast<std::ptrdiff_t>(indexOfGap(mNode.read(), where));
  UnknownElement copy(element);
  Elements& elements = mNode.lend();
  elements.insert(elements.begin() + index, std::move(copy));
  return elements.data() + index;
}

Array::iterator Array::Erase(const_iterator where) {
  const auto index = static_cast<std::ptrdiff_t>(indexOfElement(mNode.read(), where));
  Elements& elements = mNode.lend();
  elements.erase(elements.begin() + index);
  return elements.data() + index;
}

void Array::Resize(std::size_t size) {
  if (size > mNode.read().max_size()) throw Exception("array too large");
  mNode.write().resize(size);
}

void Array::Clear() noexcept {
  mNode = {};
}

UnknownElement& Array::operator[](std::size_t index) {
  if (index >= mNode.read().max_size()) throw Exception("array too large");
  Elements& elements = mNode.lend();
  if (index >= elements.size()) elements.resize(index + 1);
  return elements[index];
}

const UnknownElement& Array::operator[](std::size_t index) const {
  if (index >= Size()) throw Exception("array index out of range");
  return mNode.read()[index];
}

Object::iterator Object::Begin() {
  return mNode.lend().data();
}

Object::iterator Object::End() {
  Members& members = mNode.lend();
  return members.data() + members.size();
}

Object::iterator Object::Find(Name name) {
  Members& members = mNode.lend();
  return members.data() + indexOfName(members, name.view());
}

Object::const_iterator Object::Find(Name name) const noexcept {
  const Members& members = mNode.read();
  return members.data() + indexOfName(members, name.view());
}

void Object::Insert(const Member& member) {
  rejectExisting(mNode.read(), member.name);
  Member copy(member);
  mNode.write().push_back(std::move(copy));
}

Object::iterator Object::Insert(const Member& member, const_iterator where) {
  const auto index = static_cast<std::ptrdiff_t>(indexOfGap(mNode.read(), where));
  rejectExisting(mNode.read(), member.name);
  Member copy(member);
  Members& members = mNode.lend();
  members.insert(members.begin() + index, std::move(copy));
  return members.data() + index;
}

Object::iterator Object::Erase(const_iterator where) {
  const auto index = static_cast<std::ptrdiff_t>(indexOfElement(mNode.read(), where));
  Members& members = mNode.lend();
  members.erase(members.begin() + index);
  return members.data() + index;
}

void Object::Clear() noexcept {
  mNode = {};
}

UnknownElement& Object::operator[](Name name) {
  const std::size_t index = indexOfName(mNode.read(), name.view());
  if (index == Size()) {
    Member added{std::string(name.view())};
    mNode.lend().push_back(std::move(added));
  }
  return mNode.lend()[index].element;
}

const UnknownElement& Object::operator[](Name name) const {
  const Members& members = mNode.read();
  const std::size_t index = indexOfName(members, name.view());
  if (index == members.size()) throw Exception("no such member: " + std::string(name.view()));
  return members[index].element;
}

UnknownElement& UnknownElement::operator=(UnknownElement&& other) noexcept {
  UnknownElement taken(std::move(other));
  mValue.swap(taken.mValue);
  return *this;
}

UnknownElement& UnknownElement::operator=(const UnknownElement& other) {
  return *this = UnknownElement(other);
}

UnknownElement& UnknownElement::operator[](Name name) {
  return made<Object>()[name];
}

const UnknownElement& UnknownElement::operator[](Name name) const {
  return held<Object>()[name];
}

UnknownElement& UnknownElement::operator[](std::size_t index) {
  return made<Array>()[index];
}

const UnknownElement& UnknownElement::operator[](std::size_t index) const {
  return held<Array>()[index];
}

void UnknownElement::Accept(Visitor& visitor) {
  std::visit([&](auto& value) { visitor.Visit(value); }, mValue);
}

void UnknownElement::Accept(ConstVisitor& visitor) const {
  std::visit([&](const auto& value) { visitor.Visit(value); }, mValue);
}

void UnknownElement::throwWrongType() {
  throw Exception("value of another type");
}

}  // namespace json
