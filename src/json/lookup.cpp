#include "json/lookup.h"

namespace json {
namespace {

template <ElementType T>
const T* valueAt(const Object& object, Path path) noexcept {
  const UnknownElement* element = find(object, path);
  return element != nullptr ? element->getIf<T>() : nullptr;
}

}  // namespace

const UnknownElement* find(const Object& object, Path path) noexcept {
  const Object* level = &object;
  const UnknownElement* found = nullptr;
  for (const std::string_view name : path) {
    if (level == nullptr) return nullptr;
    const Object::const_iterator member = level->Find(name);
    if (member == level->End()) return nullptr;
    found = &member->element;
    level = found->getIf<Object>();
  }
  return found;
}

std::string textAt(const Object& object, Path path) {
  const String* string = valueAt<String>(object, path);
  return string != nullptr ? string->Value() : std::string();
}

bool flagAt(const Object& object, Path path) noexcept {
  const Boolean* flag = valueAt<Boolean>(object, path);
  return flag != nullptr && flag->Value();
}

std::optional<double> numberAt(const Object& object, Path path) noexcept {
  const Number* number = valueAt<Number>(object, path);
  return number != nullptr ? std::optional(number->Value()) : std::nullopt;
}

const Array* arrayAt(const Object& object, Path path) noexcept {
  return valueAt<Array>(object, path);
}

const Object* objectAt(const Object& object, Path path) noexcept {
  return valueAt<Object>(object, path);
}

}  // namespace json
