#pragma once

#include <string>

namespace heartbeat {

/// Tells the other servers of this one's coming and going at once, and hears theirs. Every operation may be called by
/// every thread; failures are logged and reach no caller.
class HeartBeat {
 public:
  /// The instance given to `setInstance`, else the process's own, which lives until the library is unloaded.
  static HeartBeat* getInstance();
  /// Puts another one in place, which the caller owns (null: the process's own); the previous one is returned. For
  /// tests.
  static HeartBeat* setInstance(HeartBeat* instance);

  // The order of these is part of the contract.

  /// Sends one record to the multicast group, unless announcing is switched off. `kind`: -1 joins, 0 registers, 1
  /// deregisters; `lifetime` in seconds.
  virtual void performMulticast(const char* serviceUrl, int kind, unsigned short lifetime, std::string attributes) = 0;
  /// Makes the listener listen, or hand on again what it hears.
  virtual void invokeThread() = 0;
  /// Ends the handing on: once it has returned, no record is being handled. Sockets and workers stay.
  virtual void terminateThread() = 0;

 protected:
  HeartBeat() = default;
  ~HeartBeat() = default;
};

}  // namespace heartbeat
