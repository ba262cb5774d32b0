#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "slp/net/Address.h"
#include "slp/net/Descriptor.h"

namespace slp::net {

/// One datagram as it came: the bytes live until the next receive.
struct Datagram {
  std::span<const std::byte> bytes;
  Endpoint from;
  Address to;                   ///< where it was sent: one of our addresses, or a group
  std::uint32_t interface = 0;  ///< the index of the interface by which it came
};

/// One datagram to send.
struct Outgoing {
  std::string bytes;
  Endpoint to;
  std::uint32_t interface = 0;  ///< leave by this one; 0: as routes say
  Address from;                 ///< the source address when `useFrom`
  bool useFrom = false;
};

/// A UDP socket of one family, non-blocking, close-on-exec, IPv6 without IPv4, with the destination and interface of
/// each datagram. Multicast loops back to this machine. Errors are errno values, 0 for none. For one thread at a time.
class UdpSocket {
 public:
  UdpSocket();
  ~UdpSocket();
  UdpSocket(UdpSocket&&) noexcept;
  UdpSocket& operator=(UdpSocket&&) noexcept;

  /// Binds to `port` (0: any) on every address, without SO_REUSEADDR, so that a second bind fails. EACCES: privilege
  /// is missing. EADDRINUSE: somebody has it. EAFNOSUPPORT or EADDRNOTAVAIL: this machine has no such family.
  int open(Family family, std::uint16_t port);
  void close();
  bool isOpen() const { return static_cast<bool>(mFd); }
  int fd() const { return mFd.get(); }
  std::uint16_t localPort() const;

  void setMulticastTtl(int ttl);
  void setBroadcast();
  void growReceiveBuffer(int bytes);  ///< as far as the kernel allows

  /// 0, or why it could not be sent (EMSGSIZE, ENETUNREACH ...); EAGAIN when the kernel's buffer is full.
  int send(const Outgoing& datagram);
  /// Sends many with few calls to the kernel; returns how many were taken or failed for good before the buffer was
  /// full.
  std::size_t sendAll(std::span<const Outgoing> datagrams);
  /// Up to `kBatch` datagrams that have arrived; their bytes live until the next call. Does not block. A pending error
  /// of the socket (a refused port) is taken and passed over. Cut datagrams are dropped.
  std::span<const Datagram> receive();

  /// Keeps what hosts answer instead of datagrams: nobody listens, no such host. Then POLLERR stands until
  /// `takeRefusal` has nothing more.
  void reportRefusals();
  /// The endpoint of one datagram sent that was refused.
  std::optional<Endpoint> takeRefusal();

  /// With 64 KiB for each, because a reply from this machine may be as long: what is never used costs no memory.
  static constexpr std::size_t kBatch = 16;

 private:
  struct Buffers;
  Descriptor mFd;
  Family mFamily = Family::kV4;
  std::unique_ptr<Buffers> mBuffers;  ///< made by the first receive: a socket that only sends needs none
};

}  // namespace slp::net
