#include "discovery/JobThreadUrls.h"

namespace discovery {

void JobThreadUrls::set(const std::string& threadId, const std::string& url) {
  const std::lock_guard lock(mMutex);
  mUrls[threadId] = url;
}

std::string JobThreadUrls::find(const std::string& threadId) const {
  const std::lock_guard lock(mMutex);
  const auto found = mUrls.find(threadId);
  return found == mUrls.end() ? std::string() : found->second;
}

void JobThreadUrls::erase(const std::string& threadId, const std::string& url) {
  const std::lock_guard lock(mMutex);
  const auto found = mUrls.find(threadId);
  if (found != mUrls.end() && found->second == url) mUrls.erase(found);
}

std::size_t JobThreadUrls::size() const {
  const std::lock_guard lock(mMutex);
  return mUrls.size();
}

}  // namespace discovery
