#pragma once

#include <string>

#include "host/http/Lane.h"
#include "host/http/Routes.h"
#include "host/security/Audit.h"
#include "host/security/Identifier.h"
#include "host/security/LoginThrottle.h"
#include "host/security/Sessions.h"
#include "json/elements.h"
#include "state/Accounts.h"

namespace host {

/// /1.0/session, the login, and /1.0/setup, which makes the first account. Passwords are hashed on a lane.
class SessionRoutes {
 public:
  /// What it works on; all of it must outlive it.
  struct Parts {
    state::Accounts& accounts;
    Sessions& sessions;
    Identifier& identifier;
    LoginThrottle& throttle;
    Lane& lane;
  };

  /// `cookiePath` is what browsers send the cookie for: "/", or the path that all URIs of the server begin with.
  SessionRoutes(Parts parts, std::string cookiePath);

  /// Must outlive the routes' requests.
  void addTo(Routes& routes);

 private:
  struct Credentials {
    std::string user;
    std::string password;
  };

  Answer show(const ClientRequest& request);
  void login(ClientRequest request, Service::Done done);
  Answer logout(const ClientRequest& request);
  void setup(ClientRequest request, Service::Done done);

  Answer verify(const ClientRequest& request, const Credentials& credentials);
  Answer makeFirst(const ClientRequest& request, const Credentials& credentials);
  Answer loggedIn(const ClientRequest& request, const std::string& user, const state::Account& account);
  json::Object valueOf(const std::string& user, Role role, const LoginSession* session, const std::string& setup) const;
  std::string setupState(const ClientRequest& request);
  std::string cookie(const ClientRequest& request, const std::string& content) const;
  /// How the log calls whoever tries to log in. What is no user's name may be somebody's password.
  std::string called(const std::string& user);

  Parts mParts;
  const std::string mCookiePath;
};

}  // namespace host
