#include "slp/agent/DirectoryAgentRegistrar.h"

#include <algorithm>

#include "slp/agent/Due.h"
#include "slp/agent/RegistrationMessages.h"
#include "slp/config/Log.h"
#include "slp/wire/StringList.h"

namespace slp::agent {

DirectoryAgentRegistrar::DirectoryAgentRegistrar(Settings settings, PeerSender& sender, Services services,
                                                 std::uint32_t seed)
    : mSettings(std::move(settings)), mSender(sender), mServices(std::move(services)), mRandom(seed), mXids(seed) {}

DirectoryAgentRegistrar::TimePoint DirectoryAgentRegistrar::afterRandomWait(TimePoint now) {
  mRandom = mRandom * 1'664'525U + 1'013'904'223U;  // spreads the load of many machines; nothing secret
  const auto bound = static_cast<std::uint64_t>(std::max<std::int64_t>(0, mSettings.randomWaitBound.count()));
  return now + std::chrono::milliseconds((bound * (mRandom >> 8U)) >> 24U);
}

void DirectoryAgentRegistrar::follow(const std::vector<client::DirectoryAgent>& agents, TimePoint now) {
  const auto gone = [&](const auto& entry) {
    return std::none_of(agents.begin(), agents.end(),
                        [&](const client::DirectoryAgent& agent) { return agent.endpoint == entry.first; });
  };
  std::erase_if(mAgents, gone);
  for (const client::DirectoryAgent& known : agents) {
    const auto [entry, isNew] = mAgents.try_emplace(known.endpoint);
    Agent& agent = entry->second;
    const bool restarted = !isNew && agent.known.bootTime != known.bootTime;
    const bool otherScopes = !isNew && agent.known.scopes != known.scopes;
    agent.known = known;
    agent.minimumRefresh = minimumRefreshOf(known.attributes);
    if (!isNew && !restarted && !otherScopes) continue;
    agent.heard = now;
    agent.start = afterRandomWait(now);
    if (restarted) agent.told.tellAgain(agent.start);
    if (isNew || otherScopes)
      for (const std::string& url : mServices.urls())
        tell(agent, url, mServices.variants(url), agent.start);
  }
}

void DirectoryAgentRegistrar::tell(Agent& agent, const std::string& url, const std::vector<Variant>& variants,
                                   TimePoint now) {
  std::vector<ToldRegistrations::Wanted> wanted;
  for (const Variant& variant : variants) {
    std::string scopes = wire::intersection(variant.scopes, agent.known.scopes);
    if (!scopes.empty()) wanted.push_back({variant.language, std::move(scopes)});
  }
  agent.told.set(url, wanted, std::max(now, agent.start));
}

void DirectoryAgentRegistrar::changed(const std::string& url, TimePoint now) {
  if (mAgents.empty()) return;
  const std::vector<Variant> variants = mServices.variants(url);
  for (auto& [endpoint, agent] : mAgents)
    tell(agent, url, variants, now);
}

void DirectoryAgentRegistrar::everythingChanged(TimePoint now) {
  if (mAgents.empty()) return;
  std::vector<std::string> sorted = mServices.urls();
  std::sort(sorted.begin(), sorted.end());
  for (auto& [endpoint, agent] : mAgents) {
    agent.told.keepOnly(sorted, now);
    for (const std::string& url : sorted)
      tell(agent, url, mServices.variants(url), now);
  }
}

void DirectoryAgentRegistrar::withdrawAll(TimePoint now) {
  for (auto& [endpoint, agent] : mAgents) {
    agent.start = now;
    agent.told.withdrawAll(now);
  }
}

bool DirectoryAgentRegistrar::acknowledged(const net::Endpoint& from, std::uint16_t xid, wire::ErrorCode error,
                                           TimePoint now) {
  const auto found = mAgents.find(from);
  if (found == mAgents.end()) return false;
  Agent& agent = found->second;
  const auto flight = agent.flights.find(xid);
  if (flight == agent.flights.end()) return false;
  agent.heard = now;
  const ToldRegistrations::Task task = flight->second.task;
  const auto refresh = flight->second.refresh;
  agent.flights.erase(flight);
  if (agent.told.done(task, error, now, refresh))
    config::logLimited(config::LogLevel::kWarning, "directory agent refuses",
                       "the directory agent " + from.text() + " refuses " + task.key.url + " with error " +
                           std::to_string(static_cast<unsigned>(error)));
  return true;
}

void DirectoryAgentRegistrar::streamEnded(const net::Endpoint& endpoint, TimePoint now) {
  const auto found = mAgents.find(endpoint);
  if (found == mAgents.end()) return;
  std::erase_if(found->second.flights, [&](const auto& entry) {
    if (!entry.second.stream) return false;
    found->second.told.unanswered(entry.second.task, now);
    return true;
  });
}

std::optional<DirectoryAgentRegistrar::Flight> DirectoryAgentRegistrar::prepare(const Agent& agent,
                                                                                const ToldRegistrations::Task& task,
                                                                                std::uint16_t xid) {
  Flight flight;
  flight.task = task;
  if (task.deregister) {
    flight.message = deregistrationMessage(task.key.url, task.key.language, task.scopes, xid, false);
  } else {
    for (const Registration& registration : mServices.of(task.key.url)) {
      if (registration.language != task.key.language) continue;
      const WireLifetime lifetime =
          wireLifetime(registration.lifetime, agent.minimumRefresh, std::chrono::seconds(kLifetimeForever));
      flight.refresh = lifetime.refresh;
      flight.message = registrationMessage(registration, task.scopes, lifetime.seconds, xid, false);
    }
  }
  if (flight.message.empty()) return std::nullopt;
  flight.stream = flight.message.size() > mSettings.maxDatagramMessage;
  return flight;
}

void DirectoryAgentRegistrar::launch(Agent& agent, Flight& flight, TimePoint now) {
  ++flight.tries;
  if (flight.stream) {
    flight.deadline = now + kStreamTimeout;
    mSender.stream(agent.known.endpoint, flight.message);
    return;
  }
  const auto& timeouts = mSettings.datagramTimeouts;
  flight.deadline =
      now + (timeouts.empty() ? std::chrono::seconds(1) : timeouts[std::min(flight.tries, timeouts.size()) - 1]);
  mSender.datagram(agent.known.endpoint, flight.message);
}

void DirectoryAgentRegistrar::fill(Agent& agent, TimePoint now) {
  if (now < agent.start) return;
  while (agent.flights.size() < kMaxUnderWay) {
    const auto task = agent.told.take(now);
    if (!task) return;
    const std::uint16_t xid = mXids.next();
    auto flight = prepare(agent, *task, xid);
    if (!flight) {  // it has ended meanwhile, or no message can hold it
      agent.told.done(*task, wire::ErrorCode::kInvalidRegistration, now, std::nullopt);
      continue;
    }
    flight->begun = now;
    const auto [entry, inserted] = agent.flights.insert_or_assign(xid, std::move(*flight));
    launch(agent, entry->second, now);
  }
}

/// Sends again what is overdue; true when the agent must be taken for silent.
bool DirectoryAgentRegistrar::overdue(Agent& agent, TimePoint now) {
  for (auto flight = agent.flights.begin(); flight != agent.flights.end();) {
    Flight& current = flight->second;
    if (current.deadline > now) {
      ++flight;
    } else if (!current.stream && current.tries < mSettings.datagramTimeouts.size()) {
      launch(agent, current, now);
      ++flight;
    } else if (agent.heard <= current.begun) {
      return true;
    } else {  // it answers others: this one was lost
      agent.told.unanswered(current.task, now);
      flight = agent.flights.erase(flight);
    }
  }
  return false;
}

std::vector<net::Endpoint> DirectoryAgentRegistrar::work(TimePoint now) {
  std::vector<net::Endpoint> silent;
  for (auto entry = mAgents.begin(); entry != mAgents.end();) {
    if (overdue(entry->second, now)) {
      silent.push_back(entry->first);
      entry = mAgents.erase(entry);
    } else {
      fill(entry->second, now);
      ++entry;
    }
  }
  return silent;
}

std::optional<DirectoryAgentRegistrar::TimePoint> DirectoryAgentRegistrar::next() const {
  std::optional<TimePoint> result;
  for (const auto& [endpoint, agent] : mAgents) {
    for (const auto& [xid, flight] : agent.flights)
      result = earlier(result, flight.deadline);
    if (const auto due = agent.told.next(); due && agent.flights.size() < kMaxUnderWay)
      result = earlier(result, std::max(*due, agent.start));
  }
  return result;
}

bool DirectoryAgentRegistrar::idle(TimePoint now) const {
  return std::all_of(mAgents.begin(), mAgents.end(), [&](const auto& entry) {
    const auto due = entry.second.told.next();
    return entry.second.flights.empty() && (!due || *due > now);
  });
}

}  // namespace slp::agent
