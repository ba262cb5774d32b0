#pragma once

#include <string>

#include "host/http/Lane.h"
#include "host/http/Routes.h"
#include "host/security/Audit.h"
#include "host/security/Identifier.h"
#include "state/Accounts.h"

namespace host {

/// /1.0/tokens: the API tokens of whoever is logged in; operators see and remove those of everybody.
class TokenRoutes {
 public:
  /// What it works on; all of it must outlive it.
  struct Parts {
    state::Accounts& accounts;
    Identifier& identifier;
    Lane& lane;
  };

  explicit TokenRoutes(Parts parts) : mParts(parts) {}

  /// Must outlive the routes' requests.
  void addTo(Routes& routes);

 private:
  /// What a token of a user allows now; nothing when there is none.
  Role roleOf(const std::string& token, const std::string& user);
  Answer list(const ClientRequest& request);
  void add(ClientRequest request, Service::Done done);
  void remove(ClientRequest request, Service::Done done);

  Parts mParts;
};

}  // namespace host
