#include "framework/launcher/SessionManager.h"

namespace launcher {

SessionManager* SessionManager::get_instance() {
  static SessionManager* const manager = new SessionManager;  // outlives whatever ends with the process
  return manager;
}

}  // namespace launcher
