#include "slp/client/DirectoryAgents.h"

#include <algorithm>
#include <optional>

#include "slp/wire/Limits.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/ServiceUrl.h"
#include "slp/wire/StringList.h"
#include "slp/wire/Text.h"

namespace slp::client {
namespace {

using namespace std::chrono_literals;

/// How long a configured agent that was silent is left in peace, and how often the names of the configuration are
/// looked up: long enough to cost nothing, short enough that its return is noticed.
constexpr auto kPause = 60s;

bool isPassedOver(TimePoint until, TimePoint now) {
  return until > now;
}

}  // namespace

std::optional<net::Endpoint> advertisedEndpoint(std::string_view url, const net::Endpoint& from, std::uint16_t port) {
  const auto parsed = wire::parseServiceUrl(url);
  if (!parsed || !wire::equalFolded(parsed->type, wire::kDirectoryAgentType)) return std::nullopt;
  net::Endpoint endpoint{from.address, parsed->port != 0 ? static_cast<std::uint16_t>(parsed->port) : port};
  auto named = net::Address::parseForeign(parsed->host);
  if (!named) return endpoint;  // a name: where it came from will do
  named->zone = from.address.zone;
  if (*named == from.address) return endpoint;
  if (!from.address.isLoopback() || named->isMulticast()) return std::nullopt;
  endpoint.address = *named;
  return endpoint;
}

DirectoryAgents::Entry* DirectoryAgents::find(const net::Address& address) {
  const auto found = std::find_if(mEntries.begin(), mEntries.end(),
                                  [&](const Entry& entry) { return entry.agent.endpoint.address == address; });
  return found == mEntries.end() ? nullptr : &*found;
}

void DirectoryAgents::configure(const std::vector<net::Endpoint>& endpoints, std::string_view scopes) {
  const std::lock_guard lock(mMutex);
  const auto named = [&](const Entry& entry) {
    return std::any_of(endpoints.begin(), endpoints.end(),
                       [&](const net::Endpoint& one) { return one.address == entry.agent.endpoint.address; });
  };
  const auto removed =
      std::erase_if(mEntries, [&](const Entry& entry) { return entry.agent.configured && !named(entry); });
  bool changed = removed > 0;
  for (const auto& endpoint : endpoints) {
    Entry* known = find(endpoint.address);
    if (known == nullptr) {
      known = placeForConfigured();
      if (known == nullptr) continue;
      known->agent.endpoint = endpoint;
      changed = true;
    }
    known->agent.configured = true;
    if (known->agent.url.empty()) known->agent.scopes = scopes;
  }
  if (changed) ++mGeneration;
}

/// When the table is full a configured agent takes the place of the one that was heard last of the others, so that
/// nobody can keep it out by filling the table with adverts.
DirectoryAgents::Entry* DirectoryAgents::placeForConfigured() {
  if (mEntries.size() < limits::kMaxDirectoryAgents) return &mEntries.emplace_back();
  const auto other =
      std::find_if(mEntries.rbegin(), mEntries.rend(), [](const Entry& entry) { return !entry.agent.configured; });
  if (other == mEntries.rend()) return nullptr;
  *other = Entry{};
  return &*other;
}

/// When the table is full the one goes that was learnt first, so that nobody can keep others out for ever.
bool DirectoryAgents::makePlace() {
  if (mEntries.size() < limits::kMaxDirectoryAgents) return true;
  const auto first =
      std::find_if(mEntries.begin(), mEntries.end(), [](const Entry& entry) { return !entry.agent.configured; });
  if (first == mEntries.end()) return false;
  mEntries.erase(first);
  return true;
}

bool DirectoryAgents::claimConfiguration(const std::vector<std::string>& hosts, TimePoint now) {
  const std::lock_guard lock(mMutex);
  if (hosts == mHosts && (hosts.empty() || now < mNextLookup)) return false;
  mHosts = hosts;
  mNextLookup = now + kPause;
  return true;
}

DirectoryAgents::Change DirectoryAgents::learn(const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from,
                                               std::uint16_t port, TimePoint now) {
  if (advert.error != wire::ErrorCode::kOk) return Change::kNone;
  const auto endpoint = advertisedEndpoint(advert.url, from, port);
  if (!endpoint) return Change::kNone;
  const std::lock_guard lock(mMutex);
  if (advert.bootTime == 0) return remove(endpoint->address, now);
  if (wire::splitList(advert.scopes).empty()) return Change::kNone;

  Entry* known = find(endpoint->address);
  auto change = Change::kNone;
  if (known == nullptr) {
    if (!makePlace()) return Change::kNone;
    known = &mEntries.emplace_back();
    change = Change::kNew;
  } else if (known->agent.url.empty() || isPassedOver(known->passedOverUntil, now)) {
    change = Change::kNew;
  } else if (advert.bootTime > known->agent.bootTime) {
    change = Change::kRestarted;
  } else if (advert.bootTime < known->agent.bootTime) {
    return Change::kNone;  // an old advert that was under way, or was kept to be played again
  }
  const DirectoryAgent agent{
      *endpoint,       std::string(advert.url), std::string(advert.scopes), std::string(advert.attributes),
      advert.bootTime, known->agent.configured};
  const bool differs = change != Change::kNone || agent.scopes != known->agent.scopes ||
                       agent.endpoint != known->agent.endpoint || agent.url != known->agent.url;
  known->agent = agent;
  known->passedOverUntil = {};
  if (differs) ++mGeneration;
  return change;
}

void DirectoryAgents::silent(const net::Endpoint& endpoint, TimePoint now) {
  const std::lock_guard lock(mMutex);
  remove(endpoint.address, now);
}

DirectoryAgents::Change DirectoryAgents::remove(const net::Address& address, TimePoint now) {
  Entry* known = find(address);
  if (known == nullptr) return Change::kNone;
  ++mGeneration;
  if (known->agent.configured)
    known->passedOverUntil = now + kPause;
  else
    mEntries.erase(mEntries.begin() + (known - mEntries.data()));
  return Change::kGone;
}

std::vector<DirectoryAgent> DirectoryAgents::serving(std::string_view scopes, TimePoint now) const {
  const std::lock_guard lock(mMutex);
  std::vector<DirectoryAgent> agents;
  for (const auto& entry : mEntries) {
    if (isPassedOver(entry.passedOverUntil, now)) continue;
    if (wire::intersects(entry.agent.scopes, scopes)) agents.push_back(entry.agent);
  }
  return agents;
}

std::vector<DirectoryAgent> DirectoryAgents::all() const {
  const std::lock_guard lock(mMutex);
  std::vector<DirectoryAgent> agents;
  for (const auto& entry : mEntries)
    agents.push_back(entry.agent);
  return agents;
}

bool DirectoryAgents::claimDiscovery(TimePoint now, std::chrono::seconds interval) {
  const std::lock_guard lock(mMutex);
  if (interval <= 0s || (mDiscovered && now < mNextDiscovery)) return false;
  mDiscovered = true;
  mNextDiscovery = now + interval;
  return true;
}

void DirectoryAgents::releaseDiscovery() {
  const std::lock_guard lock(mMutex);
  mDiscovered = false;
}

std::uint64_t DirectoryAgents::generation() const {
  const std::lock_guard lock(mMutex);
  return mGeneration;
}

}  // namespace slp::client
