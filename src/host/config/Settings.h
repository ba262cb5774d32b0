#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "framework/utils/LinuxSystem.h"
#include "framework/utils/Log.h"
#include "host/config/ListenAddress.h"
#include "host/security/Role.h"

namespace host {

/// Bounds on what clients may take. `settingKeys()` says what each means and how far it may go.
struct Limits {
  unsigned int connections = 4096;
  unsigned int headerBytes = 16 * 1024;
  unsigned int bodyBytes = 64 * 1024;
  std::chrono::milliseconds idleTimeout{60'000};
  std::chrono::milliseconds headerTimeout{10'000};
  std::chrono::milliseconds requestTimeout{30'000};
  std::chrono::milliseconds writeTimeout{30'000};
  unsigned int promptThreads = 2;
  unsigned int promptBacklog = 256;
  unsigned int readThreads = 4;
  unsigned int readBacklog = 128;
  unsigned int actionThreads = 4;
  unsigned int actionBacklog = 16;
};

struct TlsSettings {
  enum class Version { kTls12, kTls13 };
  bool isEnabled = true;
  std::string certificateFile;  ///< PEM, with the chain; "": one that the server makes in its state directory
  std::string keyFile;          ///< PEM
  Version leastVersion = Version::kTls12;
};

/// Who may use the server, and for how long.
struct AccessSettings {
  Role anonymous = Role::kNobody;  ///< the role of somebody who has not logged in
  std::chrono::milliseconds sessionIdle = std::chrono::minutes(30);
  std::chrono::milliseconds sessionLifetime = std::chrono::hours(12);
  unsigned int loginAttempts = 5;  ///< failed ones in a row until the lock-out
  std::chrono::milliseconds lockOut = std::chrono::minutes(15);
};

/// How this server calls others.
struct PeerSettings {
  std::vector<std::string> allowedNetworks;  ///< "192.0.2.0/24"; empty: private, link-local and the machine's own ones
  std::string caFile;                        ///< PEM; "": a certificate is pinned at the first contact
  bool mayUseHttp = false;                   ///< to servers that say that they have no TLS
};

/// The whole configuration, sealed once the server runs. Every member has a default.
struct Settings {
  std::vector<ListenAddress> listen;  ///< empty: every address, at the preference `listening_port`
  std::string pluginDirectory;        ///< "": the one that belongs to the program
  std::string localServerId;          ///< "": the host name
  std::vector<std::string> includeInterfaces;
  std::vector<std::string> excludeInterfaces = utils::LinuxSystem::defaultExcludedInterfaces();
  unsigned int logMask = utils::logging::kDefaultMask;
  std::string logFile;
  bool logToJournal = false;
  std::string stateDirectory;  ///< "": see defaultStateDirectory()
  TlsSettings tls;
  AccessSettings access;
  PeerSettings peers;
  Limits limits;
  std::map<std::string, std::string, std::less<>> preferences;  ///< those that were set, by name, checked
};

}  // namespace host
