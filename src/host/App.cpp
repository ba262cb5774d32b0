#include "host/App.h"

#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "framework/launcher/Preferences.h"
#include "framework/utils/LinuxSystem.h"
#include "framework/utils/Log.h"
#include "host/ExitCodes.h"
#include "host/Server.h"
#include "host/Signals.h"
#include "host/Version.h"
#include "host/config/CommandLine.h"
#include "host/config/LogLevel.h"
#include "host/http/Translate.h"
#include "host/net/Address.h"
#include "host/service/Notification.h"
#include "host/service/Reload.h"

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

/// What the paths of this server begin with.
std::string uriPath() {
  return std::string(pathOfPrefix(launcher::Preferences::get_instance()->get_uri_prefix()));
}

/// The page of this server as a browser on this machine opens it, which may make the first account.
std::string localPage(const Endpoint& endpoint) {
  const bool isEverywhere = endpoint.address == "::" || endpoint.address == "0.0.0.0";
  return endpoint.scheme + "://" + (isEverywhere ? "127.0.0.1" : bracketed(endpoint.address)) + ':' +
         std::to_string(endpoint.port) + uriPath() + '/';
}

/// One line that says where the server is and what it serves, and one more when nobody can use it yet.
void announce(const std::vector<Endpoint>& endpoints, const std::vector<PluginInfo>& plugins, bool needsAccount) {
  std::ostringstream line;
  line << "kvt-server " << kVersion << " listens on ";
  const char* separator = "";
  for (const Endpoint& endpoint : endpoints) {
    line << separator << bracketed(endpoint.address) << ':' << endpoint.port;
    separator = ", ";
  }
  const Endpoint& first = endpoints.front();
  line << "; open " << first.scheme << "://" << bracketed(reachableAddress(first)) << ':' << first.port << uriPath()
       << "/; plug-ins: " << (plugins.empty() ? "none" : "");
  separator = "";
  for (const PluginInfo& plugin : plugins) {
    line << separator << plugin.name << ' ' << plugin.version << " (" << plugin.file << ')';
    separator = ", ";
  }
  if (needsAccount) {
    line << "\nThere is no account yet: open " << localPage(first)
         << " on this machine, or run: kvtctl user add NAME --role operator";
  }
  std::cout << line.str() << std::endl;
}

/// "listens on [::]:8443; 1 plug-in", for the service manager.
std::string statusLine(const std::vector<Endpoint>& endpoints, std::size_t plugins) {
  std::string line = "listens on ";
  for (const Endpoint& endpoint : endpoints) {
    if (&endpoint != &endpoints.front()) line += ", ";
    line += bracketed(endpoint.address) + ':' + std::to_string(endpoint.port);
  }
  return line + "; plug-ins: " + std::to_string(plugins);
}

/// The arguments of the process: they and the file that they name are the settings.
struct CommandLine {
  int count;
  const char* const* texts;
};

/// Reads the settings anew and has the parts of the server take them on: all of them, or nothing.
void reread(const CommandLine& line, Reload& reload) {
  const Invocation invocation = readCommandLine(line.count, line.texts);
  if (invocation.action != Invocation::Action::kServe) {
    return utils::logging::write(utils::LOG_ERROR, "SIGHUP: nothing was changed: " + invocation.text);
  }
  const auto left = reload.apply(invocation.settings);
  if (!left) return utils::logging::write(utils::LOG_ERROR, "SIGHUP: nothing was changed: " + left.error());
  if (invocation.logLevelGiven) {
    utils::logging::write(utils::LOG_FAILURE, "SIGHUP: the log level stays as the command line has set it");
  }
  std::string names;
  for (const std::string& key : *left) {
    names += (names.empty() ? "" : ", ") + key;
  }
  if (!names.empty()) {
    utils::logging::write(utils::LOG_FAILURE, "SIGHUP: changed, but to be had at the next start only: " + names);
  }
  utils::logging::write(utils::LOG_DETAIL,
                        "SIGHUP: read anew; the log level is " + logLevelName(invocation.settings.logMask));
}

void serveUntilSignalled(const CommandLine& line, Reload& reload, const std::string& status) {
  notification::ready(status);
  while (signals::wait() == SIGHUP) {
    notification::reloading();
    reread(line, reload);
    notification::ready(status);
  }
  notification::stopping();
  signals::limitTheEnd(kLongestEnd);
}

/// What is wrong with where the log is to go, if anything.
std::optional<std::string> openLog(const Settings& settings) {
  utils::logging::setMask(settings.logMask);
  if (!settings.logFile.empty() && !utils::logging::setFile(settings.logFile)) {
    return "the log file " + settings.logFile + " cannot be opened for writing";
  }
  if (!settings.logToJournal) return std::nullopt;
  if (utils::logging::setJournal("kvt-server")) {
    utils::logging::setConsole(false);
  } else {
    utils::logging::write(utils::LOG_FAILURE, "no journal listens here, so the log goes to the console");
  }
  return std::nullopt;
}

int serve(const Invocation& invocation, const CommandLine& line) {
  const Settings& settings = invocation.settings;
  const bool named = !settings.pluginDirectory.empty();
  const std::string directory = named ? settings.pluginDirectory : defaultPluginDirectory();
  std::error_code ignored;
  if (named && !fs::is_directory(directory, ignored)) {
    return fail(kExitConfiguration, "there is no plug-in directory " + directory);
  }
  if (const auto problem = openLog(settings)) return fail(kExitConfiguration, *problem);
  const ConfiguredSystem system(settings);
  Server server(settings);
  const auto endpoints = server.listen();
  if (!endpoints) return fail(kExitUnavailable, endpoints.error());
  server.start(directory);
  announce(*endpoints, server.plugins(), server.security().needsAccount());
  Reload reload(settings);
  addLogTo(reload);
  reload.add({"access"}, [&server](const Settings& changed) -> Result<Reload::Commit> {
    return Reload::Commit([&server, access = changed.access] { server.security().reload(access); });
  });
  reload.add({"peers"}, [&server](const Settings& changed) { return server.peers().prepare(changed.peers); });
  if (TlsContext* tls = server.tls()) {
    reload.add({"tls.certificate", "tls.key", "tls.minimum_version"},
               [tls](const Settings& changed) { return tls->prepare(changed.tls); });
  }
  serveUntilSignalled(line, reload, statusLine(*endpoints, server.plugins().size()));
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
      return serve(invocation, {argc, argv});
    }
    std::cout << invocation.text << std::flush;
    return kExitOk;
  } catch (const ConfigurationError& error) {
    return fail(kExitConfiguration, error.what());
  } catch (const std::exception& error) {
    return fail(kExitInternal, error.what());
  }
}

}  // namespace host
