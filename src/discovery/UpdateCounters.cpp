#include "discovery/UpdateCounters.h"

namespace discovery {

UpdateCounters::UpdateCounters(std::size_t limit) : mLimit(limit) {}

void UpdateCounters::record(const std::string& address, std::uint32_t counter, const std::string& gid) {
  const std::lock_guard lock(mMutex);
  if (mFiled.size() >= mLimit && !mFiled.contains(address)) return;
  Filed& filed = mFiled[address];
  filed.counter = counter;
  if (!gid.empty()) filed.gid = gid;
}

std::optional<UpdateCounters::Filed> UpdateCounters::find(const std::string& address) const {
  const std::lock_guard lock(mMutex);
  const auto found = mFiled.find(address);
  return found != mFiled.end() ? std::optional(found->second) : std::nullopt;
}

void UpdateCounters::keepOnly(const HostTable::Map& hosts, const HostTable::Map& others) {
  const std::lock_guard lock(mMutex);
  std::erase_if(mFiled,
                [&](const auto& entry) { return !hosts.contains(entry.first) && !others.contains(entry.first); });
}

void UpdateCounters::clear() {
  const std::lock_guard lock(mMutex);
  mFiled.clear();
}

std::size_t UpdateCounters::size() const {
  const std::lock_guard lock(mMutex);
  return mFiled.size();
}

}  // namespace discovery
