#pragma once

#include <string>
#include <vector>

#include "json/elements.h"

namespace discovery {

/// The addresses of this machine as far as the system tells them.
struct LocalAddresses {
  std::string own;         ///< the one that stands for the machine, "" for none
  bool areListed = false;  ///< false when the lists could not be had
  std::vector<std::string> ipV4;
  std::vector<std::string> ipV6;
};

LocalAddresses localAddresses();

/// Whether a server with these network interfaces, found at `serverIp`, is this machine. Without a list of the local
/// addresses, or with fewer than two interfaces, the address alone decides. Texts that are missing or empty match
/// nothing.
bool isLocalServer(const json::Array& nics, const std::string& serverIp, const LocalAddresses& local);

}  // namespace discovery
