#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "slp/net/Address.h"
#include "slp/net/Wakeup.h"

namespace slp::agent {

/// Looks up the addresses of hosts while its owner does other things; can be given up at any time. Numeric addresses
/// need no thread; for others `client::keepLoaded` must have been called. For one thread.
class HostLookup {
 public:
  HostLookup(std::vector<std::string> hosts, std::uint16_t port);
  ~HostLookup();
  HostLookup(const HostLookup&) = delete;
  HostLookup& operator=(const HostLookup&) = delete;

  static bool isNumeric(const std::vector<std::string>& hosts);

  /// To be asked now and then.
  bool ready() const { return mReady; }
  /// What was found; hosts that have no address are left out. Only once it is ready.
  const std::vector<net::Endpoint>& found() const { return mFound; }

 private:
  void lookUp(std::uint16_t port);

  const std::vector<std::string> mHosts;
  net::Wakeup mCancel;
  std::vector<net::Endpoint> mFound;
  std::atomic<bool> mReady{false};
  std::thread mThread;
};

}  // namespace slp::agent
