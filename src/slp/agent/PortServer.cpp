#include "slp/agent/PortServer.h"

#include <array>

#include "slp/agent/Due.h"
#include "slp/config/Log.h"
#include "slp/net/Traffic.h"
#include "slp/wire/Limits.h"

namespace slp::agent {
namespace {

constexpr std::chrono::seconds kSweepEvery{1};
/// How long no connection is taken when the process has run out of descriptors.
constexpr std::chrono::seconds kAcceptPause{1};

constexpr std::array kFamilies{net::Family::kV4, net::Family::kV6};

ResponderSettings responderSettings(const config::Settings& settings) {
  ResponderSettings result;
  result.scopes = settings.scopes;
  result.saAttributes = settings.saAttributes;
  result.maxDatagramMessage = settings.maxDatagramMessage();
  result.allowRemoteRegistrations = settings.allowRemoteRegistrations;
  return result;
}

}  // namespace

PortServer::PortServer(EventLoop& loop, PortHolder& port, Registry& registry, const NetworkView& view,
                       const config::Settings& settings, Events events)
    : mLoop(loop),
      mPort(port),
      mRegistry(registry),
      mView(view),
      mEvents(std::move(events)),
      mResponder(registry, responderSettings(settings)),
      mLimiter(limits::kDatagramsPerSecond, limits::kDatagramBurst, limits::kMaxSources),
      mConnections(
          loop, Connections::Limits{},
          [this](Connections::Peer& peer, std::span<const std::byte> message, std::string& reply) {
            answerPeer(peer, message, reply);
          },
          [this](const Connections::Peer& peer) { peerEnded(peer); },
          [this](const Connections::Peer& peer, TimePoint now) { return mLimiter.allows(peer.from.address, now); }),
      mAnswers(net::UdpSocket::kBatch) {
  mResponder.onDirectoryAgentAdvert(mEvents.advert);
  networkChanged();
  for (const net::Family family : kFamilies)
    watch(family);
}

PortServer::~PortServer() {
  for (const net::Family family : kFamilies) {
    if (mPort.udp(family).isOpen()) mLoop.forget(mPort.udp(family).fd());
    if (mPort.listener(family) >= 0) mLoop.forget(mPort.listener(family));
  }
}

void PortServer::watch(net::Family family) {
  if (mPort.udp(family).isOpen()) mLoop.watch(mPort.udp(family).fd(), [this, family] { answerDatagrams(family); });
  if (mPort.listener(family) >= 0) mLoop.watch(mPort.listener(family), [this, family] { accept(family); });
}

void PortServer::networkChanged() {
  mResponder.setOwnAddresses(mView.all());
}

void PortServer::accept(net::Family family) {
  const TimePoint now = std::chrono::steady_clock::now();
  if (mConnections.accept(mPort.listener(family), now)) return;
  for (const net::Family each : kFamilies)
    mLoop.waitFor(mPort.listener(each), false, false);
  mAcceptAgain = now + kAcceptPause;
  config::logLimited(config::LogLevel::kWarning, "no descriptors",
                     "no SLP connections can be taken: the process has too many open files");
}

/// One batch, or as much of it as can be answered in a turn: the other descriptors have theirs before the rest.
void PortServer::answerDatagrams(net::Family family) {
  net::UdpSocket& socket = mPort.udp(family);
  std::span<const net::Datagram>& requests = waiting(family);
  if (requests.empty()) requests = socket.receive();
  std::size_t count = 0;
  TimePoint now = std::chrono::steady_clock::now();
  const TimePoint end = now + limits::kAgentTurn;
  for (; !requests.empty() && now < end; requests = requests.subspan(1)) {
    const net::Datagram& request = requests.front();
    if (!mLimiter.admit(request.from.address, now)) {
      net::countMessage(net::Fate::kDropped, request.bytes);
      config::logLimited(config::LogLevel::kWarning, "flood", "too many SLP datagrams of " + request.from.text());
      continue;
    }
    if (answer(request, now, mAnswers[count])) ++count;
    charge(request.from.address, now);
    now = std::chrono::steady_clock::now();
  }
  if (count > 0) socket.sendAll(std::span(mAnswers).first(count));
  mLoop.waitFor(socket.fd(), requests.empty(), false);
}

/// For what an answer took, beyond the one datagram that its source has paid for.
void PortServer::charge(const net::Address& source, TimePoint since) {
  const TimePoint now = std::chrono::steady_clock::now();
  const double datagrams = std::chrono::duration<double>(now - since) / limits::kTimeOfDatagram;
  if (datagrams > 1) mLimiter.charge(source, datagrams - 1, now);
}

bool PortServer::answer(const net::Datagram& request, TimePoint now, net::Outgoing& out) {
  const std::optional<Source> source = mView.sourceOf(request);
  if (!source || !mResponder.respond(request.bytes, *source, now, out.bytes)) return false;
  if (const auto& change = mResponder.change()) mEvents.changed(change->url);
  mView.address(out, request, *source);
  return true;
}

void PortServer::answerPeer(Connections::Peer& peer, std::span<const std::byte> message, std::string& reply) {
  const Source source = mView.sourceOf(peer.from, peer.to, peer.owner);
  const TimePoint now = std::chrono::steady_clock::now();
  mLimiter.charge(peer.from.address, 1, now);
  if (!mResponder.respond(message, source, now, reply)) reply.clear();
  charge(peer.from.address, now);
  const auto& change = mResponder.change();
  if (!change) return;
  if (change->owner == peer.owner && mView.isOwn(peer.from.address)) peer.registers = true;
  mEvents.changed(change->url);
}

void PortServer::peerEnded(const Connections::Peer& peer) {
  for (const std::string& url : mRegistry.removeAll(peer.owner))
    mEvents.changed(url);
}

void PortServer::work(TimePoint now) {
  if (mAcceptAgain && *mAcceptAgain <= now) {
    mAcceptAgain.reset();
    for (const net::Family family : kFamilies)
      mLoop.waitFor(mPort.listener(family), true, false);
  }
  for (const net::Family family : kFamilies)
    if (!waiting(family).empty()) answerDatagrams(family);
  mConnections.work(std::chrono::steady_clock::now());
  if (mConnections.size() > 0 && now >= mNextSweep) {
    mConnections.sweep(now);
    mNextSweep = now + kSweepEvery;
  }
}

std::optional<PortServer::TimePoint> PortServer::next() const {
  if (!mWaiting[0].empty() || !mWaiting[1].empty()) return TimePoint{};
  std::optional<TimePoint> result = mAcceptAgain;
  if (mConnections.size() > 0) result = earlier(result, mNextSweep);
  return earlier(result, mConnections.next());
}

}  // namespace slp::agent
