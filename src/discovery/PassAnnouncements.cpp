#include "discovery/PassAnnouncements.h"

#include <utility>

namespace discovery {

HostTable::Map withAnnouncements(const HostTable::Map& found, const HostTable::Map& announced,
                                 const std::set<std::string>& deregistered) {
  HostTable::Map listed = found;
  for (const auto& [address, record] : announced) {
    if (listed.size() < kMaxAnnouncedServers) listed.emplace(address, record);
  }
  for (const std::string& address : deregistered)
    listed.erase(address);
  return listed;
}

PassAnnouncements::PassAnnouncements(std::size_t limit) : mLimit(limit) {}

void PassAnnouncements::passBegins() {
  const std::lock_guard lock(mMutex);
  mIsPassRunning = true;
  mLastWords.clear();
}

void PassAnnouncements::passEnds(HostTable& table) {
  const std::lock_guard lock(mMutex);
  for (const auto& [address, record] : mLastWords) {
    if (record) {
      table.insertIfAbsent(address, *record, kMaxAnnouncedServers);
    } else {
      table.erase(address);
    }
  }
  mIsPassRunning = false;
  mLastWords.clear();
}

void PassAnnouncements::announced(const std::string& address, const json::Object& record) {
  keep(address, record);
}

void PassAnnouncements::deregistered(const std::string& address) {
  keep(address, std::nullopt);
}

void PassAnnouncements::takeBackDeregistration(const std::string& address) {
  const std::lock_guard lock(mMutex);
  const auto known = mLastWords.find(address);
  if (known != mLastWords.end() && !known->second) mLastWords.erase(known);
}

void PassAnnouncements::keep(const std::string& address, std::optional<json::Object> record) {
  const std::lock_guard lock(mMutex);
  if (!mIsPassRunning) return;
  const auto known = mLastWords.find(address);
  if (known != mLastWords.end()) {
    known->second = std::move(record);
  } else if (mLastWords.size() < mLimit) {
    mLastWords.emplace(address, std::move(record));
  }
}

HostTable::Map PassAnnouncements::applyTo(const HostTable::Map& found) const {
  HostTable::Map announced;
  std::set<std::string> gone;
  const std::lock_guard lock(mMutex);
  for (const auto& [address, record] : mLastWords) {
    if (record) {
      announced.emplace(address, *record);
    } else {
      gone.insert(address);
    }
  }
  return withAnnouncements(found, announced, gone);
}

}  // namespace discovery
