#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "slp/client/Transport.h"
#include "slp/config/Settings.h"
#include "slp/net/Interfaces.h"
#include "slp/net/UdpSocket.h"

namespace slp::client {

/// The datagrams, without their bytes, by which a request reaches everybody: one for each interface and family, and for
/// each scope of IPv6. `interfaces` are the suitable ones; `wanted` are the addresses or names by which they were
/// chosen, because an address that was named is the one to send from. Pure.
std::vector<net::Outgoing> planMulticast(const std::vector<net::Interface>& interfaces,
                                         const std::vector<std::string>& wanted, const config::Settings& settings,
                                         Transport::Group group, std::string_view serviceType);

}  // namespace slp::client
