#include "heartbeat/NetworkWatch.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <span>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "framework/utils/Log.h"
#include "framework/utils/NetlinkMessages.h"

namespace heartbeat {
namespace {

constexpr itimerspec kAlarmDelay{{0, 0}, {0, 100'000'000}};  // 0.1 s, once
/// Notifications taken by one call, so that a storm cannot hold the thread.
constexpr int kMaxTaken = 256;
constexpr std::size_t kBufferSize = 8'192;

int openNotifications() {
  Descriptor netlink(socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE));
  if (!netlink) return -1;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
  if (bind(netlink.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return -1;
  return netlink.release();
}

void collectLostAddresses(std::span<const std::byte> bytes, std::set<unsigned int>& interfaces) {
  while (const auto message = utils::netlink::nextMessage(bytes)) {
    if (message->type != RTM_DELADDR) continue;
    if (const auto address = utils::netlink::readAddress(message->payload)) {
      interfaces.insert(static_cast<unsigned int>(address->linkIndex));
    }
  }
}

}  // namespace

bool NetworkWatch::open() {
  mNotifications = Descriptor(openNotifications());
  if (mNotifications) mAlarm = Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  if (mNotifications && mAlarm) return true;
  const int error = errno;
  utils::formatted_log_t(utils::LOG_FAILURE, "HeartBeatWin:CreateNetConnections:cannot follow the interfaces:%1%") %
      error;
  return false;
}

NetworkWatch::Changes NetworkWatch::takeNotifications() {
  Changes changes;
  std::array<std::byte, kBufferSize> buffer;
  for (int taken = 0; taken < kMaxTaken; ++taken) {
    const ssize_t length = recv(mNotifications.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (length < 0 && errno == ENOBUFS) {
      changes.isIncomplete = true;
      continue;
    }
    if (length <= 0) break;
    collectLostAddresses(std::span(buffer).first(static_cast<std::size_t>(length)), changes.lostAddress);
  }
  setAlarm();
  return changes;
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
