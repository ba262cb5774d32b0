#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace utils {

/// What the kernel says about this machine's network, in its own order and terms (IFF_*, IFA_F_*, AF_*).
struct MachineNetwork {
  struct Link {
    int index = 0;
    unsigned int flags = 0;
    std::string name;
    std::string mac;  ///< "" unless it has six bytes
  };
  struct Address {
    int linkIndex = 0;
    int family = 0;
    unsigned int flags = 0;
    std::string text;
  };
  struct DefaultRoute {
    int linkIndex = 0;
    int family = 0;
    std::uint32_t metric = 0;
  };

  std::vector<Link> links;
  std::vector<Address> addresses;
  std::vector<DefaultRoute> defaultRoutes;
};

}  // namespace utils
