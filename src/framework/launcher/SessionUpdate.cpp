#include "framework/launcher/SessionUpdate.h"

#include <exception>

#include <boost/exception/exception.hpp>

#include "framework/http/HTTPCommand.h"
#include "framework/launcher/SessionManager.h"
#include "framework/utils/Log.h"
#include "framework/utils/Thread.h"

namespace launcher {

SessionUpdate::SessionUpdate(const http::HTTPCommand* command) : mCommand(command) {
  update(true);
}

SessionUpdate::~SessionUpdate() {
  const utils::FunctionTrace trace("launcher::SessionUpdate::~SessionUpdate");
  try {
    update(false);
  } catch (const boost::exception&) {
    utils::formatted_log_t(utils::LOG_FAILURE, "Destructor SessionUpdate boost exception caught ");
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_FAILURE, "Destructor SessionUpdate std exception caught:='%1%' ") % error.what();
  } catch (...) {  // nothing leaves a destructor
  }
}

void SessionUpdate::update(bool entering) {
  const http::SessionCookie* const cookie = mCommand != nullptr ? mCommand->getSessionCookie() : nullptr;
  if (cookie == nullptr) return;
  const char* const direction = entering ? "entry" : "exit";
  SessionManager* const manager = SessionManager::get_instance();
  utils::Lock lock(&manager->mutex(), false);
  const auto session = manager->sessions().find(cookie->getSessionId());
  if (session == manager->sessions().end()) {
    utils::formatted_log_t(utils::LOG_DETAIL, "===> %1% from thread %2%. logout happens during the api %3% execution") %
        direction % utils::Thread::get_id() % mCommand->getRestApi().to_string();
    return;
  }
  session->second.callsInProgress += entering ? 1 : -1;
  utils::DateTime::get_current_time(session->second.lastAccess);
  utils::formatted_log_t(utils::LOG_DETAIL, "---> %1% from thread %2%, callcount %3%") % direction %
      utils::Thread::get_id() % session->second.callsInProgress;
}

}  // namespace launcher
