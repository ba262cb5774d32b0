#pragma once

#include <cstdint>
#include <memory>

#include <boost/asio/ip/tcp.hpp>

namespace host {

class SessionContext;

/// One client's connection. It lives for as long as something is under way on it. Everything of it runs in the front's
/// one thread.
class Session {
 public:
  virtual ~Session() = default;

  virtual void start() = 0;
  /// Ends after the answer under way, at once when there is none. An answer that goes on ends with what lies here of
  /// it.
  virtual void finish() = 0;
  /// Ends now.
  virtual void abort() = 0;

  /// The context's: when the wait for the client began, as a place in a row. 0: it does not wait.
  std::uint64_t turn = 0;
};

/// The session enters itself in the context and leaves it when it ends. It speaks TLS where the context has it.
std::shared_ptr<Session> makeSession(boost::asio::ip::tcp::socket socket, SessionContext& context);

}  // namespace host
