#include "slp/agent/ServiceAgent.h"

#include <atomic>
#include <cerrno>
#include <mutex>
#include <poll.h>

#include "slp/agent/AgentThread.h"
#include "slp/agent/HostLookup.h"
#include "slp/agent/Registry.h"
#include "slp/client/Resolver.h"
#include "slp/config/Log.h"
#include "slp/net/MessageStream.h"
#include "slp/wire/AttributeList.h"
#include "slp/wire/Limits.h"
#include "slp/wire/ServiceType.h"

namespace slp::agent {
namespace {

/// Milliseconds: loopback connects or refuses at once, unless somebody listens who accepts nothing.
constexpr int kLoopbackConnect = 100;

SLPError errorOf(wire::ErrorCode code) {
  switch (code) {
    case wire::ErrorCode::kOk:
      return SLP_OK;
    case wire::ErrorCode::kInvalidRegistration:
      return SLP_INVALID_REGISTRATION;
    case wire::ErrorCode::kParseError:
      return SLP_PARSE_ERROR;
    default:
      return SLP_INTERNAL_SYSTEM_ERROR;  // there are too many
  }
}

void logMissingPrivilege(std::uint16_t port) {
  const std::string number = std::to_string(port);
  config::log(config::LogLevel::kWarning,
              "SLP port " + number + " cannot be bound without the capability CAP_NET_BIND_SERVICE, so that nothing " +
                  "is registered: grant it (setcap cap_net_bind_service=+ep PROGRAM), or set net.slp.port to a port " +
                  "above 1023 for a trial");
}

/// Whether an agent of this machine takes connections: through it, registering needs no privilege.
bool anotherAgentServes(const config::Settings& settings) {
  for (const net::Family family : {net::Family::kV4, net::Family::kV6}) {
    if (!(family == net::Family::kV4 ? settings.useIpv4 : settings.useIpv6)) continue;
    auto stream = net::MessageStream::connect({net::Address::loopback(family), settings.port}, limits::kMaxRequest);
    if (stream.failed()) continue;
    pollfd entry{stream.fd(), POLLOUT, 0};
    if (::poll(&entry, 1, kLoopbackConnect) <= 0) continue;
    stream.ready();
    if (!stream.failed() && !stream.connecting()) return true;
  }
  return false;
}

}  // namespace

struct ServiceAgent::State {
  explicit State(client::DirectoryAgents& agents) : directoryAgents(agents) {}

  /// Starts the agent unless it runs; false when the privilege for its port is missing.
  bool start(const config::Settings& settings) {
    if (running) return true;
    const std::lock_guard lock(startMutex);
    if (running) return true;
    PortHolder port;
    const bool forbidden = port.bind(settings.port, settings.useIpv4, settings.useIpv6) == EACCES;
    if (forbidden && !anotherAgentServes(settings)) {
      logMissingPrivilege(settings.port);
      return false;
    }
    if (!HostLookup::isNumeric(settings.directoryAgents)) client::keepLoaded();
    thread = std::make_unique<AgentThread>(
        std::make_unique<AgentLoop>(registry, directoryAgents, settings, std::move(port)));
    running = true;
    return true;
  }

  client::DirectoryAgents& directoryAgents;
  Registry registry;
  std::mutex startMutex;
  std::atomic<bool> running{false};
  std::unique_ptr<AgentThread> thread;  ///< set once, before `running`
};

ServiceAgent::ServiceAgent(client::DirectoryAgents& directoryAgents)
    : mState(std::make_unique<State>(directoryAgents)) {}

ServiceAgent::~ServiceAgent() = default;

SLPError ServiceAgent::add(const Registration& registration, const config::Settings& settings) {
  if (!mState->start(settings)) return SLP_NETWORK_INIT_FAILED;
  const wire::ErrorCode error = mState->registry.add(registration, kThisProcess, Clock::now());
  if (error == wire::ErrorCode::kOk) mState->thread->loop().changes().add(registration.url);
  return errorOf(error);
}

SLPError ServiceAgent::remove(const std::string& url) {
  const wire::ErrorCode error = mState->registry.remove(url, kThisProcess);
  if (error == wire::ErrorCode::kOk && mState->running) mState->thread->loop().changes().add(url);
  return errorOf(error);
}

std::vector<client::LocalServices::Url> ServiceAgent::findServices(const client::ServiceQuery& query) const {
  std::vector<Url> found;
  const Registry::Search search{query.serviceType, query.scopes, query.filter, query.language};
  mState->registry.findServices(search, Clock::now(), [&](const Registry::Entry& entry) {
    found.push_back({std::string(entry.url), entry.lifetime});
    return found.size() < limits::kMaxResults;
  });
  return found;
}

std::optional<std::string> ServiceAgent::findAttributes(const client::AttributeQuery& query) const {
  std::optional<std::string> found;
  if (wire::isServiceType(query.urlOrType)) {
    const Registry::Search search{query.urlOrType, query.scopes, {}, query.language};
    auto merged = mState->registry.mergeAttributes(search, query.tags, Clock::now(), limits::kMaxMessage,
                                                   [](const Registry::Entry&) { return true; });
    if (merged.found > 0) found = std::move(merged.attributes);
    return found;
  }
  mState->registry.findByUrl(
      query.urlOrType, query.scopes, query.language, Clock::now(), [&](const Registry::Entry& entry) {
        found =
            query.tags.empty() ? std::string(entry.attributes) : wire::selectAttributes(entry.attributes, query.tags);
        return false;
      });
  return found;
}

std::vector<std::string> ServiceAgent::findTypes(const client::TypeQuery& query) const {
  const std::optional<std::string>& authority = query.namingAuthority;
  return mState->registry.types(authority ? std::optional<std::string_view>(*authority) : std::nullopt, query.scopes);
}

bool ServiceAgent::holdsPort() const {
  return mState->running && mState->thread->loop().holdsPort();
}

}  // namespace slp::agent
