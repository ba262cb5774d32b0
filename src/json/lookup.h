#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "json/elements.h"

// Reading documents that somebody else wrote: these never throw (save std::bad_alloc), never change anything and leave
// no empty members behind, unlike the non-const operators of the values. A path names one member per level; it leads
// nowhere when a member is absent or a level is no Object. What a pointer leads to belongs to `object`, and is good
// until `object` is written to or destroyed.
namespace json {

using Path = std::initializer_list<std::string_view>;

// Null when the path leads nowhere; a path without names is such a path.
const UnknownElement* find(const Object& object, Path path) noexcept;

// The value at the end of the path; nothing ("", false, empty, null) when there is none or it has another type.
std::string textAt(const Object& object, Path path);
bool flagAt(const Object& object, Path path) noexcept;
std::optional<double> numberAt(const Object& object, Path path) noexcept;
const Array* arrayAt(const Object& object, Path path) noexcept;
const Object* objectAt(const Object& object, Path path) noexcept;

}  // namespace json
