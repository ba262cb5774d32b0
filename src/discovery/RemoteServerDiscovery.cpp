#include "discovery/RemoteServerDiscovery.h"

#include <mutex>
#include <utility>

#include "discovery/AttributeList.h"
#include "discovery/DestructorGuard.h"
#include "discovery/DiscoveryMap.h"
#include "discovery/HostVerification.h"
#include "discovery/LocalMachine.h"
#include "discovery/ProvisionalRecord.h"
#include "discovery/RemoteServerDiscoveryJob.h"
#include "discovery/RunLogged.h"
#include "discovery/ServerDetails.h"
#include "discovery/SlpRegistration.h"
#include "framework/launcher/KVTCrypto.h"
#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "framework/utils/Observer.h"
#include "framework/utils/System.h"
#include "heartbeat/HeartBeat.h"

namespace {

/// The result of an operation that failed before it called SLP.
constexpr int kNothingCalled = -1;

/// The results of `getSearchHost`.
constexpr int kFound = 1;
constexpr int kNotFound = 2;

/// The type of installation that searches for others; any other type only lets itself be found.
constexpr unsigned short kSearchingInstallation = 0;

discovery::HostLists gLists;

unsigned short installationType() {
  return static_cast<unsigned short>(launcher::Preferences::get_instance()->getInstallationType());
}

/// What callers get of an SLP result.
unsigned short lowBits(int slpResult) {
  return static_cast<unsigned short>(slpResult);
}

/// For what one call does in several steps: what they throw speaks for itself.
template <typename Step>
void runStep(const Step& step) {
  discovery::runLogged("%1%", step);
}

/// One caller's wish that discovery stops, or that it may go on. While one is stopping it, nobody takes that back:
/// the thread that is being waited for would never end.
class StopRequest {
 public:
  StopRequest(std::atomic<bool>& flag, bool stop) : mIsStop(stop) {
    const std::lock_guard lock(gMutex);
    if (mIsStop) ++gStopsUnderWay;
    flag = gStopsUnderWay > 0;
  }
  ~StopRequest() {
    const std::lock_guard lock(gMutex);
    if (mIsStop) --gStopsUnderWay;
  }
  StopRequest(const StopRequest&) = delete;
  StopRequest& operator=(const StopRequest&) = delete;

 private:
  static inline std::mutex gMutex;
  static inline int gStopsUnderWay = 0;

  const bool mIsStop;
};

/// Tells the observer at its end that the list of servers has changed. Made before a lock, it speaks after it.
class ChangeOfList {
 public:
  ChangeOfList() = default;
  ~ChangeOfList() {
    if (mHasHappened) discovery::DiscoveryMap::tellOfChange(gLists.mPartialDiscoveredHosts.size());
  }
  ChangeOfList(const ChangeOfList&) = delete;
  ChangeOfList& operator=(const ChangeOfList&) = delete;

  void happened() { mHasHappened = true; }

 private:
  bool mHasHappened = false;
};

/// Tells the observer what came of looking at a server.
void tellOf(const std::string& address, const discovery::Verdict& verdict) {
  using utils::Sighting;
  using Outcome = discovery::Verdict::Outcome;
  using Fetch = discovery::Verdict::Fetch;
  if (verdict.fetch != Fetch::kNone) {
    utils::observer::counted("details_fetches", verdict.fetch == Fetch::kAnswered ? "answered" : "failed");
  }
  if (verdict.outcome == Outcome::kPassedOver) return;
  Sighting sighting{address, verdict.displayId, Sighting::Source::kSlp, Sighting::Outcome::kSeen, verdict.reason};
  if (verdict.outcome == Outcome::kVerified) sighting.outcome = Sighting::Outcome::kVerified;
  if (verdict.outcome == Outcome::kFailed) sighting.outcome = Sighting::Outcome::kFailed;
  utils::observer::sighted(sighting);
}

}  // namespace

discovery::HostTable& RemoteServerDiscovery::mSearchedHosts = gLists.mSearchedHosts;
discovery::HostTable& RemoteServerDiscovery::mCycleDiscoveredHosts = gLists.mCycleDiscoveredHosts;
discovery::HostTable& RemoteServerDiscovery::mPartialDiscoveredHosts = gLists.mPartialDiscoveredHosts;
discovery::HostTable& RemoteServerDiscovery::mDiscoveredHosts = gLists.mDiscoveredHosts;
discovery::UpdateCounters& RemoteServerDiscovery::mUpdatedCounters = gLists.mUpdatedCounters;
discovery::Published<utils::ThreadPool> RemoteServerDiscovery::m_ThreadPool;
std::unique_ptr<utils::Thread> RemoteServerDiscovery::mRemoteServerThread;
discovery::SlpHandles RemoteServerDiscovery::mSlpHandles;
std::atomic<bool> RemoteServerDiscovery::mStopDiscovery = false;
std::atomic<std::int32_t> RemoteServerDiscovery::mDiscoveryStatus = 1;
discovery::Published<const std::string> RemoteServerDiscovery::mRegistrationUrl(std::make_shared<std::string>());
discovery::Published<const Host> RemoteServerDiscovery::mLocalHost(std::make_shared<Host>());

RemoteServerDiscovery* RemoteServerDiscovery::getInstance() {
  utils::formatted_log_t(utils::LOG_LOOKUP, "RemoteServerDiscovery::getInstance");
  RemoteServerDiscovery& inventory = instance();
  if (!m_ThreadPool.load()) inventory.makeThreadPool();
  return &inventory;
}

/// For the discovery thread, too, which makes no pool: a stop might just have ended it.
RemoteServerDiscovery& RemoteServerDiscovery::instance() {
  static RemoteServerDiscovery inventory;
  return inventory;
}

RemoteServerDiscovery::RemoteServerDiscovery() {
  const utils::FunctionTrace trace("RemoteServerDiscovery::RemoteServerDiscovery");
  // Whatever the destructor uses, directly or through a job that it waits for, is made first and so ends later.
  launcher::Preferences::get_instance();
  launcher::PluginManager::get_instance();
  launcher::KVTCrypto::get_instance();
  utils::System::get_instance();
  discovery::DiscoveryMap::snapshot();
  heartbeat::HeartBeat::getInstance();  // its workers call the inventory, until the destructor has silenced them
}

RemoteServerDiscovery::~RemoteServerDiscovery() {
  discovery::runInDestructor("RemoteServerDiscovery", [this] {
    const utils::FunctionTrace trace("RemoteServerDiscovery::~RemoteServerDiscovery");
    const std::string url = *mRegistrationUrl.load();
    RemoteServerDiscovery::deRegisterSLPService(url, true);
  });
}

void RemoteServerDiscovery::makeThreadPool() {
  const unsigned int threads = launcher::Preferences::get_instance()->get_max_processing_threads_count();
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:getInstance:nDiscoveredSLPServerSize=%1%") %
      discoveredSLPServers.size();
  m_ThreadPool.storeIfEmpty(std::make_shared<utils::ThreadPool>(static_cast<int>(threads)));
}

/// The pool stays in sight until its jobs have ended, so that none of them makes another one or ends it itself.
void RemoteServerDiscovery::stopThreadPool() {
  const std::shared_ptr<utils::ThreadPool> pool = m_ThreadPool.load();
  if (!pool) return;
  pool->close();
  while (pool->getRunningJobCount() > 0)
    utils::Thread::sleep(1);
  m_ThreadPool.store(nullptr);
}

void RemoteServerDiscovery::startDiscoveryThread() {
  const bool isSearching = installationType() == kSearchingInstallation;
  if (!isSearching || mRemoteServerThread) return;
  mRemoteServerThread = std::make_unique<utils::Thread>("remoteserverthread", startRemoteServerThread);
}

void RemoteServerDiscovery::stopDiscoveryThread() {
  if (!mRemoteServerThread) return;
  mRemoteServerThread->join();
  mRemoteServerThread.reset();
}

/// The thread that is joined needs none of the caller's locks, and its searches and those of the jobs are cancelled. A
/// search that would begin after that sees the flag, which is set by now.
void RemoteServerDiscovery::stopEngine() {
  mStopDiscovery = true;
  mSlpHandles.cancelSearches();
  stopThreadPool();
  stopDiscoveryThread();
  mSlpHandles.closeLeftOpen();
}

unsigned short RemoteServerDiscovery::registerSLPService(std::string serverDetails, bool noDiscoveryThread,
                                                         std::string registrationUrl, std::string ipAddress) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::registerSLPService");
  Host local;
  local.mAddress = ipAddress;
  local.mPort = discovery::toPort(launcher::Preferences::get_instance()->get_listening_port());
  mLocalHost.store(std::make_shared<Host>(std::move(local)));
  mRegistrationUrl.store(std::make_shared<std::string>(registrationUrl));
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:registerSLPService:strRegUrl=%1%") %
      registrationUrl;
  std::string attributes;
  addSlpAttributes("ip=", ipAddress, attributes);
  addSlpAttributes("server=", serverDetails, attributes);
  const bool isSearching = installationType() == kSearchingInstallation;
  const bool isAnnouncing = launcher::Preferences::get_instance()->get_enable_multicast() != 0;

  ChangeOfList change;
  const utils::Lock lock(&mSlpLock, false);
  const SLPError result = discovery::registerWithSlp(mSlpHandles, registrationUrl, attributes, slpRegistrationReport);
  if (result != SLP_OK) return lowBits(result);
  change.happened();
  // The server is registered: what fails from here on neither hides that nor keeps the other steps from being taken.
  const auto announceService = [&] { discovery::announceService(registrationUrl, attributes); };
  if (isAnnouncing && isSearching) runStep(discovery::beginListening);
  if (isAnnouncing) runStep([&] { discovery::announceArrival(registrationUrl, attributes); });
  if (isAnnouncing && !isSearching) runStep(announceService);
  runStep([&] { fileLocalServer(ipAddress, serverDetails); });
  if (!isSearching || noDiscoveryThread) return 0;
  runStep(startDiscoveryThread);
  if (isAnnouncing) runStep(announceService);
  return 0;
}

void RemoteServerDiscovery::fileLocalServer(const std::string& address, const std::string& serverDetails) {
  // What the last pass knew of this server is of before; the next one would take it for what is filed here.
  mDiscoveredHosts.erase(address);
  discovery::DiscoveryMap::takeBackWithdrawal(address);
  verify(address, serverDetails, false);
}

unsigned short RemoteServerDiscovery::deRegisterSLPService(std::string registrationUrl, bool stop) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::deRegisterSLPService");
  const StopRequest request(mStopDiscovery, stop);
  const utils::Lock lock(&mSlpLock, false);
  int result = kNothingCalled;
  runStep([&] { result = discovery::deregisterFromSlp(mSlpHandles, registrationUrl, slpRegistrationReport); });
  runStep([&] { discovery::announceDeparture(registrationUrl); });
  runStep(discovery::endListening);
  if (stop) runStep(stopEngine);
  return lowBits(result);
}

void RemoteServerDiscovery::addSlpAttributes(const std::string& key, const std::string& value,
                                             std::string& attributes) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::addSlpAttributes");
  discovery::appendAttribute(key, value, attributes);
}

void RemoteServerDiscovery::slpRegistrationReport(SLPHandle, SLPError errorCode, void*) {
  try {
    const utils::FunctionTrace trace("RemoteServerDiscovery::slpRegistrationReport");
    discovery::logRegistrationReport(errorCode);
  } catch (...) {  // only the records are lost
  }
}

SLPBoolean RemoteServerDiscovery::slpUrlCallback(SLPHandle, const char* serviceUrl, unsigned short, SLPError errorCode,
                                                 void*) {
  RemoteServerDiscovery& inventory = instance();
  return discovery::collectServiceUrl(inventory.discoveredSLPServers, inventory.mFullServiceUrls, serviceUrl,
                                      errorCode);
}

discovery::DiscoveryCycle RemoteServerDiscovery::cycle() {
  return discovery::DiscoveryCycle(
      {gLists, discoveredSLPServers, mOtherServiceUrls, m_ThreadPool, mSlpHandles, mStopDiscovery, mDiscoveryStatus,
       mMutex, slpUrlCallback,
       [](const std::string& serviceUrl) { return std::make_unique<discovery::RemoteServerDiscoveryJob>(serviceUrl); },
       [this] { clearAutoDiscoveredServers(); }});
}

int RemoteServerDiscovery::discoverSLPServers() {
  return cycle().discover();
}

void RemoteServerDiscovery::startRemoteServerThread() {
  instance().cycle().run();
}

void RemoteServerDiscovery::getDiscoveredHost(json::Array& out) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::getDiscoveredHost");
  utils::Mutex mutex;
  const utils::Lock lock(&mutex, false);
  gLists.copyDiscovered(out);
}

void RemoteServerDiscovery::addHost(std::string key, json::Object record, bool) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::addHost");
  ChangeOfList change;
  utils::Mutex mutex;
  const utils::Lock lock(&mutex, false);
  gLists.addToPublished(key, record);
  change.happened();
}

void RemoteServerDiscovery::addToSearchHostList(std::string key, json::Object request, json::Object serverRecord,
                                                bool fromRequest) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::addToSearchHostList");
  utils::Mutex mutex;
  const utils::Lock lock(&mutex, false);
  gLists.addSearched(key, request, serverRecord, fromRequest);
}

int RemoteServerDiscovery::getSearchHost(std::string key, json::Object& out) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::getSearchHost");
  const auto record = mSearchedHosts.find(key);
  if (!record) return kNotFound;
  out = *record;
  return kFound;
}

int RemoteServerDiscovery::getDiscoveredServerStatus() {
  const utils::FunctionTrace trace("RemoteServerDiscovery::getDiscoveredServerStatus");
  return mDiscoveryStatus;
}

bool RemoteServerDiscovery::removeSpecificServer(std::string key) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::removeSpecificServer");
  ChangeOfList change;
  utils::Mutex mutex;
  const utils::Lock lock(&mutex, false);
  const bool isRemoved = gLists.remove(key);
  if (isRemoved) change.happened();
  return isRemoved;
}

void RemoteServerDiscovery::getDiscoveredHosts(std::map<std::string, json::Object>& out) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::getDiscoveredHosts");
  out = *mSearchedHosts.snapshot();
}

void RemoteServerDiscovery::clearAutoDiscoveredServers() {
  const utils::FunctionTrace trace("RemoteServerDiscovery::clearAutoDiscoveredServers");
  gLists.publishPass(mHostListMutex);
}

void RemoteServerDiscovery::addDiscoveredHost(std::string strServerIp, std::string attributes, bool provisional) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::addDiscoveredHost");
  const discovery::Verdict verdict = verify(strServerIp, attributes, provisional);
  tellOf(strServerIp, verdict);
  ChangeOfList change;
  // What a pass files is listed at its end, but at once while there is nothing else to list.
  if (verdict.isFiled() && discovery::DiscoveryMap::snapshot()->empty()) change.happened();
}

discovery::Verdict RemoteServerDiscovery::verify(const std::string& address, const std::string& attributes,
                                                 bool provisional) {
  return discovery::HostVerification(gLists, mapUnreachableIP, mHostListMutex).verify(address, attributes, provisional);
}

RemoteServerDiscovery::HTTPStatus_ RemoteServerDiscovery::getRemoteServerDetails(std::string serverId, std::string ip,
                                                                                 json::Object request,
                                                                                 json::Object& response,
                                                                                 bool isLegacyServer) {
  return discovery::getRemoteServerDetails(std::move(serverId), ip, std::move(request), response, isLegacyServer);
}

RemoteServerDiscovery::HTTPStatus_ RemoteServerDiscovery::getLocalServerDetails(std::string serverId, std::string nicIp,
                                                                                json::Object& record) {
  return discovery::getLocalServerDetails(std::move(serverId), nicIp, record);
}

bool RemoteServerDiscovery::isLocalServer(json::Array nics, std::string strServerIP) {
  return discovery::isLocalServer(nics, strServerIP, discovery::localAddresses());
}

void RemoteServerDiscovery::formDummyServerJson(json::Object& out, std::string address) {
  discovery::formProvisionalRecord(out, std::move(address));
}
