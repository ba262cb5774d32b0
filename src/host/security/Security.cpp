#include "host/security/Security.h"

#include <exception>

#include "framework/utils/Log.h"
#include "host/http/Translate.h"

namespace host {
namespace {

// A login takes 64 MiB while it is checked: this bounds the memory that strangers can make the server use.
constexpr unsigned int kThreads = 2;
constexpr std::size_t kBacklog = 8;
constexpr std::chrono::hours kNoteInterval{1};
constexpr std::size_t kMostNoted = 2 * state::AccountBook::kMostTokens;

std::string cookiePath(const std::string& uriPrefix) {
  const std::string path(pathOfPrefix(uriPrefix));
  return path.empty() ? "/" : path;
}

}  // namespace

Security::Security(const Settings& settings, const state::Directory& directory, const std::string& uriPrefix,
                   Service& next)
    : mAccounts(directory),
      mSessions(settings.access),
      mThrottle(settings.access.loginAttempts, settings.access.lockOut),
      mIdentifier(mAccounts, mSessions, settings.access.anonymous),
      mLane("kvt-logins", kThreads, kBacklog),
      mSessionRoutes({mAccounts, mSessions, mIdentifier, mThrottle, mLane}, cookiePath(uriPrefix)),
      mTokenRoutes({mAccounts, mIdentifier, mLane}),
      mGate(mIdentifier, uriPrefix, next, [this](const std::string& token) { noteUse(token); }) {
  (void)mIdentifier.accounts();  // what is wrong with them is said at the start
}

Security::~Security() {
  close();
}

void Security::addRoutes(Routes& routes) {
  mSessionRoutes.addTo(routes);
  mTokenRoutes.addTo(routes);
}

void Security::reload(const AccessSettings& settings) {
  mSessions.setLimits(settings);
  mThrottle.setLimits(settings.loginAttempts, settings.lockOut);
  mIdentifier.setAnonymous(settings.anonymous);
}

void Security::close() {
  mLane.close();
}

void Security::noteUse(const std::string& token) {
  const auto now = std::chrono::steady_clock::now();
  {
    const std::lock_guard lock(mMutex);
    const auto noted = mNoted.find(token);
    if (noted != mNoted.end() && now - noted->second < kNoteInterval) return;
    if (mNoted.size() >= kMostNoted) mNoted.clear();  // of tokens that are gone
    mNoted[token] = now;
  }
  const bool isTaken = mLane.submit([this, token] {
    try {
      (void)mAccounts.noteUse(token);
    } catch (const std::exception& error) {
      utils::formatted_log_t(utils::LOG_FAILURE, "Access: the use of a token could not be noted: %1%") % error.what();
    }
  });
  if (isTaken) return;
  const std::lock_guard lock(mMutex);
  mNoted.erase(token);
}

}  // namespace host
