#pragma once

#include <cstdint>

#include "slp/net/Descriptor.h"
#include "slp/net/UdpSocket.h"

namespace slp::agent {

/// The sockets that are the port of this machine: UDP and TCP, in each family that the machine has and the settings
/// allow. All of them or none, so that two agents never share the port. For one thread at a time.
class PortHolder {
 public:
  /// 0, or why not (errno): EACCES when the privilege is missing, EADDRINUSE when another process has one of them.
  int bind(std::uint16_t port, bool useIpv4, bool useIpv6);
  void close();
  bool held() const { return mUdpV4.isOpen() || mUdpV6.isOpen(); }

  net::UdpSocket& udp(net::Family family) { return family == net::Family::kV4 ? mUdpV4 : mUdpV6; }
  int listener(net::Family family) const { return family == net::Family::kV4 ? mTcpV4.get() : mTcpV6.get(); }

 private:
  int bindFamily(net::Family family, std::uint16_t port);

  net::UdpSocket mUdpV4;
  net::UdpSocket mUdpV6;
  net::Descriptor mTcpV4;
  net::Descriptor mTcpV6;
};

}  // namespace slp::agent
