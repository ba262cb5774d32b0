#include "framework/utils/Netlink.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "framework/utils/NetlinkMessages.h"

namespace utils {
namespace {

constexpr timeval kTimeout{2, 0};
constexpr std::size_t kBufferSize = 65'536;
/// Messages of one dump; a routing table beyond that is not worth its default route.
constexpr int kMaxMessages = 100'000;
/// A dump that changes under way is asked for again that many times.
constexpr int kMaxAttempts = 5;

constexpr unsigned int kGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;

/// An open route socket, or -1.
int openSocket(int flags, unsigned int groups) {
  const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | flags, NETLINK_ROUTE);
  if (descriptor < 0) return -1;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return descriptor;
  close(descriptor);
  return -1;
}

/// One exchange with the kernel after another over a socket of its own.
class Dump {
 public:
  Dump() : mSocket(openSocket(0, 0)), mBuffer(kBufferSize) {
    if (mSocket < 0) return;
    setsockopt(mSocket, SOL_SOCKET, SO_RCVTIMEO, &kTimeout, sizeof kTimeout);
    // Lets the kernel leave out other tables than the one asked for; older kernels send them all.
    const int on = 1;
    setsockopt(mSocket, SOL_NETLINK, NETLINK_GET_STRICT_CHK, &on, sizeof on);
  }
  ~Dump() {
    if (mSocket >= 0) close(mSocket);
  }
  Dump(const Dump&) = delete;
  Dump& operator=(const Dump&) = delete;

  /// Fills `items` with what `readItem` makes of the answers to a dump request. Done anew when it changed under way.
  template <typename Fixed, typename Item>
  bool run(std::uint16_t request, std::uint16_t answer, const Fixed& fixed,
           std::optional<Item> (*readItem)(netlink::Bytes), std::vector<Item>& items) {
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
      std::vector<Item> found;
      const auto collect = [&](const netlink::Message& message) {
        if (message.type != answer) return;
        if (auto item = readItem(message.payload)) found.push_back(std::move(*item));
      };
      const Outcome outcome = send(request, fixed) ? receive(collect) : kFailed;
      if (outcome == kFailed) return false;
      if (outcome == kInterrupted) continue;
      for (auto& item : found)
        items.push_back(std::move(item));
      return true;
    }
    return false;
  }

 private:
  enum Outcome { kRunning, kDone, kInterrupted, kFailed };

  template <typename Fixed>
  bool send(std::uint16_t type, const Fixed& fixed) {
    struct {
      nlmsghdr header;
      Fixed fixed;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = ++mSequence;
    request.fixed = fixed;
    return ::send(mSocket, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request);
  }

  template <typename Collect>
  Outcome receive(Collect collect) {
    bool interrupted = false;
    for (int messages = 0; messages < kMaxMessages;) {
      auto rest = receiveDatagram();
      if (!rest) return kFailed;
      while (const auto message = netlink::nextMessage(*rest)) {
        ++messages;
        if (message->sequence != mSequence) continue;
        interrupted = interrupted || (message->flags & NLM_F_DUMP_INTR) != 0;
        if (message->type == NLMSG_ERROR) return kFailed;
        if (message->type == NLMSG_DONE) return interrupted ? kInterrupted : kDone;
        collect(*message);
      }
    }
    return kFailed;
  }

  /// The next datagram that the kernel itself sent.
  std::optional<netlink::Bytes> receiveDatagram() {
    for (;;) {
      sockaddr_nl sender{};
      iovec part{mBuffer.data(), mBuffer.size()};
      msghdr header{};
      header.msg_name = &sender;
      header.msg_namelen = sizeof sender;
      header.msg_iov = &part;
      header.msg_iovlen = 1;
      const ssize_t length = recvmsg(mSocket, &header, 0);
      if (length < 0 && errno == EINTR) continue;
      if (length <= 0 || (header.msg_flags & MSG_TRUNC) != 0) return std::nullopt;
      if (sender.nl_pid == 0) return netlink::Bytes(mBuffer).first(static_cast<std::size_t>(length));
    }
  }

  const int mSocket;
  std::vector<std::byte> mBuffer;
  std::uint32_t mSequence = 0;
};

}  // namespace

Netlink::Netlink() : mNotifications(openSocket(SOCK_NONBLOCK, kGroups)) {}

Netlink::~Netlink() {
  if (mNotifications >= 0) close(mNotifications);
}

bool Netlink::changed() {
  bool changed = std::exchange(mFirst, false) || mNotifications < 0;
  std::array<std::byte, 1> ignored;
  while (mNotifications >= 0) {
    const ssize_t length = recv(mNotifications, ignored.data(), ignored.size(), MSG_DONTWAIT);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    changed = true;  // a notification, or ENOBUFS: some were lost
    if (length < 0 && errno != ENOBUFS) break;
  }
  return changed;
}

std::optional<MachineNetwork> Netlink::list() const {
  Dump dump;
  MachineNetwork network;
  if (!dump.run(RTM_GETLINK, RTM_NEWLINK, ifinfomsg{}, netlink::readLink, network.links) ||
      !dump.run(RTM_GETADDR, RTM_NEWADDR, ifaddrmsg{}, netlink::readAddress, network.addresses)) {
    return std::nullopt;
  }
  for (const int family : {AF_INET, AF_INET6}) {
    rtmsg request{};
    request.rtm_family = static_cast<unsigned char>(family);
    request.rtm_table = RT_TABLE_MAIN;
    // The default route only decides the order, so the list does not depend on it.
    dump.run(RTM_GETROUTE, RTM_NEWROUTE, request, netlink::readDefaultRoute, network.defaultRoutes);
  }
  return network;
}

}  // namespace utils
