#pragma once

#include <string>
#include <utility>
#include <variant>

namespace host {

/// What went wrong, in words for the operator.
struct Failure {
  std::string text;
};

/// A value, or why there is none.
template <typename T>
class Result {
 public:
  Result(T value) : mState(std::move(value)) {}
  Result(Failure failure) : mState(std::move(failure)) {}

  explicit operator bool() const { return std::holds_alternative<T>(mState); }
  T& operator*() { return std::get<T>(mState); }
  const T& operator*() const { return std::get<T>(mState); }
  T* operator->() { return &std::get<T>(mState); }
  const T* operator->() const { return &std::get<T>(mState); }
  /// Only where there is no value.
  const std::string& error() const { return std::get<Failure>(mState).text; }

 private:
  std::variant<T, Failure> mState;
};

}  // namespace host
