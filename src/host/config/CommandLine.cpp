#include "host/config/CommandLine.h"

#include <optional>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/Version.h"
#include "host/config/ConfigFile.h"
#include "host/config/SettingKeys.h"

namespace host {
namespace {

constexpr const char* kFooter =
    "--dump-config writes every key of the configuration with its meaning, unit, default and range.\n"
    "SIGTERM and SIGINT end the server in order, a second one at once; SIGHUP reads the configuration anew.\n"
    "Exit codes: 0 ended in order, 64 wrong command line, 69 cannot listen, 70 internal failure, 78 wrong "
    "configuration.";

/// The options as given.
struct Options {
  std::string configFile;
  std::vector<std::string> listen;
  std::string pluginDirectory;
  std::string logLevel;
  std::vector<std::string> assignments;
  bool dumpConfig = false;
  bool version = false;
};

void declare(CLI::App& app, Options& options) {
  app.name("kvt-server");
  app.footer(kFooter);
  app.add_option("-c,--config", options.configFile, "Configuration file (TOML)");
  app.add_option("-l,--listen", options.listen,
                 "Address and port to listen on, such as [::]:8443 or 0.0.0.0:0; may be given again")
      ->allow_extra_args(false);
  app.add_option("--plugin-dir", options.pluginDirectory, "Directory with the plug-in libraries");
  app.add_option("--set", options.assignments,
                 "Sets one key: SECTION.KEY=VALUE, or KEY=VALUE of [preferences]; may be given again")
      ->allow_extra_args(false);
  app.add_option("--log-level", options.logLevel, "error, warning, info, detail, trace, or a mask such as 0x7f");
  app.add_flag("--dump-config", options.dumpConfig, "Write the effective configuration, explained, and end");
  app.add_flag("--version", options.version, "Write the version and end");
}

Invocation fail(ExitCode code, std::string text) {
  return {Invocation::Action::kFail, code, std::move(text), {}, {}, false};
}
Invocation print(std::string text) {
  return {Invocation::Action::kPrint, kExitOk, std::move(text), {}, {}, false};
}

std::optional<std::string> applyKey(Settings& settings, const char* section, const char* key, const ConfigValue& value,
                                    const char* option) {
  const auto problem = findSettingKey(section, key)->set(settings, value);
  return problem ? std::optional(std::string(option) + ": " + *problem) : std::nullopt;
}

/// "tls.enabled=false", or "enable_multicast=0" for a key of [preferences].
std::optional<std::string> applyAssignment(Settings& settings, const std::string& assignment) {
  const auto equals = assignment.find('=');
  if (equals == std::string::npos) return "--set: \"" + assignment + "\" is not key=value";
  const std::string name = assignment.substr(0, equals);
  const auto dot = name.find('.');
  const std::string section = dot == std::string::npos ? "preferences" : name.substr(0, dot);
  const SettingKey* key = findSettingKey(section, dot == std::string::npos ? name : name.substr(dot + 1));
  if (key == nullptr) return "--set: unknown key \"" + name + "\"; there are " + knownKeys("preferences");
  const auto problem = key->set(settings, assignment.substr(equals + 1));
  return problem ? std::optional("--set: " + *problem) : std::nullopt;
}

/// Puts the options on top of the settings; what is wrong with one of them, if anything.
std::optional<std::string> apply(const Options& options, Settings& settings) {
  std::optional<std::string> problem;
  if (!options.listen.empty()) problem = applyKey(settings, "server", "listen", options.listen, "--listen");
  if (!problem && !options.pluginDirectory.empty()) {
    problem = applyKey(settings, "server", "plugin_dir", options.pluginDirectory, "--plugin-dir");
  }
  if (!problem && !options.logLevel.empty()) {
    problem = applyKey(settings, "log", "level", options.logLevel, "--log-level");
  }
  for (const std::string& assignment : options.assignments) {
    if (!problem) problem = applyAssignment(settings, assignment);
  }
  return problem;
}

Invocation evaluate(const Options& options) {
  if (options.version) return print("kvt-server " + std::string(kVersion) + "\n");
  Invocation invocation;
  invocation.configFile = options.configFile;
  invocation.logLevelGiven = !options.logLevel.empty();
  if (!options.configFile.empty()) {
    auto settings = loadConfig(options.configFile);
    if (!settings) return fail(kExitConfiguration, settings.error());
    invocation.settings = std::move(*settings);
  }
  if (const auto problem = apply(options, invocation.settings)) return fail(kExitUsage, *problem);
  if (options.dumpConfig) return print(dumpConfig(invocation.settings));
  return invocation;
}

}  // namespace

Invocation readCommandLine(int argc, const char* const* argv) {
  CLI::App app("Serves what plug-ins tell of the management servers of a network, and a web page, over HTTPS.");
  Options options;
  declare(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return print(app.help());
  } catch (const CLI::ParseError& error) {
    return fail(kExitUsage, std::string(error.what()) + "\ntry kvt-server --help");
  }
  return evaluate(options);
}

}  // namespace host
