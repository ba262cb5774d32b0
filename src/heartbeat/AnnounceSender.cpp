#include "heartbeat/AnnounceSender.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <utility>

#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"
#include "heartbeat/Descriptor.h"
#include "heartbeat/GroupAddress.h"

namespace heartbeat {
namespace {

using utils::formatted_log_t;

/// The reach of a record is bounded by the group's scope, not by the number of routers.
constexpr int kTimeToLive = 255;

std::string addressOf(const std::string& serviceUrl) {
  const std::string authority = serviceUrl.substr(serviceUrl.rfind('/') + 1);
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

void joinGroup(int socket) {
  ip_mreqn membership{};
  membership.imr_multiaddr = groupAddress().sin_addr;
  if (setsockopt(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) != 0) {
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
void leaveByInterfaceOf(int socket, const std::string& address) {
  in_addr own{};
  if (inet_pton(AF_INET, address.c_str(), &own) == 1) {
    setsockopt(socket, IPPROTO_IP, IP_MULTICAST_IF, &own, sizeof own);
  }
}

void logContent(const AnnounceRecord& record) {
  formatted_log_t(utils::LOG_DETAIL, "HeartBeatWin:performMulticast:lslpData.lifetime:%1%") % record.lifetime;
  // The join of the same registration carries the same attributes.
  if (record.kind == AnnounceRecord::kRegister && isCutInAnnounceRecord(record.attributes)) {
    formatted_log_t(utils::LOG_FAILURE,
                    "HeartBeatWin:performMulticast:the attributes do not fit the record and are cut:%1% bytes") %
        record.attributes.size();
  }
}

}  // namespace

AnnounceRecord makeAnnounceRecord(const std::string& serviceUrl, int kind, unsigned short lifetime,
                                  std::string attributes) {
  utils::StringHelper::replace(attributes, "\"", "!");
  return {kind, addressOf(serviceUrl), serviceUrl, std::move(attributes), lifetime};
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
  joinGroup(socket);
  setOption(socket, IP_MULTICAST_TTL, kTimeToLive,
            "HeartBeatWin:performMulticast:setsockopt() IP_MULTICAST_TTL failed:WSAGetLastError:%1%");
  setOption(socket, IP_MULTICAST_LOOP, 0,
            "HeartBeatWin:performMulticast:setsockopt() IP_MULTICAST_LOOP failed:WSAGetLastError:%1%");
  leaveByInterfaceOf(socket, record.address);
  logContent(record);

  const AnnounceBytes bytes = encodeAnnounceRecord(record);
  const sockaddr_in group = groupAddress();
  if (sendto(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&group),
             sizeof group) < 0) {
    const int error = errno;
    formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:performMulticast:sendto() failed:WSAGetLastError:%1%") % error;
  }
}

}  // namespace heartbeat
