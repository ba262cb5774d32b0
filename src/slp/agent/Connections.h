#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "slp/agent/EventLoop.h"
#include "slp/agent/Registration.h"
#include "slp/net/Address.h"
#include "slp/net/MessageStream.h"
#include "slp/wire/Limits.h"

namespace slp::agent {

/// The TCP connections that others have made to the agent: answers each message in order, and ends those that idle,
/// dawdle, do not read, or are too many. For one thread.
class Connections {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Limits {
    std::size_t all = limits::kMaxConnections;
    std::size_t perSource = limits::kMaxConnectionsPerSource;
    std::chrono::milliseconds idle = limits::kConnectionIdle;
    std::chrono::milliseconds message = limits::kMessageDeadline;
    std::size_t unsent = limits::kMaxUnsentReplies;
  };

  /// Whether one more is taken of a source that has `ofSource` of them. A quarter is kept for the programs of this
  /// machine, which register by them.
  static bool admits(const Limits& limits, std::size_t all, std::size_t ofSource, bool loopback) {
    if (loopback) return all < limits.all;
    return all < limits.all - limits.all / 4 && ofSource < limits.perSource;
  }

  struct Peer {
    net::Endpoint from;
    net::Address to;  ///< of ours
    Owner owner = kNoConnection;
    bool registers = false;  ///< a client that is to stay: set by whoever answers it
  };

  /// Answers one message; an empty reply is not sent.
  using Answer = std::function<void(Peer& peer, std::span<const std::byte> message, std::string& reply)>;
  using Ended = std::function<void(const Peer& peer)>;

  Connections(EventLoop& loop, Limits limits, Answer answer, Ended ended);
  ~Connections();
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  /// Takes what waits at the listener. False when the process has no descriptor left for it: pause.
  bool accept(int listener, TimePoint now);
  /// Ends those that are beyond their time. To be called every now and then.
  void sweep(TimePoint now);
  void closeAll();
  std::size_t size() const { return mConnections.size(); }

 private:
  struct Connection {
    net::MessageStream stream;
    Peer peer;
    TimePoint active;
    std::optional<TimePoint> begun;  ///< when the message that is not complete has begun
  };

  bool hasRoom(const net::Endpoint& from) const;
  void add(net::Descriptor socket, const net::Endpoint& from, TimePoint now);
  void ready(int fd);
  void close(std::map<int, Connection>::iterator connection);

  EventLoop& mLoop;
  Limits mLimits;
  Answer mAnswer;
  Ended mEnded;
  Owner mNextOwner = kFirstConnection;
  std::map<int, Connection> mConnections;
  std::string mReply;
};

}  // namespace slp::agent
