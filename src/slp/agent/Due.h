#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace slp::agent {

/// The earlier of two times at which something is due, either of which may not be.
inline std::optional<std::chrono::steady_clock::time_point> earlier(
    std::optional<std::chrono::steady_clock::time_point> left,
    std::optional<std::chrono::steady_clock::time_point> right) {
  if (!left || !right) return left ? left : right;
  return std::min(*left, *right);
}

}  // namespace slp::agent
