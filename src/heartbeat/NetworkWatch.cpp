#include "heartbeat/NetworkWatch.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "framework/utils/Log.h"

namespace heartbeat {
namespace {

constexpr itimerspec kAlarmDelay{{0, 0}, {0, 100'000'000}};  // 0.1 s, once
/// Notifications taken by one call, so that a storm cannot hold the thread.
constexpr int kMaxTaken = 256;

int openNotifications() {
  Descriptor netlink(socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE));
  if (!netlink) return -1;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
  if (bind(netlink.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return -1;
  return netlink.release();
}

}  // namespace

bool NetworkWatch::open() {
  mNotifications = Descriptor(openNotifications());
  if (mNotifications) mAlarm = Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  if (mNotifications && mAlarm) return true;
  const int error = errno;
  close();
  utils::formatted_log_t(utils::LOG_FAILURE, "HeartBeatWin:CreateNetConnections:cannot follow the interfaces:%1%") %
      error;
  return false;
}

void NetworkWatch::close() {
  mNotifications = Descriptor();
  mAlarm = Descriptor();
}

void NetworkWatch::takeNotifications() {
  // What changed is not read, since the interfaces are listed anew; and a notification that was lost (ENOBUFS) says as
  // much as one that was not.
  std::array<std::byte, 1> ignored;
  for (int taken = 0; taken < kMaxTaken; ++taken) {
    if (recv(mNotifications.get(), ignored.data(), ignored.size(), MSG_DONTWAIT) < 0 && errno != ENOBUFS) break;
  }
  setAlarm();
}

bool NetworkWatch::takeAlarm() {
  std::uint64_t times = 0;
  return read(mAlarm.get(), &times, sizeof times) == static_cast<ssize_t>(sizeof times);
}

void NetworkWatch::setAlarm() {
  itimerspec current{};
  const bool isSet =
      timerfd_gettime(mAlarm.get(), &current) == 0 && (current.it_value.tv_sec != 0 || current.it_value.tv_nsec != 0);
  if (!isSet) timerfd_settime(mAlarm.get(), 0, &kAlarmDelay, nullptr);
}

}  // namespace heartbeat
