#pragma once

#include <netinet/in.h>
#include <string>
#include <vector>

#include "cli/Result.h"

namespace cli {

/// One IPv4 address of an interface that is up.
struct AnnounceInterface {
  std::string name;
  std::string address;
  unsigned int index = 0;
  bool isMulticast = false;

  friend bool operator==(const AnnounceInterface&, const AnnounceInterface&) = default;
};

std::string addressText(const in_addr& address);

/// Those of this machine; empty, too, when the system does not tell.
std::vector<AnnounceInterface> announceInterfaces();

/// Where to listen, each interface once. `wanted` holds names or addresses with commas between them; those are taken
/// as they are, the loopback interface included. Empty, it stands for all that are made for multicast.
Result<std::vector<AnnounceInterface>> chooseInterfaces(const std::vector<AnnounceInterface>& all,
                                                        const std::string& wanted);

}  // namespace cli
