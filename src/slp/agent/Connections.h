#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
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

/// The TCP connections that others have made to the agent: answers each message in order, the connections in turn, and
/// ends those that idle, dawdle, do not read, or are too many. For one thread.
class Connections {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Limits {
    std::size_t all = limits::kMaxConnections;
    std::size_t perSource = limits::kMaxConnectionsPerSource;
    std::chrono::milliseconds idle = limits::kConnectionIdle;
    std::chrono::milliseconds message = limits::kMessageDeadline;
    std::size_t unsent = limits::kMaxUnsentReplies;  ///< of all together
    std::chrono::milliseconds turn = limits::kAgentTurn;
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
  /// Whether the next message of this one is to be answered now; otherwise it waits.
  using Admit = std::function<bool(const Peer& peer, TimePoint now)>;

  Connections(EventLoop& loop, Limits limits, Answer answer, Ended ended, Admit admit);
  ~Connections();
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  /// Takes what waits at the listener. False when the process has no descriptor left for it: pause.
  bool accept(int listener, TimePoint now);
  /// Answers what waits, one message of each connection at a time, for no longer than a turn.
  void work(TimePoint now);
  /// When to call `work`.
  std::optional<TimePoint> next() const;
  /// Ends those that are beyond their time. To be called every now and then.
  void sweep(TimePoint now);
  void closeAll();
  std::size_t size() const { return mConnections.size(); }

 private:
  struct Connection {
    net::MessageStream stream;
    Peer peer;
    TimePoint active;                ///< when it last sent a message or read of a reply
    std::optional<TimePoint> begun;  ///< when the message that is not complete has begun
    bool waits = false;              ///< is one of mWaiting
  };

  bool hasRoom(const net::Endpoint& from) const;
  void add(net::Descriptor socket, const net::Endpoint& from, TimePoint now);
  using Place = std::map<int, Connection>::iterator;
  void ready(int fd);
  void answerNext(Place connection, TimePoint now);
  /// Closes it when it has come to its end; else waits for what is to come, or lets it wait for its turn.
  void settle(Place connection, bool mayHaveMessage);
  void endSlowReaders();
  void close(Place connection);

  EventLoop& mLoop;
  Limits mLimits;
  Answer mAnswer;
  Ended mEnded;
  Admit mAdmit;
  Owner mNextOwner = kFirstConnection;
  std::map<int, Connection> mConnections;
  std::deque<int> mWaiting;             ///< those with messages, in the order of their turns
  std::optional<TimePoint> mHeldUntil;  ///< none of those is admitted before
  std::string mReply;
};

}  // namespace slp::agent
