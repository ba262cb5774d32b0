#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "host/Result.h"
#include "host/config/ListenAddress.h"
#include "host/config/Settings.h"
#include "host/http/FrontCounts.h"
#include "host/http/Service.h"
#include "host/net/Endpoint.h"

namespace host {

class TlsContext;

/// The HTTP front: takes in requests, hands them to a service, and writes the answers, asynchronously in one thread of
/// its own. Sizes, times and the number of connections are bounded. When there are as many connections as there may be,
/// the one that has waited longest for its client gives way to a new one; only when none waits the new one is refused.
/// Clients are not counted by address: a whole site may come through one, and idle or slow ones shut nobody out. Its
/// operations are called by one thread, but for `counts`.
class Front {
 public:
  /// The service must outlive the front. Without `tls` clients are served as they come.
  Front(const Limits& limits, Service& service, std::shared_ptr<TlsContext> tls = nullptr);
  /// Stops at once.
  ~Front();
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;

  /// Binds every address, or none of them. "Every address" is [::] for both families, and 0.0.0.0 where there is no
  /// IPv6. Gives what was bound, with the ports that port 0 became.
  Result<std::vector<Endpoint>> listen(const std::vector<ListenAddress>& addresses);

  /// Called every second by the front's thread for as long as it gets round to its work; must not block. To be set
  /// before the start.
  void onHeartbeat(std::function<void()> call);

  /// Safe for every thread.
  FrontCounts counts() const;

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
