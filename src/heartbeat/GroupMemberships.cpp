#include "heartbeat/GroupMemberships.h"

#include <cerrno>
#include <map>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "framework/utils/Log.h"
#include "framework/utils/System.h"
#include "heartbeat/GroupAddress.h"

namespace heartbeat {
namespace {

/// 0, or the errno of the failure. Interface 0 leaves the choice to the routes.
int changeMembership(int socket, int option, unsigned int interface) {
  ip_mreqn membership{};
  membership.imr_multiaddr = groupAddress().sin_addr;
  membership.imr_ifindex = static_cast<int>(interface);
  return setsockopt(socket, IPPROTO_IP, option, &membership, sizeof membership) == 0 ? 0 : errno;
}

/// Index to name.
std::map<unsigned int, std::string> interfacesWithIPv4() {
  std::map<unsigned int, std::string> found;
  for (const utils::NetworkInterface& interface : utils::System::get_instance()->getNetworkInterfaces()) {
    const unsigned int index = interface.ipV4.empty() ? 0 : if_nametoindex(interface.name.c_str());
    if (index != 0) found.emplace(index, interface.name);
  }
  return found;
}

}  // namespace

void GroupMemberships::joinByRoute() {
  if (const int error = changeMembership(mSocket, IP_ADD_MEMBERSHIP, 0); error != 0) {
    utils::formatted_log_t(utils::LOG_FAILURE,
                           "HeartBeatWin:CreateNetConnections:setsockopt() IP_ADD_MEMBERSHIP address "
                           "Failed:WSAGetLastError:%1%%2%") %
        kAnnounceGroup % error;
  }
}

void GroupMemberships::followInterfaces() {
  const std::map<unsigned int, std::string> listed = interfacesWithIPv4();
  const std::lock_guard lock(mMutex);
  for (const unsigned int interface : std::set<unsigned int>(mJoined)) {
    if (!listed.contains(interface)) leave(interface);
  }
  for (const auto& [interface, name] : listed) {
    if (!mJoined.contains(interface)) join(interface, name);
  }
}

void GroupMemberships::join(unsigned int interface, const std::string& name) {
  const int error = changeMembership(mSocket, IP_ADD_MEMBERSHIP, interface);
  // It may be the one that the routes named.
  if (error == 0 || error == EADDRINUSE) {
    mJoined.insert(interface);
  } else {
    utils::formatted_log_t(utils::LOG_FAILURE, "HeartBeatWin:CreateNetConnections:cannot join %1% on %2%:%3%") %
        kAnnounceGroup % name % error;
  }
}

void GroupMemberships::leave(unsigned int interface) {
  changeMembership(mSocket, IP_DROP_MEMBERSHIP, interface);  // fails when the interface took the membership with it
  mJoined.erase(interface);
}

}  // namespace heartbeat
