#include "heartbeat/AnnounceSender.h"

#include <arpa/inet.h>
#include <cerrno>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"
#include "framework/utils/System.h"
#include "heartbeat/Descriptor.h"
#include "heartbeat/GroupAddress.h"

namespace heartbeat {
namespace {

using utils::formatted_log_t;

/// The reach of a record is bounded by the group's scope, not by the number of routers.
constexpr int kTimeToLive = 255;

std::string_view addressOf(std::string_view serviceUrl) {
  const std::string_view authority = serviceUrl.substr(serviceUrl.rfind('/') + 1);
  return authority.substr(0, authority.rfind(':'));
}

void bindToAnyPort(int socket) {
  const sockaddr_in any = anyAddress(0);
  if (bind(socket, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0) {
    const int error = errno;
    formatted_log_t(utils::LOG_FAILURE, "HeartBeatWin:performMulticast:bind() port:WSAGetLastError:%1%,%2%") %
        kAnnouncePort % error;
  }
}

void joinByRoute(int socket) {
  if (!joinGroup(socket, 0)) {
    const int error = errno;
    formatted_log_t(utils::LOG_FAILURE, "HeartBeatWin:performMulticast:setsockopt achMCAddr:WSAGetLastError:%1%,%2%") %
        kAnnounceGroup % error;
  }
}

void setOption(int socket, int option, int value, const char* failure) {
  if (setsockopt(socket, IPPROTO_IP, option, &value, sizeof value) != 0) {
    const int error = errno;
    formatted_log_t(utils::LOG_FAILURE, failure) % error;
  }
}

/// Without a route for the group the kernel would find no way out. An address that is not this machine's is refused,
/// and then the route decides.
void leaveByInterfaceOf(int socket, std::string_view address) {
  in_addr own{};
  if (inet_pton(AF_INET, std::string(address).c_str(), &own) == 1) {
    setsockopt(socket, IPPROTO_IP, IP_MULTICAST_IF, &own, sizeof own);
  }
}

/// Whoever says goodbye to an address that has just gone has no interface of that address any more, and maybe no
/// route. False when there is no other way out.
bool leaveByFirstInterface(int socket) {
  for (const utils::NetworkInterface& interface : utils::System::get_instance()->getNetworkInterfaces()) {
    const unsigned int index = interface.ipV4.empty() ? 0 : if_nametoindex(interface.name.c_str());
    const ip_mreqn out = membershipOn(index);
    if (index != 0 && setsockopt(socket, IPPROTO_IP, IP_MULTICAST_IF, &out, sizeof out) == 0) return true;
  }
  return false;
}

/// 0, or the errno of the failure.
int sendToGroup(int socket, const AnnounceBytes& bytes) {
  const sockaddr_in group = groupAddress();
  const ssize_t sent =
      sendto(socket, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&group), sizeof group);
  return sent < 0 ? errno : 0;
}

void logContent(const AnnounceRecord& record) {
  formatted_log_t(utils::LOG_DETAIL, "HeartBeatWin:performMulticast:lslpData.lifetime:%1%") % record.lifetime;
  // Each registration joins once, whether or not it sends a register record with the same attributes, too.
  if (record.kind == AnnounceRecord::kJoin && record.attributes.size() > kMaxAnnounceAttributes) {
    formatted_log_t(utils::LOG_FAILURE,
                    "HeartBeatWin:performMulticast:the attributes do not fit the record and are cut:%1% bytes") %
        record.attributes.size();
  }
}

}  // namespace

std::string announcedAttributes(std::string attributes) {
  utils::StringHelper::replace(attributes, "\"", "!");
  return attributes;
}

AnnounceRecord makeAnnounceRecord(std::string_view serviceUrl, int kind, unsigned short lifetime,
                                  std::string_view attributes) {
  return {kind, addressOf(serviceUrl), serviceUrl, attributes, lifetime};
}

void sendAnnounceRecord(const AnnounceRecord& record) {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket) {
    const int error = errno;
    formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:performMulticast:socket:WSAGetLastError:%1%") % error;
    return;
  }
  sendAnnounceRecord(socket.get(), record);
}

void sendAnnounceRecord(int socket, const AnnounceRecord& record) {
  bindToAnyPort(socket);
  joinByRoute(socket);
  setOption(socket, IP_MULTICAST_TTL, kTimeToLive,
            "HeartBeatWin:performMulticast:setsockopt() IP_MULTICAST_TTL failed:WSAGetLastError:%1%");
  setOption(socket, IP_MULTICAST_LOOP, 0,
            "HeartBeatWin:performMulticast:setsockopt() IP_MULTICAST_LOOP failed:WSAGetLastError:%1%");
  leaveByInterfaceOf(socket, record.address);
  logContent(record);

  const AnnounceBytes bytes = encodeAnnounceRecord(record);
  int error = sendToGroup(socket, bytes);
  if (error == ENETUNREACH && leaveByFirstInterface(socket)) error = sendToGroup(socket, bytes);
  if (error != 0) {
    formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:performMulticast:sendto() failed:WSAGetLastError:%1%") % error;
  }
}

}  // namespace heartbeat
