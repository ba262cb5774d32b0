#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace host {

/// Counts failed logins, and says how long whoever fails must wait. Nothing sleeps, and nobody from elsewhere can keep
/// a user out:
/// - A user from one address: from the third failure in a row each doubles the wait, and
///   `login_attempts` of them are a lock-out.
/// - A network (see `networkOf`), whatever the users: four times as many lock its strangers out.
/// - A user, from wherever: after four times as many, strangers may try every ten seconds, all of them together.
///   Strangers are not on loopback, and have not logged in as this user from their address since the server began.
/// A failure counts until `lockout` has passed without another one. Bounded: beyond `kMostEntries` the oldest are
/// forgotten. Safe for every thread.
class LoginThrottle {
 public:
  using Clock = std::chrono::steady_clock;
  using Now = std::function<Clock::time_point()>;

  static constexpr std::size_t kMostEntries = 4096;  ///< of each kind
  static constexpr unsigned int kFreeFailures = 2;
  static constexpr unsigned int kWiderTimes = 4;
  static constexpr std::chrono::seconds kLongestDelay{60};
  static constexpr std::chrono::seconds kPauseOfStrangers{10};

  LoginThrottle(unsigned int attempts, Clock::duration lockOut, Now now = Clock::now);

  void setLimits(unsigned int attempts, Clock::duration lockOut);

  /// Nothing: the login may be tried, and counts as failed from now on, until one of the following says otherwise. Else
  /// how long to wait.
  std::optional<std::chrono::seconds> admit(const std::string& user, const std::string& address);
  void succeeded(const std::string& user, const std::string& address);
  /// It was not tried after all.
  void withdrawn(const std::string& user, const std::string& address);

  /// Whether this user, from this address, is locked out now.
  bool isLockedOut(const std::string& user, const std::string& address) const;

 private:
  struct Count {
    unsigned int failures = 0;
    Clock::time_point last{};
  };
  using Counts = std::map<std::string, Count>;

  // All with the mutex held.
  unsigned int failuresOf(const Counts& counts, const std::string& key) const;
  Clock::duration waitFor(const Counts& counts, const std::string& key, Clock::duration pause) const;
  Clock::duration pauseAfter(unsigned int failures) const;
  bool isStranger(const std::string& user, const std::string& address) const;
  void add(Counts& counts, const std::string& key);
  void makeRoom(Counts& counts) const;

  const Now mNow;
  mutable std::mutex mMutex;
  unsigned int mAttempts;
  Clock::duration mLockOut;
  Counts mPairs;                                    ///< by user and address
  Counts mNetworks;                                 ///< by network
  Counts mUsers;                                    ///< by user
  std::map<std::string, Clock::time_point> mKnown;  ///< users and addresses of logins, and when they were
};

}  // namespace host
