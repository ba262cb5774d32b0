#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

#include "host/config/Settings.h"
#include "host/http/Lane.h"
#include "host/http/Routes.h"
#include "host/security/Gate.h"
#include "host/security/Identifier.h"
#include "host/security/LoginThrottle.h"
#include "host/security/SessionRoutes.h"
#include "host/security/Sessions.h"
#include "host/security/TokenRoutes.h"
#include "state/Accounts.h"
#include "state/Directory.h"

namespace host {

/// All that decides who may use the server, put together: accounts, sessions, throttle and gate. Safe for every thread
/// but for its construction and end.
class Security {
 public:
  /// `uriPrefix` is what the URIs of this server begin with. Directory and `next` must outlive it, and it every request
  /// that its gate has let through.
  Security(const Settings& settings, const state::Directory& directory, const std::string& uriPrefix, Service& next);
  ~Security();

  /// What stands before `next`.
  Gate& gate() { return mGate; }
  void addRoutes(Routes& routes);
  /// Whether somebody must make the first account before anybody can use the server.
  bool needsAccount() { return mIdentifier.needsAccount(); }
  /// Takes over the settings, also for the sessions and lock-outs that there are.
  void reload(const AccessSettings& settings);
  /// Drops the logins that wait and ends those under way.
  void close();

 private:
  /// Writes it down once an hour, on the lane.
  void noteUse(const std::string& token);

  state::Accounts mAccounts;
  Sessions mSessions;
  LoginThrottle mThrottle;
  Identifier mIdentifier;
  std::mutex mMutex;
  std::map<std::string, std::chrono::steady_clock::time_point> mNoted;  ///< by token: when its use was written down
  Lane mLane;
  SessionRoutes mSessionRoutes;
  TokenRoutes mTokenRoutes;
  Gate mGate;
};

}  // namespace host
