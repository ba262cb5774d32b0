#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "framework/launcher/SessionManager.h"
#include "host/config/Settings.h"

namespace host {

/// A login that holds.
struct LoginSession {
  std::string id;  ///< what the cookie carries: 256 random bits
  std::string user;
  std::string stamp;      ///< what the account was known by at the login; another one ends the session
  std::string csrfToken;  ///< what a write must show beside the cookie: 256 random bits
  std::chrono::system_clock::time_point expires;  ///< when it ends unless it is used before
};

/// The login sessions, which are those of the framework's session manager: calls in progress and last accesses are kept
/// there. One ends after `session_idle` without a request, unless a call is in progress, and after `session_lifetime`
/// in any case. Bounded: a user's oldest goes first, then the oldest of all. Safe for every thread.
class Sessions {
 public:
  using Clock = std::chrono::system_clock;
  using Now = std::function<Clock::time_point()>;

  static constexpr std::size_t kMostSessions = 1024;
  static constexpr std::size_t kMostOfAUser = 64;

  explicit Sessions(const AccessSettings& settings, Now now = Clock::now);
  /// Ends them all.
  ~Sessions();
  Sessions(const Sessions&) = delete;
  Sessions& operator=(const Sessions&) = delete;

  /// Holds for the sessions that there are, too.
  void setLimits(const AccessSettings& settings);

  LoginSession open(const std::string& user, const std::string& stamp);
  /// The session of a cookie's value, which counts as used now.
  std::optional<LoginSession> use(const std::string& id);
  /// The same without using it.
  std::optional<LoginSession> find(const std::string& id) const;
  void close(const std::string& id);

  std::size_t size() const;

 private:
  struct Entry {
    LoginSession session;
    Clock::time_point opened;
    Clock::time_point used;
  };
  /// By the digest of the identifier, so that the time of a look-up says nothing of it.
  using Entries = std::map<std::string, Entry>;

  // All with the session manager's mutex held.
  Clock::time_point endOf(const Entry& entry) const;
  Entries::iterator erase(Entries::iterator entry);
  void sweep();
  void makeRoom(const std::string& user);
  void eraseOldest(const std::string* user);

  launcher::SessionManager& mManager;  ///< its mutex guards everything here
  const Now mNow;
  AccessSettings mSettings;
  Entries mEntries;
  Clock::time_point mSwept{};
};

}  // namespace host
