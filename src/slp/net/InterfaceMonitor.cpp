#include <array>
#include <cerrno>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include "slp/net/Interfaces.h"

namespace slp::net {
namespace {

/// Events taken by one call, so that a storm of them cannot hold the thread; the rest keeps the descriptor ready.
constexpr int kMaxEvents = 1'024;

int openMonitor() {
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return -1;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return fd;
  ::close(fd);
  return -1;
}

}  // namespace

InterfaceMonitor::InterfaceMonitor() : mSocket(openMonitor()) {}

InterfaceMonitor::~InterfaceMonitor() {
  if (mSocket >= 0) ::close(mSocket);
}

bool InterfaceMonitor::changed() {
  if (mSocket < 0) return false;
  bool any = false;
  // What changed is not read: the interfaces are listed anew, and a cut event says as much as a whole one.
  std::array<char, 256> event;
  for (int taken = 0; taken < kMaxEvents; ++taken) {
    if (::recv(mSocket, event.data(), event.size(), 0) < 0 && errno != ENOBUFS) break;
    any = true;
  }
  return any;
}

}  // namespace slp::net
