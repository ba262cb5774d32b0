#include "slp/net/UdpSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>

#include "slp/net/ControlMessages.h"
#include "slp/net/ReceiveBuffers.h"
#include "slp/net/SocketAddress.h"
#include "slp/net/Traffic.h"

namespace slp::net {
namespace {

/// Errors of the socket that stand at once: each is told by one call, so more than a few are not there.
constexpr int kMaxPendingErrors = 8;
constexpr std::size_t kSendBatch = 16;

void setOption(int fd, int level, int name, int value) {
  ::setsockopt(fd, level, name, &value, sizeof(value));
}

/// What a datagram needs beside its bytes. Stays where it is: the message header points into it.
struct Envelope {
  SocketAddress to;
  iovec part{};
  ControlBuffer control;

  void fill(const Outgoing& datagram, msghdr& header) {
    to = SocketAddress(zoned(datagram));
    part = {const_cast<char*>(datagram.bytes.data()), datagram.bytes.size()};
    header = {};
    header.msg_name = to.get();
    header.msg_namelen = to.length;
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (datagram.interface != 0 || datagram.useFrom) {
      header.msg_control = control.bytes.data();
      header.msg_controllen = control.putPacketInfo(datagram.to.address.family, datagram.interface,
                                                    datagram.useFrom ? &datagram.from : nullptr);
    }
  }

  /// The kernel wants the zone of a link-local address or group in the address, too.
  static Endpoint zoned(const Outgoing& datagram) {
    Endpoint to = datagram.to;
    if (to.address.zone == 0) to.address.zone = datagram.interface;
    return to;
  }
};

bool isFull(int error) {
  return error == EAGAIN || error == EWOULDBLOCK;
}

}  // namespace

struct UdpSocket::Buffers : ReceiveBuffers {};

UdpSocket::UdpSocket() = default;
UdpSocket::~UdpSocket() = default;
UdpSocket::UdpSocket(UdpSocket&&) noexcept = default;
UdpSocket& UdpSocket::operator=(UdpSocket&&) noexcept = default;

int UdpSocket::open(Family family, std::uint16_t port) {
  close();
  Descriptor fd(::socket(domainOf(family), SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!fd) return errno;
  if (family == Family::kV4) {
    setOption(fd.get(), IPPROTO_IP, IP_PKTINFO, 1);
    setOption(fd.get(), IPPROTO_IP, IP_MULTICAST_LOOP, 1);
  } else {
    setOption(fd.get(), IPPROTO_IPV6, IPV6_V6ONLY, 1);
    setOption(fd.get(), IPPROTO_IPV6, IPV6_RECVPKTINFO, 1);
    setOption(fd.get(), IPPROTO_IPV6, IPV6_MULTICAST_LOOP, 1);
  }
  const auto address = SocketAddress::any(family, port);
  if (::bind(fd.get(), address.get(), address.length) != 0) return errno;
  mFd = std::move(fd);
  mFamily = family;
  return 0;
}

void UdpSocket::close() {
  mFd.reset();
  mBuffers.reset();
}

std::uint16_t UdpSocket::localPort() const {
  SocketAddress address;
  address.length = sizeof(address.storage);
  if (::getsockname(mFd.get(), address.get(), &address.length) != 0) return 0;
  const auto endpoint = endpointOf(address.get(), address.length);
  return endpoint ? endpoint->port : std::uint16_t{0};
}

void UdpSocket::setMulticastTtl(int ttl) {
  if (mFamily == Family::kV4)
    setOption(mFd.get(), IPPROTO_IP, IP_MULTICAST_TTL, ttl);
  else
    setOption(mFd.get(), IPPROTO_IPV6, IPV6_MULTICAST_HOPS, ttl);
}

void UdpSocket::setBroadcast() {
  setOption(mFd.get(), SOL_SOCKET, SO_BROADCAST, 1);
}

void UdpSocket::growReceiveBuffer(int bytes) {
  if (::setsockopt(mFd.get(), SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof(bytes)) != 0)
    setOption(mFd.get(), SOL_SOCKET, SO_RCVBUF, bytes);
}

int UdpSocket::send(const Outgoing& datagram) {
  Envelope envelope;
  msghdr header;
  envelope.fill(datagram, header);
  int error = 0;
  // What an earlier datagram met may be told by this call; then the next one is about this datagram.
  for (int attempt = 0; attempt <= kMaxPendingErrors; ++attempt) {
    if (::sendmsg(mFd.get(), &header, MSG_NOSIGNAL) >= 0) {
      countMessage(Fate::kSent, datagram.bytes);
      return 0;
    }
    const bool again = errno == EINTR || errno != error;
    error = errno;
    if (isFull(error) || !again) break;
  }
  return error;
}

std::size_t UdpSocket::sendAll(std::span<const Outgoing> datagrams) {
  std::array<Envelope, kSendBatch> envelopes;
  std::array<mmsghdr, kSendBatch> headers{};
  std::size_t done = 0;
  while (done < datagrams.size()) {
    const std::size_t count = std::min(kSendBatch, datagrams.size() - done);
    for (std::size_t i = 0; i < count; ++i)
      envelopes[i].fill(datagrams[done + i], headers[i].msg_hdr);
    const int sent = ::sendmmsg(mFd.get(), headers.data(), static_cast<unsigned>(count), MSG_NOSIGNAL);
    if (sent > 0) {
      for (const Outgoing& datagram : datagrams.subspan(done, static_cast<std::size_t>(sent)))
        countMessage(Fate::kSent, datagram.bytes);
      done += static_cast<std::size_t>(sent);
      continue;
    }
    // The first of them has failed; alone it is told from an error that stood before.
    if (isFull(errno) || isFull(send(datagrams[done]))) break;
    ++done;
  }
  return done;
}

std::span<const Datagram> UdpSocket::receive() {
  if (!mFd) return {};
  if (!mBuffers) mBuffers = std::make_unique<Buffers>();
  for (int attempt = 0; attempt < kMaxPendingErrors; ++attempt) {
    mBuffers->prepare();
    const int count = ::recvmmsg(mFd.get(), mBuffers->headers.data(), kBatch, MSG_DONTWAIT, nullptr);
    if (count >= 0) return mBuffers->collect(static_cast<std::size_t>(count));
    if (isFull(errno)) break;
  }
  return {};
}

void UdpSocket::reportRefusals() {
  if (mFamily == Family::kV4)
    setOption(mFd.get(), IPPROTO_IP, IP_RECVERR, 1);
  else
    setOption(mFd.get(), IPPROTO_IPV6, IPV6_RECVERR, 1);
}

std::optional<Endpoint> UdpSocket::takeRefusal() {
  SocketAddress to;
  msghdr header{};
  header.msg_name = to.get();
  header.msg_namelen = sizeof(to.storage);
  // Each error comes with the address to which its datagram went; the datagram itself is not wanted.
  if (::recvmsg(mFd.get(), &header, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) return std::nullopt;
  return endpointOf(to.get(), header.msg_namelen);
}

}  // namespace slp::net
