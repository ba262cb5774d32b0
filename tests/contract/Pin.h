#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

/// Fails to compile unless the expression, such as a pointer to a member function, has exactly this type. Pins name,
/// arguments, result and constness of what is named in it.
#define PIN(expression, ...) static_assert(std::is_same_v<decltype(expression), __VA_ARGS__>)

namespace contract {

/// For one of several overloads: `static_assert(kExists<static_cast<Type>(&Class::function)>)`.
template <auto>
constexpr bool kExists = true;

/// The place of a virtual member function in its class's table, counted from 0; a destructor takes two places. As the
/// Itanium C++ ABI represents pointers to members: one more than the offset in bytes.
template <typename Function>
std::size_t slotOf(Function function) {
  struct {
    std::uintptr_t pointer;
    std::ptrdiff_t adjustment;
  } representation;
  static_assert(std::is_member_function_pointer_v<Function> && sizeof function == sizeof representation);
  std::memcpy(&representation, &function, sizeof representation);
  constexpr std::size_t kNoVirtualFunction = 1'000'000;
  if (representation.pointer % 2 == 0) return kNoVirtualFunction;
  return (representation.pointer - 1) / sizeof(void*);
}

}  // namespace contract
