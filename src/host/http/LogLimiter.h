#pragma once

#include <chrono>
#include <optional>

namespace host {

/// Keeps what clients can provoke from filling the log: a few records at once, then one a second. Not guarded.
class LogLimiter {
 public:
  using Clock = std::chrono::steady_clock;

  /// The number of records left out since the last one that passed; nothing when this one is to be left out, too.
  std::optional<unsigned int> pass(Clock::time_point now);

 private:
  static constexpr unsigned int kBurst = 10;

  unsigned int mTokens = kBurst;
  unsigned int mLeftOut = 0;
  Clock::time_point mRefilled{};
};

}  // namespace host
