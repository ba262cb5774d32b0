#include "host/service/Watchdog.h"

#include <utility>

#include "framework/utils/Log.h"

namespace host {

Watchdog::Watchdog(LongestWait longestWait, std::function<void()> alive)
    : mLongestWait(std::move(longestWait)), mAlive(std::move(alive)) {}

void Watchdog::beat() {
  const bool wasStuck = mIsStuck;
  mIsStuck = mLongestWait() >= kLongestWait;
  if (!mIsStuck) return mAlive();
  if (wasStuck) return;
  utils::formatted_log_t(utils::LOG_ERROR,
                         "Watchdog:beat: a request has waited for %1% minutes, no more signs of life until that ends") %
      kLongestWait.count();
}

}  // namespace host
