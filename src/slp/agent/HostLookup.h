#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "slp/net/Address.h"

namespace slp::agent {

/// Looks up the addresses of hosts while its owner does other things, and can be given up at any time: the C library
/// does the waiting (getaddrinfo_a), in threads of its own that need nothing of us. Numeric addresses need no wait. For
/// one thread.
class HostLookup {
 public:
  HostLookup(const std::vector<std::string>& hosts, std::uint16_t port);
  ~HostLookup();
  HostLookup(const HostLookup&) = delete;
  HostLookup& operator=(const HostLookup&) = delete;

  /// To be asked now and then.
  bool ready();
  /// What was found, in no order; hosts that have no address are left out. Only once it is ready.
  const std::vector<net::Endpoint>& found() const { return mFound; }

 private:
  struct Request;
  std::uint16_t mPort;
  std::vector<net::Endpoint> mFound;
  std::vector<std::unique_ptr<Request>> mRequests;
};

}  // namespace slp::agent
