#include "discovery/DiscoveryCycle.h"

#include <ctime>
#include <exception>
#include <utility>

#include "discovery/DiscoveryMap.h"
#include "discovery/JobDispatch.h"
#include "discovery/PassNews.h"
#include "discovery/RemoteServerDiscoveryJob.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Condition.h"
#include "framework/utils/Log.h"
#include "framework/utils/Observer.h"
#include "framework/utils/Thread.h"

namespace discovery {
namespace {

constexpr const char* kKvtType = "service:x-mgmt.quorvel:kvt";
constexpr const char* kWbemType = "service:wbem";

/// Milliseconds.
constexpr int kPollInterval = 1;

/// Processor time of the process since then, as the log gives it.
double elapsedSince(std::clock_t begun) {
  return static_cast<double>(std::clock() - begun) / 1000.0;
}

bool isFailure(SLPError result) {
  return result != SLP_OK && result != SLP_LAST_CALL;
}

void logOpened(SLPError result) {
  utils::formatted_log_t(utils::LOG_DETAIL, "RemoteServerDiscovery:discoverSLPServers:SLPOpen return code = %1%") %
      static_cast<int>(result);
}

void logNoSearch(SLPError opened, std::clock_t begun) {
  constexpr const char* kFailed = "RemoteServerDiscovery:discoverSLPServers:SLPOpen failed with return code = %1%";
  utils::formatted_log_t(utils::LOG_ERROR, kFailed) % static_cast<int>(opened);
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "RemoteServerDiscovery:discoverSLPServers:Time taken for x-mgmt.quorvel:kvt and webm servers: "
                         " = %1%") %
      elapsedSince(begun);
  utils::formatted_log_t(utils::LOG_ERROR, kFailed) % static_cast<int>(opened);
}

using MakeJob = std::function<std::unique_ptr<utils::ThreadPoolJob>(const std::string& serviceUrl)>;

class PoolRunner : public JobRunner {
 public:
  PoolRunner(utils::ThreadPool& pool, const MakeJob& makeJob, const std::atomic<bool>& isStopped)
      : mPool(pool), mMakeJob(makeJob), mIsStopped(isStopped) {}

  int runningJobs() override { return mPool.getRunningJobCount(); }
  void addJob(const std::string& serviceUrl) override {
    utils::formatted_log_t(utils::LOG_DETAIL,
                           "RemoteServerDiscovery:discoverSLPServers:the discovered service url is:%1%") %
        serviceUrl;
    mPool.addJob(mMakeJob(serviceUrl).release());
  }
  void sleep() override { utils::Thread::sleep(kPollInterval); }
  bool isStopped() override { return mIsStopped; }

 private:
  utils::ThreadPool& mPool;
  const MakeJob& mMakeJob;
  const std::atomic<bool>& mIsStopped;
};

}  // namespace

DiscoveryCycle::DiscoveryCycle(Parts parts, std::chrono::milliseconds maxWaitForJobs)
    : mParts(std::move(parts)), mMaxWaitForJobs(maxWaitForJobs) {}

void DiscoveryCycle::run() {
  const utils::FunctionTrace trace("RemoteServerDiscovery::startRemoteServerThread");
  const auto interval = static_cast<int>(launcher::Preferences::get_instance()->get_slp_find_service_interval());
  while (!mParts.isStopped) {
    runPassGuarded();
    if (mParts.isStopped) return;
    utils::Mutex mutex;
    utils::Lock lock(&mutex, false);
    utils::Condition nobodySignals;
    nobodySignals.timed_wait(&lock, interval);
  }
}

void DiscoveryCycle::runPassGuarded() {
  const auto began = std::chrono::steady_clock::now();
  utils::observer::passBegan();
  mParts.status = 1;
  try {
    runPass();
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR,
                           "RemoteServerDiscovery:startRemoteServerThread:a pass ended by an exception:%1%") %
        error.what();
  } catch (...) {
    utils::formatted_log_t(utils::LOG_ERROR,
                           "RemoteServerDiscovery:startRemoteServerThread:a pass ended by an unknown exception");
  }
  mParts.status = 0;
  tellOfEnd(began);
}

void DiscoveryCycle::tellOfEnd(std::chrono::steady_clock::time_point began) const {
  utils::PassReport report;
  report.duration = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began);
  report.found = mParts.urls.size();
  report.listed = DiscoveryMap::snapshot()->size();
  RemoteServerDiscoveryJob::mCount.tell();  // those that told of their ends may have overtaken one another
  utils::observer::passEnded(report);
}

void DiscoveryCycle::runPass() {
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "RemoteServerDiscovery:startRemoteServerThread:Going to start the discoverSLPServers");
  // The pass keeps its pool: a stop closes it, which ends the jobs, and may let go of it at any moment.
  const std::shared_ptr<utils::ThreadPool> pool = mParts.pool.load();
  const std::clock_t begun = std::clock();
  discover(pool.get());
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "RemoteServerDiscovery:startRemoteServerThread: Time taken for discoverSLPServers:  = %1%") %
      elapsedSince(begun);
  if (pool) waitForJobs(*pool);
  mParts.publish();
  mParts.status = 0;
  publishAsDiscoveryMap();
}

/// A server whose job is still under way would otherwise drop out of the published list, and come back a moment later.
void DiscoveryCycle::waitForJobs(utils::ThreadPool& pool) {
  const auto end = std::chrono::steady_clock::now() + mMaxWaitForJobs;
  while (pool.getRunningJobCount() > 0 && !mParts.isStopped) {
    if (std::chrono::steady_clock::now() >= end) {
      utils::formatted_log_t(utils::LOG_FAILURE,
                             "RemoteServerDiscovery:startRemoteServerThread:published with jobs still running:%1%") %
          pool.getRunningJobCount();
      return;
    }
    utils::Thread::sleep(kPollInterval);
  }
}

void DiscoveryCycle::publishAsDiscoveryMap() {
  mParts.lists.mDiscoveredHosts.clear();
  if (launcher::Preferences::get_instance()->getInstallationType() == 0)
    mParts.lists.mDiscoveredHosts.replaceAll(*mParts.lists.mPartialDiscoveredHosts.snapshot());
  const HostTable::Snapshot discovered = mParts.lists.mDiscoveredHosts.snapshot();
  const HostTable::Snapshot before = DiscoveryMap::snapshot();
  DiscoveryMap::passEnds(*discovered);
  tellOfPass(*before, *DiscoveryMap::snapshot());
}

int DiscoveryCycle::discover() {
  const std::shared_ptr<utils::ThreadPool> pool = mParts.pool.load();
  return discover(pool.get());
}

int DiscoveryCycle::discover(utils::ThreadPool* pool) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::discoverSLPServers");
  const utils::Lock lock(&mParts.passMutex, false);
  mParts.urls.clear();
  mParts.otherUrls.clear();
  mParts.lists.mCycleDiscoveredHosts.clear();
  DiscoveryMap::passBegins();

  const std::clock_t opening = std::clock();
  std::optional<SlpHandle> handle(std::in_place, mParts.handles, SlpHandles::Use::kSearch);
  logOpened(handle->error());
  if (handle->error() != SLP_OK || mParts.isStopped) {
    const SLPError opened = handle->error();
    logNoSearch(opened, opening);
    handle->leaveOpen();
    return opened;
  }
  utils::formatted_log_t(utils::LOG_DETAIL, "RemoteServerDiscovery:discoverSLPServers:SLPOpen is successful ");
  const std::clock_t begun = std::clock();
  const SLPError result = search(handle);
  if (pool != nullptr) dispatch(*pool);
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "RemoteServerDiscovery:discoverSLPServers:Time taken for x-mgmt.quorvel:kvt servers:  = %1%") %
      elapsedSince(begun);
  return result;
}

SLPError DiscoveryCycle::search(std::optional<SlpHandle>& handle) {
  utils::formatted_log_t(
      utils::LOG_DETAIL,
      "RemoteServerDiscovery:discoverSLPServers:Going to start the discovery of x-mgmt.quorvel:kvt servers");
  SLPError result = find(*handle, kKvtType);
  const std::size_t kvtServers = mParts.urls.size();
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "RemoteServerDiscovery:discoverSLPServers:the size of the KVT servers discovered is:%1%") %
      kvtServers;
  // A stop closes the handles of the searches that it finds; what has not begun by then looks for itself.
  if (!mParts.isStopped) {
    if (!handle->isOpen()) handle.emplace(mParts.handles, SlpHandles::Use::kSearch);
    result = find(*handle, kWbemType);
  }
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "RemoteServerDiscovery:discoverSLPServers:the size of the Wbem servers discovered is:%1%") %
      (mParts.urls.size() - kvtServers);
  return result;
}

/// What opening the handle answered when there is none.
SLPError DiscoveryCycle::find(const SlpHandle& handle, const char* serviceType) {
  SLPError result = handle.error();
  // The handle may have been opened when a stop had closed the others.
  if (result == SLP_OK && !mParts.isStopped)
    result = SLPFindSrvs(handle.get(), serviceType, nullptr, nullptr, mParts.onUrl, nullptr);
  if (isFailure(result)) {
    utils::formatted_log_t(utils::LOG_ERROR,
                           "RemoteServerDiscovery:discoverSLPServers:SLPFindSrvs failed : error code %1%") %
        static_cast<int>(result);
  }
  return result;
}

void DiscoveryCycle::dispatch(utils::ThreadPool& pool) {
  const std::vector<std::string> urls = mParts.urls.all();
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "RemoteServerDiscovery:discoverSLPServers:m_ThreadPool->getPendingJobCount():%1%") %
      pool.getPendingJobCount();
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "RemoteServerDiscovery:discoverSLPServers:the size of the servers discovered is:%1%") %
      urls.size();
  PoolRunner runner(pool, mParts.makeJob, mParts.isStopped);
  dispatchJobs(urls, launcher::Preferences::get_instance()->get_max_processing_threads_count(), runner);
}

SLPBoolean collectServiceUrl(ServiceUrls& urls, LogThrottle& fullUrls, const char* serviceUrl,
                             SLPError errorCode) noexcept {
  if (isFailure(errorCode) || serviceUrl == nullptr) return SLP_TRUE;
  try {
    utils::formatted_log_t(
        utils::LOG_DETAIL,
        "RemoteServerDiscovery:slpUrlCallback:URL that is going to be added to discoveredSLPServers is:%1%") %
        serviceUrl;
    if (!urls.add(serviceUrl) && fullUrls.admits()) {
      utils::formatted_log_t(utils::LOG_FAILURE,
                             "RemoteServerDiscovery:slpUrlCallback:there are too many, left out:%1%") %
          serviceUrl;
    }
  } catch (...) {  // the search that calls is C code; one URL less is all that it costs
  }
  return SLP_TRUE;
}

}  // namespace discovery
