#pragma once

#include <concepts>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "json/shared.h"

// The values that JSON documents are made of.
//
// Copies are cheap: String, Array, Object and UnknownElement share immutable nodes and part ways when one of them is
// written to, so a copy costs the same whatever its size. The exception keeps copies apart: where references for
// writing were handed out since the value was made (by a non-const operator[], Begin, End, Find or Value), the levels
// they lead through are copied one by one, because somebody may still write through them. The copy itself is then
// cheap to copy again.
//
// References and iterators: one for writing stays good until its container gains or loses an element, like that of a
// std::vector; copying the container does not end it and the copy never sees what is written through it. One for
// reading (got from a const value) is also ended by any non-const use of the value it came from.
//
// Threads: copies are independent of one another, like copies of std::shared_ptr. One value that is written while
// another thread uses that same value is a race, like any standard container.
//
// Errors: Exception, and std::bad_alloc. No value is too deep to be copied, compared, written or destroyed.
namespace json {

class String;
class Array;
class Object;
class UnknownElement;
class Visitor;
class ConstVisitor;

namespace detail {
struct StringNode;
struct ArrayNode;
struct ObjectNode;
struct Access;
}  // namespace detail

// The base of every error of this layer.
class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// All are equal.
class Null {
 public:
  friend bool operator==(const Null&, const Null&) noexcept { return true; }
};

template <typename T>
class Scalar {
 public:
  Scalar(T value = T()) noexcept : mValue(value) {}

  T& Value() noexcept { return mValue; }
  const T& Value() const noexcept { return mValue; }
  operator T&() noexcept { return mValue; }
  operator const T&() const noexcept { return mValue; }

  friend bool operator==(const Scalar& left, const Scalar& right) noexcept { return left.mValue == right.mValue; }
  template <typename U>
  requires std::is_arithmetic_v<U>
  friend bool operator==(const Scalar& left, U right) noexcept { return left.mValue == static_cast<T>(right); }

 private:
  T mValue;
};

using Number = Scalar<double>;
using Boolean = Scalar<bool>;

// Text in UTF-8. Nothing checks it here; the writer replaces what is not UTF-8.
class String {
 public:
  String() noexcept = default;
  String(std::string value);

  std::string& Value();
  const std::string& Value() const noexcept;
  operator std::string&() { return Value(); }
  operator const std::string&() const noexcept { return Value(); }

  friend bool operator==(const String& left, const String& right) noexcept { return left.Value() == right.Value(); }
  friend bool operator==(const String& left, const std::string& right) noexcept { return left.Value() == right; }

 private:
  friend struct detail::Access;
  detail::Shared<detail::StringNode> mNode;
};

// The name of a member, as an argument.
class Name {
 public:
  Name(const char* name) : mName(name) {}
  Name(const std::string& name) noexcept : mName(name) {}
  Name(std::string_view name) noexcept : mName(name) {}
  Name(const String& name) noexcept : mName(name.Value()) {}

  std::string_view view() const noexcept { return mName; }

 private:
  std::string_view mName;
};

// Elements in an order of their own. A position that is not one of the array's is an Exception.
class Array {
 public:
  using iterator = UnknownElement*;
  using const_iterator = const UnknownElement*;

  iterator Begin();
  iterator End();
  const_iterator Begin() const noexcept;
  const_iterator End() const noexcept;
  iterator begin() { return Begin(); }
  iterator end() { return End(); }
  const_iterator begin() const noexcept { return Begin(); }
  const_iterator end() const noexcept { return End(); }

  void Insert(const UnknownElement& element);
  iterator Insert(const UnknownElement& element, const_iterator where);
  // Returns what follows the erased element.
  iterator Erase(const_iterator where);
  // New elements are Null.
  void Resize(std::size_t size);
  void Clear() noexcept;

  std::size_t Size() const noexcept;
  bool Empty() const noexcept { return Size() == 0; }

  // Grows the array with Null up to the index.
  UnknownElement& operator[](std::size_t index);
  // Throws Exception beyond the end.
  const UnknownElement& operator[](std::size_t index) const;

  // Element by element.
  friend bool operator==(const Array& left, const Array& right);

 private:
  friend struct detail::Access;
  detail::Shared<detail::ArrayNode> mNode;
};

// Members in the order of their insertion, with unique names. Look-up is linear and allocates nothing. A position that
// is not one of the object's is an Exception. Do not rename a member, through an iterator, to a name that exists.
class Object {
 public:
  struct Member;
  using iterator = Member*;
  using const_iterator = const Member*;

  iterator Begin();
  iterator End();
  const_iterator Begin() const noexcept;
  const_iterator End() const noexcept;
  iterator begin() { return Begin(); }
  iterator end() { return End(); }
  const_iterator begin() const noexcept { return Begin(); }
  const_iterator end() const noexcept { return End(); }

  // End() when absent.
  iterator Find(Name name);
  const_iterator Find(Name name) const noexcept;

  // Both throw Exception when the name exists.
  void Insert(const Member& member);
  iterator Insert(const Member& member, const_iterator where);
  // Returns what follows the erased member.
  iterator Erase(const_iterator where);
  void Clear() noexcept;

  std::size_t Size() const noexcept;
  bool Empty() const noexcept { return Size() == 0; }

  // Appends a Null member when absent.
  UnknownElement& operator[](Name name);
  // Throws Exception when absent.
  const UnknownElement& operator[](Name name) const;

  // Member by member: the same members in another order are another object.
  friend bool operator==(const Object& left, const Object& right);

 private:
  friend struct detail::Access;
  detail::Shared<detail::ObjectNode> mNode;
};

template <typename T>
concept ElementType = std::same_as<T, Null> || std::same_as<T, Boolean> || std::same_as<T, Number> ||
    std::same_as<T, String> || std::same_as<T, Array> || std::same_as<T, Object>;

// One value of any type; Null unless told otherwise.
class UnknownElement {
 public:
  UnknownElement() noexcept = default;
  UnknownElement(Null) noexcept {}
  UnknownElement(Boolean value) noexcept : mValue(value) {}
  UnknownElement(Number value) noexcept : mValue(value) {}
  UnknownElement(String value) noexcept : mValue(std::move(value)) {}
  UnknownElement(Array value) noexcept : mValue(std::move(value)) {}
  UnknownElement(Object value) noexcept : mValue(std::move(value)) {}

  UnknownElement(const UnknownElement& other);
  UnknownElement(UnknownElement&& other) noexcept;
  // What is assigned may be a part of what it replaces.
  UnknownElement& operator=(const UnknownElement& other);
  UnknownElement& operator=(UnknownElement&& other) noexcept;
  ~UnknownElement();

  // The non-const forms first turn anything else into an empty Object or Array; the const forms throw Exception, also
  // for an absent member or element.
  UnknownElement& operator[](Name name);
  const UnknownElement& operator[](Name name) const;
  UnknownElement& operator[](std::size_t index);
  const UnknownElement& operator[](std::size_t index) const;

  // Throw Exception when the value has another type.
  operator const Null&() const { return held<Null>(); }
  operator const Boolean&() const { return held<Boolean>(); }
  operator const Number&() const { return held<Number>(); }
  operator const String&() const { return held<String>(); }
  operator const Array&() const { return held<Array>(); }
  operator const Object&() const { return held<Object>(); }

  // Replace a value of another type by a default T, so they leave a trace; lookup.h reads without one.
  operator Null&() { return made<Null>(); }
  operator Boolean&() { return made<Boolean>(); }
  operator Number&() { return made<Number>(); }
  operator String&() { return made<String>(); }
  operator Array&() { return made<Array>(); }
  operator Object&() { return made<Object>(); }

  // The value, or null when it has another type.
  template <ElementType T>
  const T* getIf() const noexcept {
    return std::get_if<T>(&mValue);
  }

  // Call Visit for the held type.
  void Accept(Visitor& visitor);
  void Accept(ConstVisitor& visitor) const;

  // False across types.
  friend bool operator==(const UnknownElement& left, const UnknownElement& right);
  template <ElementType T>
  friend bool operator==(const UnknownElement& left, const T& right) {
    const T* value = left.getIf<T>();
    return value != nullptr && *value == right;
  }

 private:
  friend struct detail::Access;

  template <ElementType T>
  const T& held() const {
    if (const T* value = getIf<T>()) return *value;
    throwWrongType();
  }
  template <ElementType T>
  T& made() {
    if (T* value = std::get_if<T>(&mValue)) return *value;
    return mValue.emplace<T>();
  }
  [[noreturn]] static void throwWrongType();

  std::variant<Null, Boolean, Number, String, Array, Object> mValue;
};

struct Object::Member {
  explicit Member(std::string memberName = {}, UnknownElement memberElement = {})
      : name(std::move(memberName)), element(std::move(memberElement)) {}

  friend bool operator==(const Member& left, const Member& right) {
    return left.name == right.name && left.element == right.element;
  }

  std::string name;
  UnknownElement element;
};

class Visitor {
 public:
  virtual ~Visitor() = default;
  virtual void Visit(Array& array) = 0;
  virtual void Visit(Object& object) = 0;
  virtual void Visit(Number& number) = 0;
  virtual void Visit(String& string) = 0;
  virtual void Visit(Boolean& boolean) = 0;
  virtual void Visit(Null& null) = 0;
};

class ConstVisitor {
 public:
  virtual ~ConstVisitor() = default;
  virtual void Visit(const Array& array) = 0;
  virtual void Visit(const Object& object) = 0;
  virtual void Visit(const Number& number) = 0;
  virtual void Visit(const String& string) = 0;
  virtual void Visit(const Boolean& boolean) = 0;
  virtual void Visit(const Null& null) = 0;
};

}  // namespace json

#include "json/nodes.h"
