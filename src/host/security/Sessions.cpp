#include "host/security/Sessions.h"

#include <algorithm>
#include <utility>

#include "state/Secrets.h"

namespace host {
namespace {

constexpr std::chrono::seconds kSweepInterval{10};

}  // namespace

Sessions::Sessions(const AccessSettings& settings, Now now)
    : mManager(*launcher::SessionManager::get_instance()), mNow(std::move(now)), mSettings(settings) {}

Sessions::~Sessions() {
  const utils::Lock lock(&mManager.mutex(), false);
  while (!mEntries.empty()) {
    erase(mEntries.begin());
  }
}

void Sessions::setLimits(const AccessSettings& settings) {
  const utils::Lock lock(&mManager.mutex(), false);
  mSettings = settings;
}

LoginSession Sessions::open(const std::string& user, const std::string& stamp) {
  LoginSession session{state::makeSecret(), user, stamp, state::makeSecret(), {}};
  const utils::Lock lock(&mManager.mutex(), false);
  sweep();
  makeRoom(user);
  launcher::Session& accounted = mManager.sessions()[http::SessionID(session.id)];
  utils::DateTime::get_current_time(accounted.lastAccess);
  const auto now = mNow();
  Entry& entry = mEntries[state::digestOf(session.id)];
  entry = {std::move(session), now, now};
  entry.session.expires = endOf(entry);
  return entry.session;
}

std::optional<LoginSession> Sessions::use(const std::string& id) {
  const std::string digest = state::digestOf(id);
  const utils::Lock lock(&mManager.mutex(), false);
  if (mNow() - mSwept >= kSweepInterval) sweep();
  const auto entry = mEntries.find(digest);
  if (entry == mEntries.end()) return std::nullopt;
  if (endOf(entry->second) <= mNow()) {
    erase(entry);
    return std::nullopt;
  }
  entry->second.used = mNow();
  utils::DateTime::get_current_time(mManager.sessions()[http::SessionID(id)].lastAccess);
  entry->second.session.expires = endOf(entry->second);
  return entry->second.session;
}

std::optional<LoginSession> Sessions::find(const std::string& id) const {
  const std::string digest = state::digestOf(id);
  const utils::Lock lock(&mManager.mutex(), false);
  const auto entry = mEntries.find(digest);
  if (entry == mEntries.end() || endOf(entry->second) <= mNow()) return std::nullopt;
  return entry->second.session;
}

void Sessions::close(const std::string& id) {
  const std::string digest = state::digestOf(id);
  const utils::Lock lock(&mManager.mutex(), false);
  const auto entry = mEntries.find(digest);
  if (entry != mEntries.end()) erase(entry);
}

std::size_t Sessions::size() const {
  const utils::Lock lock(&mManager.mutex(), false);
  return mEntries.size();
}

Sessions::Clock::time_point Sessions::endOf(const Entry& entry) const {
  const auto last = entry.opened + mSettings.sessionLifetime;
  const auto accounted = mManager.sessions().find(http::SessionID(entry.session.id));
  if (accounted == mManager.sessions().end()) return entry.opened;  // somebody else has ended it
  if (accounted->second.callsInProgress > 0) return last;
  const Clock::time_point used = std::max(entry.used, accounted->second.lastAccess.value());
  return std::min(last, used + mSettings.sessionIdle);
}

Sessions::Entries::iterator Sessions::erase(Entries::iterator entry) {
  mManager.sessions().erase(http::SessionID(entry->second.session.id));
  return mEntries.erase(entry);
}

void Sessions::sweep() {
  mSwept = mNow();
  for (auto entry = mEntries.begin(); entry != mEntries.end();) {
    entry = endOf(entry->second) <= mSwept ? erase(entry) : std::next(entry);
  }
}

void Sessions::makeRoom(const std::string& user) {
  const auto ofUser = std::count_if(mEntries.begin(), mEntries.end(),
                                    [&](const auto& each) { return each.second.session.user == user; });
  if (static_cast<std::size_t>(ofUser) >= kMostOfAUser) eraseOldest(&user);
  if (mEntries.size() >= kMostSessions) eraseOldest(nullptr);
}

void Sessions::eraseOldest(const std::string* user) {
  auto oldest = mEntries.end();
  for (auto entry = mEntries.begin(); entry != mEntries.end(); ++entry) {
    if (user != nullptr && entry->second.session.user != *user) continue;
    if (oldest == mEntries.end() || entry->second.opened < oldest->second.opened) oldest = entry;
  }
  if (oldest != mEntries.end()) erase(oldest);
}

}  // namespace host
