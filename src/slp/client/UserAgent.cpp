#include "slp/client/UserAgent.h"

#include <algorithm>

#include "slp/client/Collector.h"
#include "slp/client/Search.h"
#include "slp/wire/Limits.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/ServiceUrl.h"

namespace slp::client {
namespace {

bool ends(Collector::Taken taken) {
  return taken >= Collector::Taken::kEnough;
}

Outcome outcomeOf(Collector::Taken taken) {
  return {taken == Collector::Taken::kStopped ? End::kStopped : End::kComplete, SLP_OK};
}

/// The plan of a search that wants everybody, or the one host to which the caller is tied. `ownAgent`: this process
/// serves the port of this machine.
Plan planFor(const Target& target, bool ownAgent) {
  Plan plan;
  if (target.host) {
    plan.hosts.push_back(*target.host);
    return plan;
  }
  plan.directoryAgents = true;
  plan.thisMachine = !ownAgent;
  plan.ownAgent = ownAgent;
  plan.multicast = true;
  return plan;
}

Outcome runOnce(Search& search, const Plan& plan) {
  search.run(plan);
  return search.conclude();
}

/// Where the host of a URL listens.
std::vector<net::Endpoint> hostOf(std::string_view url, std::uint16_t port, Transport& transport) {
  std::vector<net::Endpoint> endpoints;
  const auto parsed = wire::parseServiceUrl(url);
  if (!parsed || parsed->host.empty() || !parsed->family.empty()) return endpoints;
  for (const auto& address : resolveBesideTime(transport, parsed->host)) {
    if (address.isMulticast() || endpoints.size() == limits::kMaxAddressesOfHost) continue;
    endpoints.push_back({address, port});
  }
  return endpoints;
}

}  // namespace

UserAgent::UserAgent(const LocalServices& local, DirectoryAgents& directoryAgents, KnownResponders& responders)
    : mLocal(local), mDirectoryAgents(directoryAgents), mResponders(responders) {}

Outcome UserAgent::findServices(const ServiceQuery& query, const config::Settings& settings, const Target& target,
                                Transport& transport, const UrlSink& found) const {
  ServiceCollector collector(query, transport, settings.maxResults, mResponders, found);
  if (!target.host) {
    for (const auto& own : mLocal.findServices(query)) {
      const auto taken = collector.takeOwn(own.url, own.lifetime);
      if (ends(taken)) return outcomeOf(taken);
    }
  }
  Search search(Request(query), settings, transport, mDirectoryAgents, mResponders, collector);
  auto plan = planFor(target, mLocal.holdsPort());
  // An agent is asked for what it is itself; the others know nothing of it.
  if (isDirectoryAgentType(query.serviceType)) plan.thisMachine = false;
  if (isServiceAgentType(query.serviceType)) plan.directoryAgents = false;
  return runOnce(search, plan);
}

Outcome UserAgent::findTypes(const TypeQuery& query, const config::Settings& settings, const Target& target,
                             Transport& transport, const TextSink& found) const {
  TypeCollector collector(query, transport, settings.maxResults, found);
  if (!target.host) {
    for (const auto& own : mLocal.findTypes(query)) {
      const auto taken = collector.takeOwn(own);
      if (ends(taken)) return outcomeOf(taken);
    }
  }
  Search search(Request(query), settings, transport, mDirectoryAgents, mResponders, collector);
  return runOnce(search, planFor(target, mLocal.holdsPort()));
}

Outcome UserAgent::findAttributes(const AttributeQuery& query, const config::Settings& settings, const Target& target,
                                  Transport& transport, const TextSink& found) const {
  AttributeCollector collector(query, transport, settings.maxResults, mResponders, found);
  if (!target.host) {
    if (const auto own = mLocal.findAttributes(query)) {
      const auto taken = collector.takeOwn(*own);
      if (ends(taken)) return outcomeOf(taken);
    }
  }
  Search search(Request(query), settings, transport, mDirectoryAgents, mResponders, collector);
  if (target.host || wire::isServiceType(query.urlOrType)) return runOnce(search, planFor(target, mLocal.holdsPort()));
  askForUrl(search, query.urlOrType, settings, transport);
  return search.conclude();
}

void UserAgent::askForUrl(Search& search, const std::string& url, const config::Settings& settings,
                          Transport& transport) const {
  Plan hosts;
  hosts.more = true;
  if (const auto sender = mResponders.senderOf(url)) {
    hosts.hosts = {*sender};
    search.run(hosts);
    if (search.over()) return;
    if (!search.hostAnswered()) mResponders.forgetSender(url);
  }
  if (!search.hostAnswered()) {
    hosts.hosts = hostOf(url, settings.port, transport);
    search.run(hosts);
    if (search.over()) return;
  }

  Plan directoryAgents;
  directoryAgents.directoryAgents = true;
  directoryAgents.more = true;
  Plan thisMachine;
  thisMachine.thisMachine = !mLocal.holdsPort();
  thisMachine.more = true;
  Plan everybody;
  everybody.multicast = true;
  everybody.ownAgent = mLocal.holdsPort();
  for (const auto& plan : {directoryAgents, thisMachine, everybody}) {
    search.run(plan);
    if (search.over()) return;
  }
}

}  // namespace slp::client
