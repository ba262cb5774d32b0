#include "slp/agent/DirectoryAgentService.h"

#include <algorithm>
#include <random>

#include "slp/agent/Due.h"
#include "slp/client/MulticastPlan.h"
#include "slp/net/Traffic.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Limits.h"
#include "slp/wire/StringList.h"

namespace slp::agent {
namespace {

/// How often the list of agents is looked at when nothing has changed in it: agents that were silent return to it.
constexpr std::chrono::seconds kLookEvery{10};
constexpr std::chrono::seconds kConfigureEvery{60};
constexpr std::chrono::milliseconds kLookupPoll{50};
constexpr std::chrono::seconds kStreamIdle{5};
constexpr std::size_t kMaxStreams = limits::kMaxDirectoryAgents;

DirectoryAgentFinder::Settings finderSettings(const config::Settings& settings) {
  return {settings.scopes, settings.locale, settings.daDiscoveryTimeouts, settings.datagramTimeouts,
          settings.maxDatagramMessage()};
}

DirectoryAgentRegistrar::Settings registrarSettings(const config::Settings& settings) {
  return {settings.datagramTimeouts, settings.randomWaitBound, settings.maxDatagramMessage()};
}

}  // namespace

DirectoryAgentService::DirectoryAgentService(EventLoop& loop, client::DirectoryAgents& agents, const Registry& registry,
                                             const NetworkView& view, const config::Settings& settings)
    : mLoop(loop),
      mAgents(agents),
      mView(view),
      mSettings(settings),
      mFinder(finderSettings(settings), *this, std::random_device{}()),
      mRegistrar(
          registrarSettings(settings), *this,
          {[&registry](const std::string& url) { return registry.ofUrl(url, std::chrono::steady_clock::now()); },
           [&registry](const std::string& url) { return registry.variantsOf(url, std::chrono::steady_clock::now()); },
           [&registry] { return registry.urls(); }},
          std::random_device{}()) {
  std::random_device random;
  std::uniform_int_distribution<std::int64_t> wait(0, std::max<std::int64_t>(0, settings.randomWaitBound.count()));
  mNextSearch = std::chrono::steady_clock::now() + std::chrono::milliseconds(wait(random));
}

DirectoryAgentService::~DirectoryAgentService() {
  while (!mStreams.empty())
    closeStream(mStreams.begin());
  for (net::UdpSocket* each : {&mUdpV4, &mUdpV6})
    if (each->isOpen()) mLoop.forget(each->fd());
}

net::UdpSocket& DirectoryAgentService::socket(net::Family family) {
  net::UdpSocket& socket = family == net::Family::kV4 ? mUdpV4 : mUdpV6;
  if (socket.isOpen() || socket.open(family, 0) != 0) return socket;
  socket.setMulticastTtl(mSettings.multicastTtl);
  if (mSettings.broadcastOnly && family == net::Family::kV4) socket.setBroadcast();
  mLoop.watch(socket.fd(), [this, family] { receive(family); });
  return socket;
}

void DirectoryAgentService::datagram(const net::Endpoint& to, std::string_view message) {
  net::UdpSocket& by = socket(to.address.family);
  if (!by.isOpen() || message.empty()) return;
  net::Outgoing out;
  out.bytes = message;
  out.to = to;
  by.send(out);
}

void DirectoryAgentService::multicast(std::string_view message) {
  constexpr auto kGroup = client::Transport::Group::kDirectoryAgent;
  for (net::Outgoing& out : client::planMulticast(mView.suitable(), mSettings.interfaces, mSettings, kGroup, {})) {
    net::UdpSocket& by = socket(out.to.address.family);
    if (!by.isOpen()) continue;  // the other family may do
    out.bytes = message;
    by.send(out);
  }
}

void DirectoryAgentService::stream(const net::Endpoint& to, std::string_view message) {
  auto found = mStreams.find(to);
  if (found == mStreams.end()) {
    if (mStreams.size() >= kMaxStreams) return;
    auto connected = net::MessageStream::connect(to, limits::kMaxRequest);
    if (connected.failed()) {
      mEndedStreams.insert(to);  // told later: it is the registrar that is calling
      return;
    }
    found = mStreams.emplace(to, Stream{std::move(connected), {}}).first;
    mLoop.watch(found->second.messages.fd(), [this, to] { streamReady(to); });
  }
  net::MessageStream& messages = found->second.messages;
  found->second.used = std::chrono::steady_clock::now();
  messages.send(message);
  mLoop.waitFor(messages.fd(), messages.wantsRead(), messages.wantsWrite());
}

void DirectoryAgentService::streamReady(const net::Endpoint& peer) {
  const auto found = mStreams.find(peer);
  if (found == mStreams.end()) return;
  net::MessageStream& messages = found->second.messages;
  messages.ready();
  while (const auto message = messages.next())
    take(*message, peer, std::chrono::steady_clock::now());
  if (messages.failed()) {
    closeStream(found);
    mEndedStreams.insert(peer);
  } else {
    mLoop.waitFor(messages.fd(), messages.wantsRead(), messages.wantsWrite());
  }
}

void DirectoryAgentService::closeStream(std::map<net::Endpoint, Stream>::iterator stream) {
  mLoop.forget(stream->second.messages.fd());
  mStreams.erase(stream);
}

void DirectoryAgentService::closeIdleStreams(TimePoint now) {
  for (auto entry = mStreams.begin(); entry != mStreams.end();) {
    const auto current = entry++;
    if (now - current->second.used < kStreamIdle + DirectoryAgentRegistrar::kStreamTimeout) continue;
    mEndedStreams.insert(current->first);
    closeStream(current);
  }
}

void DirectoryAgentService::receive(net::Family family) {
  const TimePoint now = std::chrono::steady_clock::now();
  for (const net::Datagram& datagram : socket(family).receive())
    take(datagram.bytes, datagram.from, now);
}

void DirectoryAgentService::take(std::span<const std::byte> bytes, const net::Endpoint& from, TimePoint now) {
  const auto decoded = wire::decode(bytes);
  const auto* message = std::get_if<wire::Message>(&decoded);
  if (message == nullptr) return net::countMessage(net::Fate::kDropped, bytes);
  if (const auto* answer = std::get_if<wire::ServiceAcknowledge>(&message->body)) {
    mRegistrar.acknowledged(from, message->header.xid, answer->error, now);
  } else if (const auto* advert = std::get_if<wire::DirectoryAgentAdvert>(&message->body)) {
    if (mFinder.answered(from, message->header.xid)) learn(*advert, from, now);
  }
}

void DirectoryAgentService::heard(const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from) {
  if (!mSettings.passiveDaDetection || mWithdrawn || advert.error != wire::ErrorCode::kOk) return;
  const auto advertised = client::advertisedEndpoint(advert.url, from, mSettings.port);
  if (!advertised) return;
  const auto known = knownAt(advertised->address);
  // A configured one may be passed over, and be back.
  const bool news = !known || known->configured || known->bootTime != advert.bootTime || known->scopes != advert.scopes;
  if (!news || (!known && advert.bootTime == 0)) return;
  // The known one is asked where it is known to be: the silence of a port that a stranger names says nothing of it.
  mFinder.check(known ? known->endpoint : *advertised, std::chrono::steady_clock::now());
}

std::optional<client::DirectoryAgent> DirectoryAgentService::knownAt(const net::Address& address) const {
  for (client::DirectoryAgent& agent : mAgents.all())
    if (agent.endpoint.address == address) return std::move(agent);
  return std::nullopt;
}

/// Of an agent that answers for itself. One that serves none of our scopes is of no use, and would take the place of
/// others.
void DirectoryAgentService::learn(const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from, TimePoint now) {
  if (advert.bootTime == 0 || wire::intersects(advert.scopes, mSettings.scopes) || knownAt(from.address))
    mAgents.learn(advert, from, mSettings.port, now);
}

void DirectoryAgentService::changed(const std::string& url, TimePoint now) {
  if (!mWithdrawn) mRegistrar.changed(url, now);
}

void DirectoryAgentService::everythingChanged(TimePoint now) {
  if (!mWithdrawn) mRegistrar.everythingChanged(now);
}

void DirectoryAgentService::withdrawAll(TimePoint now) {
  mWithdrawn = true;
  mRegistrar.withdrawAll(now);
}

/// Makes addresses of the configured names, now and then, because names move.
void DirectoryAgentService::configure(TimePoint now) {
  if (mLookup && mLookup->ready()) {
    mAgents.configure(mLookup->found(), mSettings.scopes);
    mLookup.reset();
  }
  if (mLookup || now < mNextConfiguration || mSettings.directoryAgents.empty()) return;
  mNextConfiguration = now + kConfigureEvery;
  if (!mAgents.claimConfiguration(mSettings.directoryAgents, now)) return;
  mLookup = std::make_unique<HostLookup>(mSettings.directoryAgents, mSettings.port);
  if (!mLookup->ready()) return;
  mAgents.configure(mLookup->found(), mSettings.scopes);
  mLookup.reset();
}

void DirectoryAgentService::search(TimePoint now) {
  if (mSettings.daActiveDiscoveryInterval.count() <= 0 || now < mNextSearch) return;
  mNextSearch = now + mSettings.daActiveDiscoveryInterval;
  if (mAgents.claimDiscovery(now, mSettings.daActiveDiscoveryInterval)) mFinder.search(now);
}

/// Has the registrar follow the agents that are known and not left in peace.
void DirectoryAgentService::follow(TimePoint now) {
  const std::uint64_t generation = mAgents.generation();
  if (generation == mGeneration && now < mNextLook) return;
  mGeneration = generation;
  mNextLook = now + kLookEvery;
  const std::vector<client::DirectoryAgent> known = mAgents.all();
  mAnyAgents = !known.empty();
  std::vector<client::DirectoryAgent> usable;
  for (const client::DirectoryAgent& agent : known) {
    if (agent.bootTime == 0) {
      if (agent.configured) mFinder.ask(agent.endpoint, now);
      continue;
    }
    mFinder.known(agent.endpoint);
    const auto serving = mAgents.serving(agent.scopes, now);
    if (std::any_of(serving.begin(), serving.end(),
                    [&](const client::DirectoryAgent& one) { return one.endpoint == agent.endpoint; }))
      usable.push_back(agent);
  }
  mRegistrar.follow(usable, now);
}

void DirectoryAgentService::work(TimePoint now) {
  if (!mWithdrawn) {
    configure(now);
    search(now);
    follow(now);
    for (const net::Endpoint& silent : mFinder.work(now))
      mAgents.silent(silent, now);
  }
  for (const net::Endpoint& ended : std::exchange(mEndedStreams, {}))
    mRegistrar.streamEnded(ended, now);
  for (const net::Endpoint& silent : mRegistrar.work(now))
    mAgents.silent(silent, now);
  closeIdleStreams(now);
}

std::optional<DirectoryAgentService::TimePoint> DirectoryAgentService::next() const {
  std::optional<TimePoint> result = mRegistrar.next();
  const auto consider = [&](std::optional<TimePoint> time) { result = earlier(result, time); };
  if (!mEndedStreams.empty()) consider(TimePoint{});
  for (const auto& [peer, stream] : mStreams)
    consider(stream.used + kStreamIdle + DirectoryAgentRegistrar::kStreamTimeout);
  if (mWithdrawn) return result;
  consider(mFinder.next());
  if (mGeneration != mAgents.generation()) consider(TimePoint{});
  if (mAnyAgents) consider(mNextLook);
  if (mSettings.daActiveDiscoveryInterval.count() > 0) consider(mNextSearch);
  if (mLookup)
    consider(std::chrono::steady_clock::now() + kLookupPoll);  // no other begins before its end
  else if (!mSettings.directoryAgents.empty())
    consider(mNextConfiguration);
  return result;
}

}  // namespace slp::agent
