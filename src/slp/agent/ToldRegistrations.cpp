#include "slp/agent/ToldRegistrations.h"

#include <algorithm>

#include "slp/agent/Due.h"

namespace slp::agent {
namespace {

/// How soon a task is looked at again that waits for another one of its URL.
constexpr std::chrono::milliseconds kSiblingWait{20};

}  // namespace

void ToldRegistrations::schedule(Items::value_type& entry, std::optional<TimePoint> due) {
  auto& [key, item] = entry;
  if (item.due) mQueue.erase({*item.due, &key});
  item.due = due;
  if (due) mQueue.emplace(*due, &key);
}

void ToldRegistrations::erase(Items::iterator item) {
  schedule(*item, std::nullopt);
  mItems.erase(item);
}

void ToldRegistrations::unwant(Items::iterator item, TimePoint due) {
  item->second.wanted = false;
  item->second.changed = true;
  if (item->second.underWay) return;
  if (item->second.told)
    schedule(*item, due);
  else
    erase(item);
}

void ToldRegistrations::set(std::string_view url, const std::vector<Wanted>& wanted, TimePoint due) {
  const auto isWanted = [&](const std::string& language) {
    return std::any_of(wanted.begin(), wanted.end(), [&](const Wanted& one) { return one.language == language; });
  };
  for (auto item = mItems.lower_bound(Key{std::string(url), {}}); item != mItems.end() && item->first.url == url;) {
    const auto current = item++;
    if (!isWanted(current->first.language)) unwant(current, due);
  }
  for (const Wanted& one : wanted) {
    auto& entry = *mItems.try_emplace(Key{std::string(url), one.language}).first;
    entry.second.wanted = true;
    entry.second.scopes = one.scopes;
    entry.second.changed = true;
    entry.second.failures = 0;
    if (!entry.second.underWay) schedule(entry, earlier(entry.second.due, due));
  }
}

void ToldRegistrations::keepOnly(const std::vector<std::string>& sortedUrls, TimePoint due) {
  for (auto item = mItems.begin(); item != mItems.end();) {
    const auto current = item++;
    if (!std::binary_search(sortedUrls.begin(), sortedUrls.end(), current->first.url)) unwant(current, due);
  }
}

void ToldRegistrations::tellAgain(TimePoint due) {
  for (auto item = mItems.begin(); item != mItems.end();) {
    const auto current = item++;
    current->second.told = false;
    current->second.failures = 0;
    current->second.changed = true;
    if (current->second.underWay) continue;
    if (current->second.wanted)
      schedule(*current, due);
    else
      erase(current);
  }
}

void ToldRegistrations::connectionEnded() {
  for (auto item = mItems.begin(); item != mItems.end();) {
    const auto current = item++;
    Item& entry = current->second;
    if (entry.underWay) entry.told = true;  // it may have arrived
    entry.underWay = false;
    entry.failures = 0;
    if (entry.wanted || entry.told)
      schedule(*current, entry.answered);
    else
      erase(current);
  }
  mUnderWay = 0;
}

void ToldRegistrations::withdrawAll(TimePoint now) {
  keepOnly({}, now);
}

bool ToldRegistrations::siblingUnderWay(const std::string& url) const {
  for (auto item = mItems.lower_bound(Key{url, {}}); item != mItems.end() && item->first.url == url; ++item)
    if (item->second.underWay) return true;
  return false;
}

std::optional<ToldRegistrations::Task> ToldRegistrations::take(TimePoint now) {
  while (!mQueue.empty() && mQueue.begin()->first <= now) {
    auto& entry = *mItems.find(*mQueue.begin()->second);
    auto& [key, item] = entry;
    if (siblingUnderWay(key.url)) {
      schedule(entry, now + kSiblingWait);
      continue;
    }
    schedule(entry, std::nullopt);
    item.underWay = true;
    item.changed = false;
    ++mUnderWay;
    // Scopes that the peer was told before, and is not to know any more, are withdrawn first.
    const bool otherScopes = item.told && item.wanted && item.scopes != item.toldScopes;
    if (!item.wanted || otherScopes) return Task{true, key, item.toldScopes};
    item.toldScopes = item.scopes;
    return Task{false, key, item.scopes};
  }
  return std::nullopt;
}

ToldRegistrations::Items::iterator ToldRegistrations::finish(const Task& task) {
  const auto item = mItems.find(task.key);
  if (item == mItems.end() || !item->second.underWay) return mItems.end();
  item->second.underWay = false;
  --mUnderWay;
  return item;
}

void ToldRegistrations::tellSiblings(const Key& key, TimePoint now) {
  for (auto item = mItems.lower_bound(Key{key.url, {}}); item != mItems.end() && item->first.url == key.url; ++item)
    if (item->second.wanted && !item->second.underWay) schedule(*item, now);
}

void ToldRegistrations::retryLater(Items::value_type& entry, TimePoint now) {
  const unsigned doublings = std::min(entry.second.failures, 6U);
  ++entry.second.failures;
  schedule(entry, now + std::min<std::chrono::seconds>(kFirstRetry * (1U << doublings), kLastRetry));
}

bool ToldRegistrations::done(const Task& task, wire::ErrorCode error, TimePoint now,
                             std::optional<std::chrono::seconds> refresh) {
  const auto found = finish(task);
  if (found == mItems.end()) return false;
  Item& item = found->second;
  item.answered = now;
  if (error == wire::ErrorCode::kBusyNow || error == wire::ErrorCode::kInternalError) {
    retryLater(*found, now);
    return false;
  }
  const bool taken = error == wire::ErrorCode::kOk || error == wire::ErrorCode::kRefreshRejected;
  if (task.deregister) {
    item.told = false;
    tellSiblings(task.key, now);  // itself, too, when it is wanted again
    if (!item.wanted) erase(found);
    return false;  // the peer did not know it any more, which is what was wanted
  }
  item.told = taken;
  if (taken) item.failures = 0;
  if (item.changed)
    schedule(*found, now);
  else if (taken && refresh)
    schedule(*found, now + *refresh);
  else if (!taken && mRefusedAgain)
    schedule(*found, now + *mRefusedAgain);
  if (!item.wanted && !item.told) erase(found);
  return !taken;
}

void ToldRegistrations::unanswered(const Task& task, TimePoint now) {
  const auto found = finish(task);
  if (found == mItems.end()) return;
  // It may have arrived all the same, and must be withdrawn then.
  found->second.told = true;
  retryLater(*found, now);
}

std::optional<ToldRegistrations::TimePoint> ToldRegistrations::next() const {
  if (mQueue.empty()) return std::nullopt;
  return mQueue.begin()->first;
}

}  // namespace slp::agent
