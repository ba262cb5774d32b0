#include "heartbeat/AnnounceSocket.h"

#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <utility>

#include "framework/utils/Log.h"
#include "heartbeat/GroupAddress.h"

namespace heartbeat {
namespace {

void shareAddress(int socket) {
  const int on = 1;
  if (setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
    const int error = errno;
    utils::formatted_log_t(utils::LOG_FAILURE,
                           "HeartBeatWin:CreateNetConnections:setsockopt SO_REUSEADDR:WSAGetLastError:%1%") %
        error;
  }
}

/// The kernel would hand on the groups that any program of this machine has joined, on any interface.
void hearOwnMembershipsOnly(int socket) {
  const int off = 0;
  setsockopt(socket, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off);
}

}  // namespace

std::unique_ptr<AnnounceSocket> AnnounceSocket::open() {
  Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket) {
    const int error = errno;
    utils::formatted_log_t(utils::LOG_ERROR, "HeartBeatWin:CreateNetConnections:socket:WSAGetLastError:%1%") % error;
    return nullptr;
  }
  return std::make_unique<AnnounceSocket>(std::move(socket));
}

AnnounceSocket::AnnounceSocket(Descriptor socket) : mSocket(std::move(socket)), mMemberships(mSocket.get()) {
  shareAddress(mSocket.get());
  hearOwnMembershipsOnly(mSocket.get());
  bindToPort();
  mMemberships.joinByRoute();
}

bool AnnounceSocket::renew() {
  bindToPort();
  return followInterfaces();
}

void AnnounceSocket::bindToPort() {
  const std::lock_guard lock(mBinding);
  if (mIsBound) return;
  const sockaddr_in any = anyAddress(kAnnouncePort);
  mIsBound = bind(mSocket.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any) == 0;
  if (!mIsBound) {
    const int error = errno;
    utils::formatted_log_t(utils::LOG_FAILURE, "HeartBeatWin:CreateNetConnections:bind() port:WSAGetLastError:%1%%2%") %
        kAnnouncePort % error;
  }
}

}  // namespace heartbeat
