#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "host/http/Messages.h"
#include "host/security/Sessions.h"
#include "state/Accounts.h"

namespace host {

/// Who makes a request, and how that is known.
struct Identity {
  std::string user = {};  ///< "" for somebody who has not logged in
  Role role = Role::kNobody;
  std::optional<LoginSession> session = {};
  std::string usedToken = {};        ///< the name of the token, "" for none
  bool hasWrongToken = false;        ///< one was shown, and there is none like it
  std::function<bool()> holds = {};  ///< whether it still does; never empty
};

/// Finds out who makes a request: by an API token, else by the cookie of a login, else nobody in particular. Accounts
/// that `kvtctl` changes count at once: the sessions of a removed account, or of one with a new password, are over.
/// Safe for every thread.
class Identifier {
 public:
  /// Accounts and sessions must outlive it, and it every identity.
  Identifier(const state::Accounts& accounts, Sessions& sessions, Role anonymous);

  /// Whether somebody must make the first account before anybody can use the server.
  bool needsAccount();
  void setAnonymous(Role role) { mAnonymous = role; }
  Role anonymous() const { return mAnonymous; }

  Identity identify(const ClientRequest& request);
  /// The session has let a request in.
  void noteUse(const LoginSession& session);

  /// The accounts as they are now. Why the file cannot be used is logged once.
  state::Accounts::Reading accounts();

 private:
  Identity byToken(const std::string& text);
  Identity bySession(const std::string& id);
  Identity nobody();
  /// What an account may do at least; nothing when there is none that this is the password's hash of.
  std::optional<Role> roleOf(const LoginSession& session);

  const state::Accounts& mAccounts;
  Sessions& mSessions;
  std::atomic<Role> mAnonymous;
  std::mutex mMutex;
  std::string mLoggedProblem;
};

/// The value of the session cookie; "" when there is none.
std::string sessionIdOf(const ClientRequest& request);

}  // namespace host
