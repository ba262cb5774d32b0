#include "discovery/JobCount.h"

#include "framework/utils/Observer.h"

namespace discovery {

void JobCount::begins() {
  --mWaiting;
  ++mRunning;
  tell();
}

void JobCount::ends(bool hasBegun) {
  --(hasBegun ? mRunning : mWaiting);
  tell();
}

void JobCount::tell() const {
  utils::observer::measured("discovery_jobs_waiting", mWaiting);
  utils::observer::measured("discovery_jobs_running", mRunning);
}

}  // namespace discovery
