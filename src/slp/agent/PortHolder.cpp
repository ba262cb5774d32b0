#include "slp/agent/PortHolder.h"

#include <cerrno>

#include "slp/net/MessageStream.h"

namespace slp::agent {
namespace {

/// A burst of requests waits here while the agent answers the one before; the kernel's own default holds about 200.
constexpr int kReceiveBuffer = 1024 * 1024;

bool noSuchFamily(int error) {
  return error == EAFNOSUPPORT || error == EADDRNOTAVAIL || error == EPROTONOSUPPORT;
}

}  // namespace

int PortHolder::bindFamily(net::Family family, std::uint16_t port) {
  net::UdpSocket& socket = udp(family);
  if (const int error = socket.open(family, port); error != 0) return error;
  socket.growReceiveBuffer(kReceiveBuffer);
  int error = 0;
  (family == net::Family::kV4 ? mTcpV4 : mTcpV6) = net::listenTcp(family, port, error);
  return error;
}

int PortHolder::bind(std::uint16_t port, bool useIpv4, bool useIpv6) {
  close();
  int missing = EAFNOSUPPORT;
  for (const net::Family family : {net::Family::kV4, net::Family::kV6}) {
    if (!(family == net::Family::kV4 ? useIpv4 : useIpv6)) continue;
    const int error = bindFamily(family, port);
    if (error == 0) continue;
    if (!noSuchFamily(error)) {
      close();
      return error;
    }
    missing = error;
    udp(family).close();
  }
  return held() ? 0 : missing;
}

void PortHolder::close() {
  mUdpV4.close();
  mUdpV6.close();
  mTcpV4.reset();
  mTcpV6.reset();
}

}  // namespace slp::agent
