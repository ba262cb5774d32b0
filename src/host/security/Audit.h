#pragma once

#include <mutex>
#include <string>

#include "host/http/LogLimiter.h"

namespace host {

/// The log of who came in and who did not. Passwords, tokens and session identifiers have no place in it. Safe for
/// every thread.
class Audit {
 public:
  /// What somebody who was let in has done: "info".
  void note(const std::string& text);
  /// What was refused: "warning", at a limited rate, because strangers can cause it.
  void refused(const std::string& text);

 private:
  std::mutex mMutex;
  LogLimiter mLimiter;
};

}  // namespace host
