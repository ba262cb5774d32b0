#pragma once

#include <functional>
#include <string>

namespace host {

/// An answer that goes on for as long as the client stays. Each connection has one of its own.
class AnswerStream {
 public:
  /// Sends a piece, from any thread. False when it will not arrive: the client has gone, or leaves more lying than the
  /// front holds for it, which ends the connection. An empty piece ends the answer in order.
  using Send = std::function<bool(std::string piece)>;

  virtual ~AnswerStream() = default;

  /// Called once by the front's thread, after the header; must not block. `send` may be kept and used until `end`.
  virtual void begin(Send send) = 0;
  /// Called once by the front's thread when the connection has ended, also without `begin`.
  virtual void end() = 0;
};

}  // namespace host
