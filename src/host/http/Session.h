#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_set>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "host/config/Settings.h"
#include "host/http/LogLimiter.h"
#include "host/http/Service.h"

namespace host {

/// One client's connection. It lives for as long as something is under way on it. Everything of it runs in the front's
/// one thread.
class Session {
 public:
  virtual ~Session() = default;

  virtual void start() = 0;
  /// Ends after the answer under way, at once when there is none.
  virtual void finish() = 0;
  /// Ends now.
  virtual void abort() = 0;
};

/// What the sessions of one front share; it outlives them. Touched by the front's thread only.
struct SessionContext {
  /// Shared with answers that are still to come: they may arrive when the front is gone.
  std::shared_ptr<boost::asio::io_context> io;
  const Limits limits;
  Service& service;
  std::unordered_set<Session*> sessions;
  LogLimiter refusals;
  std::function<void()> whenEmpty;  ///< called when the last session has ended

  void enter(Session* session) { sessions.insert(session); }
  void leave(Session* session);

  /// Logs what a client did wrong, within bounds.
  void logRefusal(const std::string& remoteAddress, const std::string& what);
};

/// The session enters itself in the context and leaves it when it ends.
std::shared_ptr<Session> makeSession(boost::asio::ip::tcp::socket socket, SessionContext& context);

}  // namespace host
