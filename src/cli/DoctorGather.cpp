#include "cli/DoctorGather.h"

#include "cli/DoctorNetwork.h"
#include "cli/DoctorServer.h"
#include "cli/ServerApi.h"
#include "cli/SlpSession.h"

namespace cli::doctor {
namespace {

constexpr const char* kServerType = "service:x-mgmt.quorvel:kvt";
constexpr std::chrono::milliseconds kEchoWait{500};

SlpFacts searchBySlp(std::chrono::milliseconds limit) {
  SlpFacts facts;
  const auto session = SlpSession::open(SlpOptions(), limit);
  if (!session) {
    facts.failure = session.failure().message;
    return facts;
  }
  const auto failed =
      (*session)->findServices(kServerType, [&](const std::string& url, std::uint16_t) { facts.urls.push_back(url); });
  if (failed) facts.failure = failed->message;
  return facts;
}

std::vector<std::string> addressesOf(const std::vector<AnnounceInterface>& interfaces) {
  std::vector<std::string> addresses;
  for (const AnnounceInterface& interface : interfaces)
    addresses.push_back(interface.address);
  return addresses;
}

}  // namespace

Facts gather(const RestClient& client, const Exchange& plain, std::chrono::milliseconds search,
             const std::function<void(std::string)>& say) {
  const auto interfaces = announceInterfaces();
  Facts facts;
  say("asking " + client.url());
  facts.server = serverFacts(client);
  facts.server.isHere = leadsHere(client.url(), addressesOf(interfaces));
  if (const auto chosen = chooseInterfaces(interfaces, "")) {
    for (const AnnounceInterface& interface : *chosen) {
      say("sending to the group on " + interface.name);
      facts.interfaces.push_back(echoOn(interface, kEchoWait));
    }
  }
  facts.hasGroupRoute = hasGroupRoute();
  facts.ports = portFacts();
  say("searching by SLP");
  facts.slp = searchBySlp(search);
  facts.clock.isSynchronised = isClockKept();
  if (facts.server.status) {
    say("comparing clocks");
    if (const auto records = ServerApi(client).list()) facts.clock.peers = peersAhead(*records, plain);
  }
  facts.now = std::chrono::system_clock::now();
  return facts;
}

}  // namespace cli::doctor
