#include "discovery/ServiceUrls.h"

namespace discovery {

ServiceUrls::ServiceUrls(std::size_t limit) : mLimit(limit) {}

bool ServiceUrls::add(const std::string& url) {
  const std::lock_guard lock(mMutex);
  if (mUrls.size() >= mLimit) return false;
  mUrls.push_back(url);
  return true;
}

void ServiceUrls::clear() {
  const std::lock_guard lock(mMutex);
  mUrls.clear();
}

std::size_t ServiceUrls::size() const {
  const std::lock_guard lock(mMutex);
  return mUrls.size();
}

std::vector<std::string> ServiceUrls::all() const {
  const std::lock_guard lock(mMutex);
  return mUrls;
}

}  // namespace discovery
