#pragma once

#include <string>
#include <vector>

#include "framework/utils/MachineNetwork.h"
#include "framework/utils/System.h"

namespace utils {

/// Shell patterns over interface names.
struct InterfaceFilter {
  std::vector<std::string> include;  ///< empty for all
  std::vector<std::string> exclude;  ///< wins over `include`
};

/// The interfaces under whose addresses others may reach this machine, the default route's first (IPv4's before
/// IPv6's), then in the kernel's order. Left out are loopback and whatever is down or filtered; addresses that are
/// link-local, tentative, duplicate, temporary or deprecated; and interfaces that are left without an address.
std::vector<NetworkInterface> selectInterfaces(const MachineNetwork& network, const InterfaceFilter& filter);

}  // namespace utils
