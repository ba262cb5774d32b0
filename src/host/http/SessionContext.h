#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>

#include <boost/asio/io_context.hpp>

#include "host/config/Settings.h"
#include "host/http/FrontCounts.h"
#include "host/http/LogLimiter.h"
#include "host/http/Service.h"

namespace host {

class Session;
class TlsContext;

/// What the sessions of one front share; it outlives them. Touched by the front's thread only, but for the counts.
class SessionContext {
 public:
  static constexpr std::size_t kMostBodyBytes = 64 * 1024 * 1024;
  static constexpr std::size_t kFreeBodyBytes = 4096;

  SessionContext(std::shared_ptr<boost::asio::io_context> ioContext, const Limits& bounds, Service& handler,
                 std::shared_ptr<TlsContext> tlsContext);
  SessionContext(const SessionContext&) = delete;
  SessionContext& operator=(const SessionContext&) = delete;

  /// Shared with answers that are still to come: they may arrive when the front is gone.
  const std::shared_ptr<boost::asio::io_context> io;
  const Limits limits;
  Service& service;
  const std::shared_ptr<TlsContext> tls;  ///< null: clients are served without
  std::unordered_set<Session*> sessions;
  std::function<void()> whenEmpty;  ///< called when the last session has ended

  void enter(Session* session);
  /// The session has closed its connection, but lives on for a moment.
  void closed() { --mCounts.connections; }
  void leave(Session* session);

  /// From now on the session waits for its client, and may have to give way to a new one. Called again it counts as one
  /// that has just begun to wait.
  void beginWait(Session* session);
  void endWait(Session* session);

  bool isFull() const { return mCounts.connections >= limits.connections; }
  /// Ends the connection that has waited longest for its client; false when none waits.
  bool makeRoom();

  /// Counts one more answer that goes on; false when there are as many as there may be, a quarter of the connections.
  bool enterStream();
  void leaveStream() { --mCounts.streams; }

  /// Makes room for a body of so many bytes, to be given back by `releaseBody`. False when those on their way take
  /// `kMostBodyBytes` together. Up to `kFreeBodyBytes` there is always room, so that nobody who sends large bodies
  /// keeps others from logging in.
  bool reserveBody(std::size_t bytes);
  void releaseBody(std::size_t bytes);

  /// Logs what a client did wrong, within bounds.
  void logRefusal(const std::string& remoteAddress, const std::string& what);
  void handshakeFailed(const std::string& remoteAddress, const std::string& what);
  /// The client has ended it: browsers do so at a certificate that they do not know yet.
  void handshakeDeclined(const std::string& remoteAddress, const std::string& what);
  void refused() { ++mCounts.refused; }
  void requestRefused() { ++mCounts.refusedRequests; }

  /// Safe for every thread.
  FrontCounts counts() const;

 private:
  struct Counts {
    std::atomic<std::size_t> connections{0};
    std::atomic<std::size_t> streams{0};
    std::atomic<std::uint64_t> evicted{0};
    std::atomic<std::uint64_t> refused{0};
    std::atomic<std::uint64_t> failedHandshakes{0};
    std::atomic<std::uint64_t> refusedRequests{0};
  };

  Counts mCounts;
  LogLimiter mRefusals;
  std::map<std::uint64_t, Session*> mWaiting;  ///< in the order in which they began
  std::uint64_t mLastTurn = 0;
  std::size_t mBodyBytes = 0;
};

}  // namespace host
