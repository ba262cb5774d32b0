#include "slp/client/SocketTransport.h"

#include <array>
#include <cerrno>
#include <deque>
#include <map>
#include <optional>
#include <poll.h>
#include <set>
#include <utility>

#include "slp/client/MulticastPlan.h"
#include "slp/client/Resolver.h"
#include "slp/wire/Limits.h"

namespace slp::client {
namespace {

using Clock = std::chrono::steady_clock;

/// Room for the answers of a whole network, which all come at once: a thousand of 500 bytes, as the kernel counts them.
constexpr int kReceiveBuffer = 1024 * 1024;

/// A socket and the datagrams that have been taken from it, but not handed on.
struct Channel {
  net::UdpSocket socket;
  bool tried = false;
  std::span<const net::Datagram> taken;
  std::size_t next = 0;

  bool hasTaken() const { return next < taken.size(); }
};

struct Stream {
  net::MessageStream connection;
  net::Endpoint peer;
  bool connecting = true;
};

timespec intervalOf(Clock::duration duration) {
  if (duration < Clock::duration::zero()) duration = Clock::duration::zero();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
  const auto rest = std::chrono::duration_cast<std::chrono::nanoseconds>(duration - seconds);
  timespec interval{};
  interval.tv_sec = static_cast<time_t>(seconds.count());
  interval.tv_nsec = static_cast<long>(rest.count());
  return interval;
}

}  // namespace

struct SocketTransport::State {
  State(const config::Settings& wantedSettings, const std::vector<std::string>& wantedInterfaces, net::Wakeup& wakeup)
      : settings(wantedSettings),
        wanted(wantedInterfaces.empty() ? wantedSettings.interfaces : wantedInterfaces),
        cancel(wakeup) {}

  bool speaks(net::Family family) const { return family == net::Family::kV4 ? settings.useIpv4 : settings.useIpv6; }
  net::UdpSocket* socketOf(net::Family family);
  const std::vector<net::Interface>& suitable();
  Clock::time_point now() const { return (paused ? *paused : Clock::now()) - pausedFor; }

  std::optional<Event> takeWaiting();
  std::optional<Event> takeFromStreams();
  std::optional<Event> takeDatagram();
  void poll(TimePoint until);
  void readChannel(Channel& channel, short events);
  void readStream(StreamId id, short events);

  config::Settings settings;
  std::vector<std::string> wanted;
  net::Wakeup& cancel;
  std::array<Channel, 2> channels;
  std::optional<std::vector<net::Interface>> interfaces;
  std::map<StreamId, Stream> streams;
  std::set<StreamId> readyStreams;
  StreamId lastStream = 0;
  std::deque<net::Endpoint> refusals;
  std::vector<pollfd> polled;
  bool cancelled = false;
  std::optional<Clock::time_point> paused;
  Clock::duration pausedFor{};
};

net::UdpSocket* SocketTransport::State::socketOf(net::Family family) {
  if (!speaks(family)) return nullptr;
  auto& channel = channels[family == net::Family::kV4 ? 0 : 1];
  if (!channel.tried) {
    channel.tried = true;
    if (channel.socket.open(family, 0) == 0) channel.socket.reportRefusals();
  }
  return channel.socket.isOpen() ? &channel.socket : nullptr;
}

const std::vector<net::Interface>& SocketTransport::State::suitable() {
  if (!interfaces) {
    interfaces = net::suitableInterfaces(net::listInterfaces(), wanted);
    for (const auto family : {net::Family::kV4, net::Family::kV6}) {
      auto* socket = socketOf(family);
      if (socket == nullptr) continue;
      socket->setMulticastTtl(settings.multicastTtl);
      socket->growReceiveBuffer(kReceiveBuffer);
      if (settings.broadcastOnly && family == net::Family::kV4) socket->setBroadcast();
    }
  }
  return *interfaces;
}

std::optional<Transport::Event> SocketTransport::State::takeWaiting() {
  if (!refusals.empty()) {
    Event event;
    event.kind = EventKind::kRefused;
    event.from = refusals.front();
    refusals.pop_front();
    return event;
  }
  if (auto event = takeFromStreams()) return event;
  return takeDatagram();
}

std::optional<Transport::Event> SocketTransport::State::takeFromStreams() {
  while (!readyStreams.empty()) {
    const StreamId id = *readyStreams.begin();
    const auto found = streams.find(id);
    if (found == streams.end()) {
      readyStreams.erase(id);
      continue;
    }
    auto& stream = found->second;
    Event event;
    event.from = stream.peer;
    event.stream = id;
    if (stream.connecting && !stream.connection.connecting() && !stream.connection.failed()) {
      stream.connecting = false;
      event.kind = EventKind::kStreamConnected;
      return event;
    }
    if (const auto message = stream.connection.next()) {
      event.kind = EventKind::kStreamMessage;
      event.bytes = *message;
      return event;
    }
    readyStreams.erase(id);
    if (!stream.connection.failed()) continue;
    streams.erase(found);
    event.kind = EventKind::kStreamFailed;
    return event;
  }
  return std::nullopt;
}

std::optional<Transport::Event> SocketTransport::State::takeDatagram() {
  for (auto& channel : channels) {
    if (!channel.hasTaken()) continue;
    const auto& datagram = channel.taken[channel.next++];
    Event event;
    event.kind = EventKind::kDatagram;
    event.bytes = datagram.bytes;
    event.from = datagram.from;
    return event;
  }
  return std::nullopt;
}

/// Waits for anything, and takes what it finds.
void SocketTransport::State::poll(TimePoint until) {
  polled.clear();
  polled.push_back({cancel.fd(), POLLIN, 0});
  for (const auto& channel : channels)
    polled.push_back({channel.socket.isOpen() ? channel.socket.fd() : -1, POLLIN, 0});
  for (const auto& [id, stream] : streams) {
    const int out = stream.connection.wantsWrite() ? POLLOUT : 0;
    polled.push_back({stream.connection.fd(), static_cast<short>(POLLIN | out), 0});
  }
  const bool something = !refusals.empty() || !readyStreams.empty() || channels[0].hasTaken() || channels[1].hasTaken();
  const auto interval = intervalOf(something ? Clock::duration::zero() : until - now());
  if (::ppoll(polled.data(), polled.size(), &interval, nullptr) <= 0) return;
  cancelled = cancelled || polled[0].revents != 0;
  for (std::size_t i = 0; i < channels.size(); ++i)
    readChannel(channels[i], polled[1 + i].revents);
  std::size_t position = 1 + channels.size();
  for (auto& [id, stream] : streams)
    readStream(id, polled[position++].revents);
}

void SocketTransport::State::readChannel(Channel& channel, short events) {
  if ((events & POLLERR) != 0) {
    while (refusals.size() < limits::kMaxExchanges) {
      const auto refusal = channel.socket.takeRefusal();
      if (!refusal) break;
      refusals.push_back(*refusal);
    }
  }
  if ((events & (POLLIN | POLLERR)) == 0 || channel.hasTaken()) return;
  channel.taken = channel.socket.receive();
  channel.next = 0;
}

void SocketTransport::State::readStream(StreamId id, short events) {
  if (events == 0) return;
  streams.at(id).connection.ready();
  readyStreams.insert(id);
}

SocketTransport::SocketTransport(const config::Settings& settings, const std::vector<std::string>& interfaces,
                                 net::Wakeup& cancel)
    : mState(std::make_unique<State>(settings, interfaces, cancel)) {}

SocketTransport::~SocketTransport() = default;

std::size_t SocketTransport::multicast(std::string_view message, Group group, std::string_view serviceType) {
  auto& state = *mState;
  std::set<std::uint32_t> took;
  for (auto& datagram : planMulticast(state.suitable(), state.wanted, state.settings, group, serviceType)) {
    datagram.bytes = message;
    auto* socket = state.socketOf(datagram.to.address.family);
    if (socket != nullptr && socket->send(datagram) == 0) took.insert(datagram.interface);
  }
  return took.size();
}

std::string SocketTransport::networks() const {
  std::string networks;
  for (const auto& one : mState->wanted)
    networks += one + ',';
  return networks;
}

bool SocketTransport::sendTo(std::string_view message, const net::Endpoint& to) {
  auto* socket = mState->socketOf(to.address.family);
  if (socket == nullptr) return false;
  net::Outgoing datagram;
  datagram.bytes = message;
  datagram.to = to;
  const int error = socket->send(datagram);
  // A full buffer is a datagram lost, which will be sent again.
  return error == 0 || error == EAGAIN || error == ENOBUFS;
}

Transport::StreamId SocketTransport::openStream(const net::Endpoint& to, std::string_view message) {
  auto& state = *mState;
  const StreamId id = ++state.lastStream;
  // Without a descriptor the stream has failed from its beginning.
  auto connection = state.speaks(to.address.family) ? net::MessageStream::connect(to, limits::kMaxMessage)
                                                    : net::MessageStream(net::Descriptor(), limits::kMaxMessage);
  connection.send(message);
  if (connection.failed()) state.readyStreams.insert(id);
  state.streams.emplace(id, Stream{std::move(connection), to, true});
  return id;
}

void SocketTransport::closeStream(StreamId stream) {
  mState->streams.erase(stream);
  mState->readyStreams.erase(stream);
}

Transport::Event SocketTransport::wait(TimePoint until) {
  auto& state = *mState;
  for (;;) {
    state.poll(until);
    Event event;
    event.kind = EventKind::kCancelled;
    if (state.cancelled) return event;
    if (auto waiting = state.takeWaiting()) return *waiting;
    event.kind = EventKind::kTimeUp;
    if (state.now() >= until) return event;
  }
}

std::vector<net::Address> SocketTransport::resolve(std::string_view host) {
  auto addresses = resolveHost(std::string(host), mState->cancel.fd());
  std::erase_if(addresses, [&](const net::Address& address) { return !mState->speaks(address.family); });
  return addresses;
}

Transport::TimePoint SocketTransport::now() const {
  return mState->now();
}

void SocketTransport::pauseClock() {
  if (!mState->paused) mState->paused = Clock::now();
}

void SocketTransport::resumeClock() {
  auto& state = *mState;
  if (!state.paused) return;
  state.pausedFor += Clock::now() - *state.paused;
  state.paused.reset();
}

}  // namespace slp::client
