#include "slp/agent/Connections.h"

#include <algorithm>
#include <cerrno>

#include "slp/config/Log.h"
#include "slp/net/SocketAddress.h"

namespace slp::agent {
namespace {

constexpr int kAcceptsPerTurn = 16;
/// What stays reserved of a reply's buffer between two of them.
constexpr std::size_t kKeptReply = 64 * 1024;
/// How soon those are looked at again of whom none was admitted.
constexpr std::chrono::milliseconds kHold{20};

/// Ours, to which the peer has connected.
net::Address ownAddress(int fd, net::Family family) {
  net::SocketAddress address;
  address.length = sizeof(address.storage);
  if (::getsockname(fd, address.get(), &address.length) != 0) return net::Address::loopback(family);
  const auto endpoint = net::endpointOf(address.get(), address.length);
  return endpoint ? endpoint->address : net::Address::loopback(family);
}

}  // namespace

Connections::Connections(EventLoop& loop, Limits limits, Answer answer, Ended ended, Admit admit)
    : mLoop(loop), mLimits(limits), mAnswer(std::move(answer)), mEnded(std::move(ended)), mAdmit(std::move(admit)) {}

Connections::~Connections() {
  closeAll();
}

bool Connections::accept(int listener, TimePoint now) {
  for (int i = 0; i < kAcceptsPerTurn; ++i) {
    net::Endpoint from;
    int error = 0;
    net::Descriptor socket = net::acceptTcp(listener, from, &error);
    if (!socket) return error == 0;
    if (hasRoom(from)) {
      add(std::move(socket), from, now);
    } else {
      config::logLimited(config::LogLevel::kWarning, "too many connections",
                         "a connection of " + from.text() + " was closed: there are too many");
    }
  }
  return true;
}

bool Connections::hasRoom(const net::Endpoint& from) const {
  const auto same = std::count_if(mConnections.begin(), mConnections.end(),
                                  [&](const auto& entry) { return entry.second.peer.from.address == from.address; });
  return admits(mLimits, mConnections.size(), static_cast<std::size_t>(same), from.address.isLoopback());
}

void Connections::add(net::Descriptor socket, const net::Endpoint& from, TimePoint now) {
  const int fd = socket.get();
  const net::Address to = ownAddress(fd, from.address.family);
  Connection connection{net::MessageStream(std::move(socket), limits::kMaxRequest), Peer{from, to, mNextOwner++, false},
                        now, std::nullopt, false};
  mConnections.insert_or_assign(fd, std::move(connection));
  mLoop.watch(fd, [this, fd] { ready(fd); });
}

void Connections::ready(int fd) {
  const auto found = mConnections.find(fd);
  if (found == mConnections.end()) return;
  Connection& connection = found->second;
  const std::size_t unsent = connection.stream.unsent();
  if (connection.stream.peerEnded() && unsent == 0) {  // only an error can have woken us: there is no reader either
    close(found);
    return;
  }
  connection.stream.ready();
  if (connection.stream.unsent() < unsent) connection.active = std::chrono::steady_clock::now();
  settle(found, true);
}

void Connections::work(TimePoint now) {
  const TimePoint end = now + mLimits.turn;
  std::size_t held = 0;
  while (held < mWaiting.size() && now < end) {
    const int fd = mWaiting.front();
    mWaiting.pop_front();
    const auto connection = mConnections.find(fd);
    if (mAdmit(connection->second.peer, now)) {
      held = 0;
      connection->second.waits = false;
      answerNext(connection, now);
      now = std::chrono::steady_clock::now();
    } else {
      ++held;
      mWaiting.push_back(fd);
    }
  }
  mHeldUntil.reset();
  if (held > 0 && held == mWaiting.size()) mHeldUntil = now + kHold;
}

std::optional<Connections::TimePoint> Connections::next() const {
  if (mWaiting.empty()) return std::nullopt;
  return mHeldUntil.value_or(TimePoint{});
}

void Connections::answerNext(Place place, TimePoint now) {
  Connection& connection = place->second;
  const auto message = connection.stream.next();
  if (message) {
    connection.active = now;
    connection.begun.reset();
    mReply.clear();
    mAnswer(connection.peer, *message, mReply);
    if (!mReply.empty()) connection.stream.send(mReply);
    if (mReply.capacity() > kKeptReply) std::string().swap(mReply);
  } else if (!connection.begun && connection.stream.messageBegun()) {
    connection.begun = now;
  }
  const bool slow = connection.stream.unsent() > 0;
  settle(place, message.has_value());
  if (slow) endSlowReaders();
}

void Connections::settle(Place place, bool mayHaveMessage) {
  Connection& connection = place->second;
  const net::MessageStream& stream = connection.stream;
  if (stream.failed()) {
    close(place);
    return;
  }
  // Nothing more is taken of one who has not read what he asked for before.
  const bool listens = stream.unsent() == 0;
  mLoop.waitFor(stream.fd(), listens && stream.wantsRead(), stream.wantsWrite());
  if (!mayHaveMessage || !listens || !stream.messageBegun() || connection.waits) return;
  connection.waits = true;
  mWaiting.push_back(stream.fd());
  mHeldUntil.reset();
}

/// Beginning with the one that has not read for longest.
void Connections::endSlowReaders() {
  for (;;) {
    std::size_t unsent = 0;
    auto slowest = mConnections.end();
    for (auto each = mConnections.begin(); each != mConnections.end(); ++each) {
      if (each->second.stream.unsent() == 0) continue;
      unsent += each->second.stream.unsent();
      if (slowest == mConnections.end() || each->second.active < slowest->second.active) slowest = each;
    }
    if (unsent <= mLimits.unsent) return;
    close(slowest);
  }
}

void Connections::sweep(TimePoint now) {
  for (auto entry = mConnections.begin(); entry != mConnections.end();) {
    const auto current = entry++;
    const Connection& connection = current->second;
    const bool dawdles = connection.begun && now - *connection.begun > mLimits.message;
    const bool mayIdle = connection.peer.registers && connection.stream.unsent() == 0;
    if (dawdles || (!mayIdle && now - connection.active > mLimits.idle)) close(current);
  }
}

void Connections::close(Place connection) {
  mLoop.forget(connection->first);
  if (connection->second.waits) std::erase(mWaiting, connection->first);
  const Peer peer = connection->second.peer;
  mConnections.erase(connection);
  mEnded(peer);
}

void Connections::closeAll() {
  while (!mConnections.empty())
    close(mConnections.begin());
}

}  // namespace slp::agent
