#include "host/security/Audit.h"

#include "framework/utils/Log.h"

namespace host {

void Audit::note(const std::string& text) {
  utils::formatted_log_t(utils::LOG_INVENTORY, "Access: %1%") % text;
}

void Audit::refused(const std::string& text) {
  std::optional<unsigned int> leftOut;
  {
    const std::lock_guard lock(mMutex);
    leftOut = mLimiter.pass(LogLimiter::Clock::now());
  }
  if (!leftOut) return;
  const std::string others = *leftOut == 0 ? "" : " (" + std::to_string(*leftOut) + " others left out)";
  utils::formatted_log_t(utils::LOG_FAILURE, "Access: %1%%2%") % text % others;
}

}  // namespace host
