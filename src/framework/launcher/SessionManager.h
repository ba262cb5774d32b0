#pragma once

#include <map>

#include "framework/http/Cookie.h"
#include "framework/utils/DateTime.h"
#include "framework/utils/Mutex.h"

namespace launcher {

/// One login session, as far as calls are accounted to it.
struct Session {
  int callsInProgress = 0;
  utils::DateTime lastAccess;
};

/// The live sessions of the process. The map may be touched only with the mutex held.
class SessionManager {
 public:
  using Sessions = std::map<http::SessionID, Session>;

  static SessionManager* get_instance();

  utils::Mutex& mutex() { return mMutex; }
  Sessions& sessions() { return mSessions; }

 private:
  utils::Mutex mMutex;
  Sessions mSessions;
};

}  // namespace launcher
