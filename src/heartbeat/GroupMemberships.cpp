#include "heartbeat/GroupMemberships.h"

#include <cerrno>
#include <map>
#include <net/if.h>
#include <netinet/in.h>
#include <optional>
#include <sys/socket.h>
#include <vector>

#include "discovery/LocalMachine.h"
#include "framework/utils/Log.h"
#include "framework/utils/System.h"
#include "heartbeat/GroupAddress.h"

namespace heartbeat {
namespace {

/// A list of interfaces is empty, too, when the system could not make one; only the list of addresses says so.
bool hasNoAddress() {
  const discovery::LocalAddresses local = discovery::localAddresses();
  return local.areListed && local.ipV4.empty() && local.ipV6.empty();
}

/// Index to name; none when the system does not tell.
std::optional<std::map<unsigned int, std::string>> interfacesWithIPv4() {
  const std::vector<utils::NetworkInterface> interfaces = utils::System::get_instance()->getNetworkInterfaces();
  if (interfaces.empty() && !hasNoAddress()) return std::nullopt;
  std::map<unsigned int, std::string> found;
  for (const utils::NetworkInterface& interface : interfaces) {
    if (interface.ipV4.empty()) continue;
    const unsigned int index = if_nametoindex(interface.name.c_str());
    if (index != 0) {
      found.emplace(index, interface.name);
    } else if (errno != ENODEV) {
      return std::nullopt;
    }
  }
  return found;
}

}  // namespace

void GroupMemberships::joinByRoute() {
  if (!joinGroup(mSocket, 0)) {
    const int error = errno;
    utils::formatted_log_t(utils::LOG_FAILURE,
                           "HeartBeatWin:CreateNetConnections:setsockopt() IP_ADD_MEMBERSHIP address "
                           "Failed:WSAGetLastError:%1%%2%") %
        kAnnounceGroup % error;
  }
}

bool GroupMemberships::followInterfaces() {
  // Taken before the interfaces are listed, so that of two calls at once the later list holds.
  const std::lock_guard lock(mMutex);
  const auto listed = interfacesWithIPv4();
  if (!listed) return false;
  for (const unsigned int interface : std::set<unsigned int>(mJoined)) {
    if (!listed->contains(interface)) leave(interface);
  }
  for (const auto& [interface, name] : *listed) {
    if (!mJoined.contains(interface)) join(interface, name);
  }
  return true;
}

void GroupMemberships::join(unsigned int interface, const std::string& name) {
  const int error = joinGroup(mSocket, interface) ? 0 : errno;
  // It may be the one that the routes named.
  if (error == 0 || error == EADDRINUSE) {
    mJoined.insert(interface);
  } else {
    utils::formatted_log_t(utils::LOG_FAILURE, "HeartBeatWin:CreateNetConnections:cannot join %1% on %2%:%3%") %
        kAnnounceGroup % name % error;
  }
}

void GroupMemberships::leave(unsigned int interface) {
  const ip_mreqn membership = membershipOn(interface);
  // Fails when the interface took the membership with it.
  setsockopt(mSocket, IPPROTO_IP, IP_DROP_MEMBERSHIP, &membership, sizeof membership);
  mJoined.erase(interface);
}

}  // namespace heartbeat
