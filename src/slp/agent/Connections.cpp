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

/// Ours, to which the peer has connected.
net::Address ownAddress(int fd, net::Family family) {
  net::SocketAddress address;
  address.length = sizeof(address.storage);
  if (::getsockname(fd, address.get(), &address.length) != 0) return net::Address::loopback(family);
  const auto endpoint = net::endpointOf(address.get(), address.length);
  return endpoint ? endpoint->address : net::Address::loopback(family);
}

}  // namespace

Connections::Connections(EventLoop& loop, Limits limits, Answer answer, Ended ended)
    : mLoop(loop), mLimits(limits), mAnswer(std::move(answer)), mEnded(std::move(ended)) {}

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
                        now, std::nullopt};
  mConnections.insert_or_assign(fd, std::move(connection));
  mLoop.watch(fd, [this, fd] { ready(fd); });
}

void Connections::ready(int fd) {
  const auto found = mConnections.find(fd);
  if (found == mConnections.end()) return;
  Connection& connection = found->second;
  const TimePoint now = std::chrono::steady_clock::now();
  connection.stream.ready();
  bool any = false;
  while (const auto message = connection.stream.next()) {
    any = true;
    connection.active = now;
    mReply.clear();
    mAnswer(connection.peer, *message, mReply);
    if (!mReply.empty()) connection.stream.send(mReply);
    if (connection.stream.unsent() > mLimits.unsent) break;
  }
  if (mReply.capacity() > kKeptReply) std::string().swap(mReply);
  if (!connection.stream.messageBegun())
    connection.begun.reset();
  else if (any || !connection.begun)
    connection.begun = now;
  if (connection.stream.failed() || connection.stream.unsent() > mLimits.unsent)
    close(found);
  else
    mLoop.waitFor(fd, connection.stream.wantsRead(), connection.stream.wantsWrite());
}

void Connections::sweep(TimePoint now) {
  for (auto entry = mConnections.begin(); entry != mConnections.end();) {
    const auto current = entry++;
    const Connection& connection = current->second;
    const bool dawdles = connection.begun && now - *connection.begun > mLimits.message;
    const bool idles = !connection.peer.registers && now - connection.active > mLimits.idle;
    if (dawdles || idles) close(current);
  }
}

void Connections::close(std::map<int, Connection>::iterator connection) {
  mLoop.forget(connection->first);
  const Peer peer = connection->second.peer;
  mConnections.erase(connection);
  mEnded(peer);
}

void Connections::closeAll() {
  while (!mConnections.empty())
    close(mConnections.begin());
}

}  // namespace slp::agent
