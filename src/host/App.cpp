#include "host/App.h"

#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "framework/utils/LinuxSystem.h"
#include "framework/utils/Log.h"
#include "host/ExitCodes.h"
#include "host/Server.h"
#include "host/Signals.h"
#include "host/Version.h"
#include "host/config/CommandLine.h"
#include "host/config/ConfigFile.h"
#include "host/config/LogLevel.h"
#include "host/net/Address.h"

namespace host {
namespace {

namespace fs = std::filesystem;

/// Well beyond the two seconds that an end in order takes.
constexpr std::chrono::seconds kLongestEnd{10};
constexpr const char* kPluginFolder = "lib/kvt-server";

int fail(ExitCode code, const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::cerr << "kvt-server: " << line << '\n';
  }
  return code;
}

/// "<prefix>/lib/kvt-server" for the program "<prefix>/bin/kvt-server".
std::string defaultPluginDirectory() {
  std::error_code ignored;
  const fs::path program = fs::read_symlink("/proc/self/exe", ignored);
  return (program.parent_path().parent_path() / kPluginFolder).string();
}

/// The machine as the settings show it, in place of the default one.
class ConfiguredSystem {
 public:
  explicit ConfiguredSystem(const Settings& settings)
      : mSystem({settings.localServerId, settings.includeInterfaces, settings.excludeInterfaces}) {
    utils::System::set_instance(&mSystem);
  }
  ~ConfiguredSystem() { utils::System::set_instance(nullptr); }
  ConfiguredSystem(const ConfiguredSystem&) = delete;
  ConfiguredSystem& operator=(const ConfiguredSystem&) = delete;

 private:
  utils::LinuxSystem mSystem;
};

/// The address under which a browser on the network reaches an endpoint.
std::string reachableAddress(const Endpoint& endpoint) {
  if (endpoint.address != "::" && endpoint.address != "0.0.0.0") return endpoint.address;
  std::string address;
  utils::System::get_instance()->getLocalIPAddress(address);
  return address.empty() ? "127.0.0.1" : address;
}

/// One line that says where the server is and what it serves.
void announce(const std::vector<Endpoint>& endpoints, const std::vector<PluginInfo>& plugins) {
  std::ostringstream line;
  line << "kvt-server " << kVersion << " listens on ";
  const char* separator = "";
  for (const Endpoint& endpoint : endpoints) {
    line << separator << bracketed(endpoint.address) << ':' << endpoint.port;
    separator = ", ";
  }
  const Endpoint& first = endpoints.front();
  line << "; open " << first.scheme << "://" << bracketed(reachableAddress(first)) << ':' << first.port
       << "/1.0/servers; plug-ins: " << (plugins.empty() ? "none" : "");
  separator = "";
  for (const PluginInfo& plugin : plugins) {
    line << separator << plugin.name << ' ' << plugin.version << " (" << plugin.file << ')';
    separator = ", ";
  }
  std::cout << line.str() << std::endl;
}

/// A configuration that cannot be read changes nothing.
void reloadLogLevel(const Invocation& invocation) {
  if (invocation.configFile.empty()) {
    utils::logging::write(utils::LOG_FAILURE, "SIGHUP: there is no configuration file to read anew");
    return;
  }
  if (invocation.logLevelGiven) {
    utils::logging::write(utils::LOG_FAILURE, "SIGHUP: the log level stays as the command line has set it");
    return;
  }
  const auto settings = loadConfig(invocation.configFile);
  if (!settings) {
    utils::logging::write(utils::LOG_ERROR, "SIGHUP: nothing was changed: " + settings.error());
    return;
  }
  utils::logging::setMask(settings->logMask);
  utils::logging::write(utils::LOG_DETAIL, "SIGHUP: the log level is " + logLevelName(settings->logMask));
}

void serveUntilSignalled(const Invocation& invocation) {
  while (signals::wait() == SIGHUP) {
    reloadLogLevel(invocation);
  }
  signals::limitTheEnd(kLongestEnd);
}

int serve(const Invocation& invocation) {
  const Settings& settings = invocation.settings;
  const bool named = !settings.pluginDirectory.empty();
  const std::string directory = named ? settings.pluginDirectory : defaultPluginDirectory();
  std::error_code ignored;
  if (named && !fs::is_directory(directory, ignored)) {
    return fail(kExitConfiguration, "there is no plug-in directory " + directory);
  }
  utils::logging::setMask(settings.logMask);
  if (!settings.logFile.empty() && !utils::logging::setFile(settings.logFile)) {
    return fail(kExitConfiguration, "the log file " + settings.logFile + " cannot be opened for writing");
  }
  const ConfiguredSystem system(settings);
  Server server(settings);
  const auto endpoints = server.listen();
  if (!endpoints) return fail(kExitUnavailable, endpoints.error());
  server.start(directory);
  announce(*endpoints, server.plugins());
  serveUntilSignalled(invocation);
  server.stop();
  return kExitOk;
}

}  // namespace

int runServer(int argc, const char* const* argv) {
  try {
    const Invocation invocation = readCommandLine(argc, argv);
    if (invocation.action == Invocation::Action::kFail) return fail(invocation.exitCode, invocation.text);
    if (invocation.action == Invocation::Action::kServe) {
      signals::block();
      return serve(invocation);
    }
    std::cout << invocation.text << std::flush;
    return kExitOk;
  } catch (const std::exception& error) {
    return fail(kExitInternal, error.what());
  }
}

}  // namespace host
