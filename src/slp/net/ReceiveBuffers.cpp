#include "slp/net/ReceiveBuffers.h"

#include <new>
#include <sys/mman.h>

#include "slp/net/Traffic.h"

namespace slp::net {
namespace {

constexpr std::size_t kStorage = DatagramStorage::kSlot * UdpSocket::kBatch;

}  // namespace

DatagramStorage::DatagramStorage() {
  void* const pages = ::mmap(nullptr, kStorage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  mBytes = static_cast<std::byte*>(pages);
}

DatagramStorage::~DatagramStorage() {
  ::munmap(mBytes, kStorage);
}

void ReceiveBuffers::prepare() {
  for (std::size_t i = 0; i < headers.size(); ++i) {
    parts[i] = {storage.slot(i), DatagramStorage::kSlot};
    msghdr& header = headers[i].msg_hdr;
    header = {};
    header.msg_name = senders[i].get();
    header.msg_namelen = sizeof(senders[i].storage);
    header.msg_iov = &parts[i];
    header.msg_iovlen = 1;
    header.msg_control = controls[i].bytes.data();
    header.msg_controllen = controls[i].bytes.size();
  }
}

std::span<const Datagram> ReceiveBuffers::collect(std::size_t count) {
  std::size_t good = 0;
  for (std::size_t i = 0; i < count; ++i) {
    msghdr& header = headers[i].msg_hdr;
    const std::span<const std::byte> bytes{storage.slot(i), headers[i].msg_len};
    countMessage(Fate::kReceived, bytes);
    if ((header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0) {
      countMessage(Fate::kDropped, bytes);
      continue;
    }
    const auto from = endpointOf(header.msg_name, header.msg_namelen);
    const auto info = packetInfoOf(header);
    if (!from || !info) continue;
    received[good++] = {bytes, *from, info->to, info->interface};
  }
  return {received.data(), good};
}

}  // namespace slp::net
