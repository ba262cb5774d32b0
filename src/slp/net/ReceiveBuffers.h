#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <sys/socket.h>

#include "slp/net/ControlMessages.h"
#include "slp/net/SocketAddress.h"
#include "slp/net/UdpSocket.h"

namespace slp::net {

/// Address space for one batch of datagrams, straight from the kernel: a page costs memory only once a datagram has
/// reached it, and goes back at the end.
class DatagramStorage {
 public:
  static constexpr std::size_t kSlot = 65'536;

  DatagramStorage();  ///< throws std::bad_alloc
  ~DatagramStorage();
  DatagramStorage(const DatagramStorage&) = delete;
  DatagramStorage& operator=(const DatagramStorage&) = delete;

  std::byte* slot(std::size_t index) { return mBytes + index * kSlot; }

 private:
  std::byte* mBytes;
};

/// What recvmmsg fills.
struct ReceiveBuffers {
  DatagramStorage storage;
  std::array<mmsghdr, UdpSocket::kBatch> headers{};
  std::array<iovec, UdpSocket::kBatch> parts{};
  std::array<SocketAddress, UdpSocket::kBatch> senders;
  std::array<ControlBuffer, UdpSocket::kBatch> controls;
  std::array<Datagram, UdpSocket::kBatch> received;

  void prepare();
  /// The first `count`, without those that came cut or without a word of where they went.
  std::span<const Datagram> collect(std::size_t count);
};

}  // namespace slp::net
