#pragma once

#include <string>
#include <utility>
#include <variant>

#include "cli/ExitCode.h"

namespace cli {

/// Why a command ends without what it was asked for.
struct Failure {
  ExitCode code;
  std::string message;  ///< one line; may quote what a server said
};

/// A value, or the failure that stands in its place.
template <typename T>
class Result {
 public:
  Result(T value) : mValue(std::move(value)) {}
  Result(Failure failure) : mValue(std::move(failure)) {}

  explicit operator bool() const { return std::holds_alternative<T>(mValue); }
  const T& operator*() const { return std::get<T>(mValue); }
  const T* operator->() const { return &std::get<T>(mValue); }
  const Failure& failure() const { return std::get<Failure>(mValue); }

 private:
  std::variant<T, Failure> mValue;
};

}  // namespace cli
