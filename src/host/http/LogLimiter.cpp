#include "host/http/LogLimiter.h"

#include <algorithm>
#include <utility>

namespace host {

std::optional<unsigned int> LogLimiter::pass(Clock::time_point now) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - mRefilled);
  if (seconds.count() > 0) {
    mTokens = static_cast<unsigned int>(std::min<std::chrono::seconds::rep>(kBurst, mTokens + seconds.count()));
    mRefilled = now;
  }
  if (mTokens == 0) {
    ++mLeftOut;
    return std::nullopt;
  }
  --mTokens;
  return std::exchange(mLeftOut, 0);
}

}  // namespace host
