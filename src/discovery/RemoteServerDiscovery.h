#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "discovery/DiscoveryCycle.h"
#include "discovery/Host.h"
#include "discovery/HostLists.h"
#include "discovery/HostTable.h"
#include "discovery/LogThrottle.h"
#include "discovery/Published.h"
#include "discovery/ServerDiscovery.h"
#include "discovery/ServiceUrls.h"
#include "discovery/SlpHandles.h"
#include "discovery/SlpLog.h"
#include "discovery/SlpTraffic.h"
#include "discovery/UpdateCounters.h"
#include "discovery/Verdict.h"
#include "framework/http/HTTPCommand.h"
#include "framework/utils/Mutex.h"
#include "framework/utils/Thread.h"
#include "framework/utils/ThreadPool.h"
#include "json/elements.h"

/// The one inventory of the process: the fixed names, each handed on at once to the class or function that does the
/// work. Every operation may be called by every thread. Several of them lock a mutex that the call makes for itself and
/// so exclude nobody: a reader sees a list before or after a change, never half of one, because the lists themselves
/// are safe.
class RemoteServerDiscovery : public discovery::ServerDiscovery {
 public:
  using HTTPStatus_ = http::HTTPCommand::HTTPStatus_;

  /// Makes the inventory at the first call, and the thread pool whenever there is none.
  static RemoteServerDiscovery* getInstance();

  RemoteServerDiscovery(const RemoteServerDiscovery&) = delete;
  RemoteServerDiscovery& operator=(const RemoteServerDiscovery&) = delete;

  unsigned short registerSLPService(std::string serverDetails, bool noDiscoveryThread, std::string registrationUrl,
                                    std::string ipAddress) override;
  /// With `stop` it also cancels searches and ends the thread pool and the discovery thread; the call waits for both.
  unsigned short deRegisterSLPService(std::string registrationUrl, bool stop) override;
  void getDiscoveredHost(json::Array& out) override;
  void addHost(std::string key, json::Object record, bool verified = true) override;
  void addToSearchHostList(std::string key, json::Object request, json::Object serverRecord, bool fromRequest) override;
  int getSearchHost(std::string key, json::Object& out) override;
  int getDiscoveredServerStatus() override;
  bool removeSpecificServer(std::string key) override;
  void getDiscoveredHosts(std::map<std::string, json::Object>& out) override;

  /// Rebuilds the published inventory at the end of a discovery pass.
  void clearAutoDiscoveredServers();
  /// Verifies an address that discovery produced, and files it; with `provisional` at once and unverified.
  void addDiscoveredHost(std::string strServerIp, std::string attributes, bool provisional);

  HTTPStatus_ getRemoteServerDetails(std::string serverId, std::string ip, json::Object request, json::Object& response,
                                     bool isLegacyServer);
  HTTPStatus_ getLocalServerDetails(std::string serverId, std::string nicIp, json::Object& record);
  bool isLocalServer(json::Array nics, std::string strServerIP);
  void formDummyServerJson(json::Object& out, std::string address);

  /// Appends one term to the list of attributes that is registered; `key` carries its "=".
  void addSlpAttributes(const std::string& key, const std::string& value, std::string& attributes);
  /// SLP's callbacks. Neither throws nor takes a lock that is held by whoever called SLP.
  static void slpRegistrationReport(SLPHandle handle, SLPError errorCode, void* cookie);
  static SLPBoolean slpUrlCallback(SLPHandle handle, const char* serviceUrl, unsigned short lifetime,
                                   SLPError errorCode, void* cookie);
  /// One search and its jobs. Returns what the last call of SLP answered; 0 and 1 are success.
  int discoverSLPServers();
  /// The discovery thread: a pass, then the wait for the next one, until a stop.
  static void startRemoteServerThread();
  /// Makes the discovery thread, unless it is there or this installation only lets itself be found. To be called with
  /// `mSlpLock` held.
  static void startDiscoveryThread();

  /// Held for a whole registration or deregistration.
  utils::Mutex mSlpLock;
  /// The service URLs of the running discovery pass.
  discovery::ServiceUrls discoveredSLPServers;
  /// Emptied with them; nothing else is done with it.
  discovery::ServiceUrls mOtherServiceUrls;

  // What there is one of for the class. It lives from the loading of the library to its unloading.
  static discovery::HostTable& mSearchedHosts;
  static discovery::HostTable& mCycleDiscoveredHosts;
  static discovery::HostTable& mPartialDiscoveredHosts;
  static discovery::HostTable& mDiscoveredHosts;
  static discovery::UpdateCounters& mUpdatedCounters;
  /// Runs the attribute jobs. Null before the first `getInstance` and after a stop.
  static discovery::Published<utils::ThreadPool> m_ThreadPool;
  /// The discovery thread, or null. Touched with `mSlpLock` held.
  static std::unique_ptr<utils::Thread> mRemoteServerThread;
  static discovery::SlpHandles mSlpHandles;
  static std::atomic<bool> mStopDiscovery;
  /// 1 while a discovery pass runs, 0 between passes.
  static std::atomic<std::int32_t> mDiscoveryStatus;
  /// Never null.
  static discovery::Published<const std::string> mRegistrationUrl;
  static discovery::Published<const Host> mLocalHost;

 protected:
  RemoteServerDiscovery();
  ~RemoteServerDiscovery();

 private:
  static RemoteServerDiscovery& instance();

  discovery::Verdict verify(const std::string& address, const std::string& attributes, bool provisional);
  void fileLocalServer(const std::string& address, const std::string& serverDetails);
  discovery::DiscoveryCycle cycle();
  void makeThreadPool();
  static void stopThreadPool();
  static void stopDiscoveryThread();
  static void stopEngine();

  discovery::SlpLog mSlpLog;
  discovery::SlpTraffic mSlpTraffic;
  discovery::LogThrottle mFullServiceUrls;
};
