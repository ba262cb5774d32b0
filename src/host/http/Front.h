#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "host/Result.h"
#include "host/config/ListenAddress.h"
#include "host/config/Settings.h"
#include "host/http/Service.h"
#include "host/net/Endpoint.h"

namespace host {

/// The HTTP front: takes in requests, hands them to a service, and writes the answers, asynchronously in one thread of
/// its own. Sizes, times and the number of connections are bounded. Its operations are called by one thread.
class Front {
 public:
  /// The service must outlive the front.
  Front(const Limits& limits, Service& service);
  /// Stops at once.
  ~Front();
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;

  /// Binds every address, or none of them. "Every address" is [::] for both families, and 0.0.0.0 where there is no
  /// IPv6. Gives what was bound, with the ports that port 0 became.
  Result<std::vector<Endpoint>> listen(const std::vector<ListenAddress>& addresses);

  /// Begins to take in requests.
  void start();

  /// Takes in nothing more; what is under way goes on, and its connections end with their answers.
  void stopAccepting();

  /// Lets answers under way end for as long as that, then ends everything.
  void stop(std::chrono::milliseconds grace);

 private:
  class Impl;
  std::unique_ptr<Impl> mImpl;
};

}  // namespace host
