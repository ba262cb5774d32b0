#include "host/security/Audit.h"

#include "framework/utils/Log.h"

namespace host {

using utils::formatted_log_t;
using utils::LOG_FAILURE;

void Audit::note(const std::string& text) {
  utils::logging::write(utils::LOG_INVENTORY, "Access: " + text);
}

void Audit::loginFailed(const std::string& user, const std::string& address) {
  formatted_log_t(LOG_FAILURE, "Access: a login as %1% from %2% failed") % user % address;
}

void Audit::loginPutOff(const std::string& user, const std::string& address, long seconds) {
  formatted_log_t(LOG_FAILURE, "Access: a login as %1% from %2% was put off for %3% s") % user % address % seconds;
}

void Audit::lockedOut(const std::string& user, const std::string& address) {
  formatted_log_t(LOG_FAILURE, "Access: logins as %1% from %2% are locked out") % user % address;
}

void Audit::writeRefused(const std::string& what, const std::string& who, int status) {
  formatted_log_t(LOG_FAILURE, "Access: %1% of %2% was refused (%3%)") % what % who % status;
}

}  // namespace host
