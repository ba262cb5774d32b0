#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "framework/utils/LinuxSystem.h"
#include "framework/utils/Log.h"
#include "host/config/ListenAddress.h"

namespace host {

/// Bounds on what clients may take. `settingKeys()` says what each means and how far it may go.
struct Limits {
  unsigned int connections = 256;
  unsigned int headerBytes = 16 * 1024;
  unsigned int bodyBytes = 1024 * 1024;
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

/// The whole configuration, sealed once the server runs. Every member has a default.
struct Settings {
  std::vector<ListenAddress> listen;  ///< empty: every address, at the preference `listening_port`
  std::string pluginDirectory;        ///< "": the one that belongs to the program
  std::string localServerId;          ///< "": the host name
  std::vector<std::string> includeInterfaces;
  std::vector<std::string> excludeInterfaces = utils::LinuxSystem::defaultExcludedInterfaces();
  unsigned int logMask = utils::logging::kDefaultMask;
  std::string logFile;
  Limits limits;
  std::map<std::string, std::string, std::less<>> preferences;  ///< those that were set, by name, checked
};

}  // namespace host
