#pragma once

#include <chrono>
#include <string>

namespace utils {

/// A point in time.
class DateTime {
 public:
  DateTime() = default;
  explicit DateTime(std::chrono::system_clock::time_point value) : mValue(value) {}

  static void get_current_time(DateTime& time);

  std::chrono::system_clock::time_point value() const { return mValue; }
  /// UTC in ISO 8601: "2024-05-01T12:00:00Z"
  std::string to_string() const;

 private:
  std::chrono::system_clock::time_point mValue{};
};

}  // namespace utils
