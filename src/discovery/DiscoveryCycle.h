#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <slp.h>
#include <string>

#include "discovery/HostLists.h"
#include "discovery/LogThrottle.h"
#include "discovery/Published.h"
#include "discovery/ServiceUrls.h"
#include "discovery/SlpHandles.h"
#include "framework/utils/Mutex.h"
#include "framework/utils/ThreadPool.h"

namespace discovery {

/// The periodic search for other servers: asks SLP for their service URLs, has a job look at each, and publishes what
/// they found. Stands behind the inventory's functions of the same purpose and traces and logs under their names. Run
/// by one thread; never needs the lock of a registration or the inventory itself, so whoever holds those may join it.
class DiscoveryCycle {
 public:
  /// What the cycle works on. All of it outlives the cycle.
  struct Parts {
    HostLists& lists;
    /// The URLs that the running pass has collected. `onUrl` puts them there.
    ServiceUrls& urls;
    ServiceUrls& otherUrls;
    const Published<utils::ThreadPool>& pool;
    SlpHandles& handles;
    const std::atomic<bool>& isStopped;
    /// 1 while a pass runs, else 0.
    std::atomic<std::int32_t>& status;
    /// Held for a whole search and dispatch.
    utils::Mutex& passMutex;
    SLPSrvURLCallback* onUrl;
    std::function<std::unique_ptr<utils::ThreadPoolJob>(const std::string& serviceUrl)> makeJob;
    /// Rebuilds the published list from what the pass has found.
    std::function<void()> publish;
  };

  /// How long a pass waits for its last jobs before it publishes.
  static constexpr std::chrono::milliseconds kMaxWaitForJobs = std::chrono::seconds(10);

  explicit DiscoveryCycle(Parts parts, std::chrono::milliseconds maxWaitForJobs = kMaxWaitForJobs);

  /// Passes at the interval that is set at its beginning, until a stop. What a pass throws is logged and ends only
  /// that.
  void run();
  /// Searches and hands out the jobs. Returns what the last call of SLP answered; 0 and 1 are success.
  int discover();

 private:
  void runPassGuarded();
  void runPass();
  void waitForJobs(utils::ThreadPool& pool);
  void publishAsDiscoveryMap();
  void tellOfEnd(std::chrono::steady_clock::time_point began) const;
  int discover(utils::ThreadPool* pool);
  SLPError search(std::optional<SlpHandle>& handle);
  SLPError find(const SlpHandle& handle, const char* serviceType);
  void dispatch(utils::ThreadPool& pool);

  const Parts mParts;
  const std::chrono::milliseconds mMaxWaitForJobs;
};

/// Takes a URL that a search reports, and nothing from a report of failure. Always SLP_TRUE: the search goes on. Never
/// throws; a URL for which there is no room is dropped and logged.
SLPBoolean collectServiceUrl(ServiceUrls& urls, LogThrottle& fullUrls, const char* serviceUrl,
                             SLPError errorCode) noexcept;

}  // namespace discovery
