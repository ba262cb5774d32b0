#include "slp/agent/AgentLoop.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "slp/agent/Due.h"
#include "slp/agent/GroupList.h"
#include "slp/config/Log.h"

namespace slp::agent {
namespace {

/// Changes of the network and of the types come in bursts: what follows within this time is taken with the first.
constexpr std::chrono::milliseconds kBurst{50};
/// How soon groups are tried again that could not be joined, and interfaces that could not be listed.
constexpr std::chrono::seconds kTryAgain{5};
/// After an exception (there was no memory, or no descriptor), so that there is no hot loop of them.
constexpr std::chrono::milliseconds kPauseAfterFailure{100};

std::vector<net::Endpoint> loopbackAddresses(const config::Settings& settings) {
  std::vector<net::Endpoint> addresses;
  if (settings.useIpv4) addresses.push_back({net::Address::loopback(net::Family::kV4), settings.port});
  if (settings.useIpv6) addresses.push_back({net::Address::loopback(net::Family::kV6), settings.port});
  return addresses;
}

}  // namespace

AgentLoop::AgentLoop(Registry& registry, client::DirectoryAgents& directoryAgents, const config::Settings& settings,
                     PortHolder port)
    : mRegistry(registry),
      mDirectoryAgents(directoryAgents),
      mSettings(settings),
      mView(settings.interfaces),
      mPort(std::move(port)) {
  refreshView(TimePoint{});
  mLoop.watch(mChanges.fd(), [this] { takeChanges(); });
  if (mMonitor.fd() >= 0) mLoop.watch(mMonitor.fd(), [this] { networkChanged(); });
  mClient = std::make_unique<PortClient>(
      mLoop, loopbackAddresses(settings),
      PortClient::Services{
          [this](const std::string& url) { return mRegistry.ofUrl(url, std::chrono::steady_clock::now()); },
          [this](const std::string& url) { return mRegistry.variantsOf(url, std::chrono::steady_clock::now()); }},
      [this](PortClient::End end) { portClientEnded(end); });
  if (mPort.held())
    serve();
  else
    mNextTry = TimePoint{};
}

AgentLoop::~AgentLoop() {
  mPort.close();  // before the connections end: whoever wants to succeed us finds it free
}

void AgentLoop::run() noexcept {
  while (!mStopping) {
    try {
      turn();
    } catch (const std::exception& problem) {
      config::logLimited(config::LogLevel::kWarning, "agent failure", std::string("the SLP agent: ") + problem.what());
      std::this_thread::sleep_for(kPauseAfterFailure);
    }
  }
  try {
    farewell();
  } catch (const std::exception& problem) {
    config::logLimited(config::LogLevel::kWarning, "agent failure", std::string("the SLP agent: ") + problem.what());
  }
}

void AgentLoop::turn() {
  mLoop.run(next());
  if (!mStopping) work(std::chrono::steady_clock::now());
}

/// Withdraws from those who were told of us.
void AgentLoop::farewell() {
  const TimePoint end = std::chrono::steady_clock::now() + kFarewell;
  if (mDirectoryAgentService) mDirectoryAgentService->withdrawAll(end - kFarewell);
  mClient->withdrawAll(end - kFarewell);
  for (TimePoint now = end - kFarewell; now < end; now = std::chrono::steady_clock::now()) {
    if (mDirectoryAgentService) mDirectoryAgentService->work(now);
    mClient->work(now);
    if (mClient->idle(now) && (!mDirectoryAgentService || mDirectoryAgentService->idle(now))) return;
    auto until = earlier(end, mClient->next());
    if (mDirectoryAgentService) until = earlier(until, mDirectoryAgentService->next());
    mLoop.run(until);
  }
}

void AgentLoop::takeChanges() {
  const ChangeQueue::Changes changes = mChanges.take();
  if (changes.stop) mStopping = true;
  const TimePoint now = std::chrono::steady_clock::now();
  if (changes.everything) {
    if (mDirectoryAgentService) mDirectoryAgentService->everythingChanged(now);
    if (mClient->active()) mClient->compare(mRegistry.urls(), now);
  }
  for (const std::string& url : changes.urls) {
    if (mDirectoryAgentService) mDirectoryAgentService->changed(url, now);
    mClient->changed(url, now);
  }
}

/// Whoever serves the port registers with directory agents for the whole machine.
void AgentLoop::serveDirectoryAgents() {
  if (mDirectoryAgentService) return;
  mDirectoryAgentService =
      std::make_unique<DirectoryAgentService>(mLoop, mDirectoryAgents, mRegistry, mView, mSettings);
}

void AgentLoop::serve() {
  // What was told while a stranger had the port may have been withdrawn since by another holder of it.
  mDirectoryAgentService.reset();
  serveDirectoryAgents();
  PortServer::Events events;
  events.changed = [this](const std::string& url) {
    mDirectoryAgentService->changed(url, std::chrono::steady_clock::now());
  };
  events.advert = [this](const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from) {
    mDirectoryAgentService->heard(advert, from);
  };
  mServer = std::make_unique<PortServer>(mLoop, mPort, mRegistry, mView, mSettings, std::move(events));
  mGroupsDue = TimePoint{};
  mRetry = kFirstRetry;
  mHoldsPort = true;
}

/// Takes the port when it is free, else turns to whoever has it.
void AgentLoop::tryPort(TimePoint now) {
  mNextTry = now + kLastRetry;  // should anything here fail
  const int error = mPort.bind(mSettings.port, mSettings.useIpv4, mSettings.useIpv6);
  if (error == 0) {
    mClient->close();
    serve();
    mNextTry.reset();
    return;
  }
  if (error != EADDRINUSE)
    config::logLimited(
        config::LogLevel::kWarning, "port",
        "SLP port " + std::to_string(mSettings.port) + " cannot be bound: " + std::generic_category().message(error));
  if (now < mNextConnection) {
    mNextTry = mNextConnection;
    return;
  }
  mConnected = now;
  mClient->connect(mRegistry.urls(), now);
  if (mClient->active()) mNextTry.reset();  // until it ends
}

void AgentLoop::portClientEnded(PortClient::End end) {
  const TimePoint now = std::chrono::steady_clock::now();
  mNextTry = now;
  if (end != PortClient::End::kSilent && now - mConnected > kLastRetry) mRetry = kFirstRetry;
  mNextConnection = now + mRetry;
  mRetry = std::min(mRetry * 2, kLastRetry);
  if (end != PortClient::End::kSilent || mRetry < kLastRetry)
    return;  // a successor who is only starting has not had its time
  serveDirectoryAgents();
  config::logLimited(config::LogLevel::kWarning, "stranger",
                     "another program has SLP port " + std::to_string(mSettings.port) +
                         " and takes no registrations: until it ends, only directory agents know the services of this "
                         "process");
}

void AgentLoop::networkChanged() {
  if (mMonitor.changed() && !mNetworkDue) mNetworkDue = std::chrono::steady_clock::now() + kBurst;
}

/// The interfaces that are known stay when there is no descriptor to list them: no group is to be left for that.
bool AgentLoop::refreshView(TimePoint now) {
  auto interfaces = net::readInterfaces();
  if (interfaces)
    mView.set(std::move(*interfaces));
  else
    mNetworkDue = now + kTryAgain;
  return interfaces.has_value();
}

void AgentLoop::refreshNetwork(TimePoint now) {
  mNetworkDue.reset();
  if (!refreshView(now) || !mServer) return;
  mServer->networkChanged();
  refreshGroups(now);
}

void AgentLoop::refreshGroups(TimePoint now) {
  mTypesGeneration = mRegistry.typesGeneration();
  const auto wanted = groupsFor(mView.suitable(), mRegistry.allTypes(), mSettings.useIpv4, mSettings.useIpv6);
  const std::size_t missing = mMemberships.set(wanted);
  mGroupsDue.reset();
  if (missing == 0) return;
  mGroupsDue = now + kTryAgain;
  config::logLimited(config::LogLevel::kInfo, "groups",
                     std::to_string(missing) + " multicast groups of SLP could not be joined yet");
}

void AgentLoop::expire(TimePoint now) {
  const auto due = mRegistry.nextExpiry();
  if (!due || *due > now) return;
  for (const std::string& url : mRegistry.expire(now)) {
    if (mDirectoryAgentService) mDirectoryAgentService->changed(url, now);
    mClient->changed(url, now);
  }
}

void AgentLoop::work(TimePoint now) {
  expire(now);
  if (mNextTry && *mNextTry <= now) tryPort(now);
  if (mNetworkDue && *mNetworkDue <= now) refreshNetwork(now);
  if (mServer) {
    if (!mGroupsDue && mTypesGeneration != mRegistry.typesGeneration()) mGroupsDue = now + kBurst;
    if (mGroupsDue && *mGroupsDue <= now) refreshGroups(now);
    mServer->work(now);
  }
  // Whoever takes our registrations tells directory agents of them, and withdraws them at its end.
  if (!mServer && mClient->accepted()) mDirectoryAgentService.reset();
  if (mDirectoryAgentService) mDirectoryAgentService->work(now);
  mClient->work(now);
}

std::optional<AgentLoop::TimePoint> AgentLoop::next() const {
  std::optional<TimePoint> result = earlier(mRegistry.nextExpiry(), mClient->next());
  result = earlier(result, earlier(mNextTry, earlier(mNetworkDue, mGroupsDue)));
  if (mServer) result = earlier(result, mServer->next());
  if (mDirectoryAgentService) result = earlier(result, mDirectoryAgentService->next());
  return result;
}

}  // namespace slp::agent
