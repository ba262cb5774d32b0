#include "discovery/RemoteServerDiscovery.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "discovery/DestructorGuard.h"
#include "discovery/DiscoveryMap.h"
#include "discovery/HostVerification.h"
#include "discovery/LocalMachine.h"
#include "discovery/ProvisionalRecord.h"
#include "discovery/ServerDetails.h"
#include "framework/launcher/KVTCrypto.h"
#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Exceptions.h"
#include "framework/utils/Log.h"
#include "framework/utils/System.h"

namespace {

/// What SLP answers for what it cannot do, as callers get it.
constexpr auto kSlpNotImplemented = static_cast<unsigned short>(-17);

/// The results of `getSearchHost`.
constexpr int kFound = 1;
constexpr int kNotFound = 2;

/// The type of installation that searches for others; any other type only lets itself be found.
constexpr unsigned short kSearchingInstallation = 0;

discovery::HostLists gLists;

unsigned short installationType() {
  return static_cast<unsigned short>(launcher::Preferences::get_instance()->getInstallationType());
}

/// Leading decimal digits, 0 without any.
std::int32_t toPort(const std::string& text) {
  using Limits = std::numeric_limits<std::int32_t>;
  const long number = std::strtol(text.c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long>(number, Limits::min(), Limits::max()));
}

unsigned short refuseSlp(const char* operation) {
  utils::formatted_log_t(utils::LOG_FAILURE, "RemoteServerDiscovery:%1%:SLP is not part of this build") % operation;
  return kSlpNotImplemented;
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
  static RemoteServerDiscovery inventory;
  if (!m_ThreadPool.load()) inventory.makeThreadPool();
  return &inventory;
}

RemoteServerDiscovery::RemoteServerDiscovery() {
  const utils::FunctionTrace trace("RemoteServerDiscovery::RemoteServerDiscovery");
  // Whatever the destructor uses, directly or through a job that it waits for, is made first and so ends later.
  launcher::Preferences::get_instance();
  launcher::PluginManager::get_instance();
  launcher::KVTCrypto::get_instance();
  utils::System::get_instance();
  discovery::DiscoveryMap::snapshot();
}

RemoteServerDiscovery::~RemoteServerDiscovery() {
  discovery::runInDestructor("RemoteServerDiscovery", [this] {
    const utils::FunctionTrace trace("RemoteServerDiscovery::~RemoteServerDiscovery");
    const std::string url = *mRegistrationUrl.load();
    RemoteServerDiscovery::deRegisterSLPService(url, true);
    stopThreadPool();
    const utils::Lock lock(&mSlpLock, false);
    stopDiscoveryThread();
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

void RemoteServerDiscovery::startRemoteServerThread() {
  const utils::FunctionTrace trace("RemoteServerDiscovery::startRemoteServerThread");
}

void RemoteServerDiscovery::stopDiscoveryThread() {
  if (!mRemoteServerThread) return;
  mRemoteServerThread->join();
  mRemoteServerThread.reset();
}

unsigned short RemoteServerDiscovery::registerSLPService(std::string, bool, std::string registrationUrl,
                                                         std::string ipAddress) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::registerSLPService");
  Host local;
  local.mAddress = std::move(ipAddress);
  local.mPort = toPort(launcher::Preferences::get_instance()->get_listening_port());
  mLocalHost.store(std::make_shared<Host>(std::move(local)));
  mRegistrationUrl.store(std::make_shared<std::string>(registrationUrl));
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:registerSLPService:strRegUrl=%1%") %
      registrationUrl;
  const utils::Lock lock(&mSlpLock, false);
  return refuseSlp("registerSLPService");
}

unsigned short RemoteServerDiscovery::deRegisterSLPService(std::string, bool stop) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::deRegisterSLPService");
  mStopDiscovery = stop;
  const utils::Lock lock(&mSlpLock, false);
  const unsigned short result = refuseSlp("deRegisterSLPService");
  if (stop) {
    mStopDiscovery = true;
    stopThreadPool();
    stopDiscoveryThread();
  }
  return result;
}

void RemoteServerDiscovery::getDiscoveredHost(json::Array& out) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::getDiscoveredHost");
  utils::Mutex mutex;
  const utils::Lock lock(&mutex, false);
  gLists.copyDiscovered(out);
}

void RemoteServerDiscovery::addHost(std::string key, json::Object record, bool) {
  const utils::FunctionTrace trace("RemoteServerDiscovery::addHost");
  utils::Mutex mutex;
  const utils::Lock lock(&mutex, false);
  gLists.addToPublished(key, record);
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
  utils::Mutex mutex;
  const utils::Lock lock(&mutex, false);
  return gLists.remove(key);
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
  discovery::HostVerification(gLists, mapUnreachableIP, mHostListMutex).verify(strServerIp, attributes, provisional);
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
