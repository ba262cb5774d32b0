#pragma once

#include <memory>
#include <string>

#include "slp/agent/Registration.h"
#include "slp/client/DirectoryAgents.h"
#include "slp/client/LocalServices.h"
#include "slp/config/Settings.h"
#include "slp/include/slp.h"

namespace slp::agent {

/// The service agent of this process. Its first registration starts one thread, which serves the SLP port of this
/// machine, or, when another process does, registers with that one and succeeds it; and which registers with directory
/// agents. Safe for every thread; a child of fork() must not use it. The end withdraws what directory agents and other
/// processes were told, for at most 300 ms.
class ServiceAgent final : public client::LocalServices {
 public:
  explicit ServiceAgent(client::DirectoryAgents& directoryAgents);
  ~ServiceAgent() override;

  /// SLP_OK once the registration is in the table. The settings of the first one are the agent's.
  /// SLP_NETWORK_INIT_FAILED only when the privilege for the port is missing and nobody else serves it; the log says
  /// what to do.
  SLPError add(const Registration& registration, const config::Settings& settings);
  /// SLP_INVALID_REGISTRATION for a URL that this process has not registered.
  SLPError remove(const std::string& url);

  std::vector<Url> findServices(const client::ServiceQuery& query) const override;
  std::optional<std::string> findAttributes(const client::AttributeQuery& query) const override;
  std::vector<std::string> findTypes(const client::TypeQuery& query) const override;
  bool holdsPort() const override;

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace slp::agent
