#include <cstdio>
#include <fstream>

#include <gtest/gtest.h>

#include "framework/launcher/Preferences.h"
#include "host/Version.h"
#include "host/config/CommandLine.h"
#include "host/config/ConfigFile.h"
#include "host/config/LogLevel.h"
#include "host/config/SettingKeys.h"

namespace {

using host::Invocation;
using host::ListenAddress;
using host::readConfig;
using host::Settings;
using std::chrono::milliseconds;

/// A file that is gone after the test.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& text) : mPath(testing::TempDir() + "kvt-config-" + name() + ".toml") {
    std::ofstream(mPath) << text;
  }
  ~TemporaryFile() { std::remove(mPath.c_str()); }
  const std::string& path() const { return mPath; }

 private:
  static std::string name() { return testing::UnitTest::GetInstance()->current_test_info()->name(); }
  std::string mPath;
};

Invocation invoke(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "kvt-server");
  return host::readCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST(Config, EmptyMeansDefaults) {
  const auto settings = readConfig("", "f");
  ASSERT_TRUE(settings);
  EXPECT_TRUE(settings->listen.empty());
  EXPECT_EQ(settings->logMask, utils::logging::kDefaultMask);
  EXPECT_EQ(settings->excludeInterfaces, utils::LinuxSystem::defaultExcludedInterfaces());
  EXPECT_EQ(settings->limits.headerBytes, 16U * 1024);
  EXPECT_EQ(settings->limits.bodyBytes, 64U * 1024);
  EXPECT_TRUE(settings->preferences.empty());
}

TEST(Config, ReadsEveryKindOfKey) {
  const auto settings = readConfig(R"(
[server]
listen = ["*:8443", "[::1]:9000"]
plugin_dir = "/plugins"
local_server_id = "server-1.example_x"
[network]
include_interfaces = ["eth*", "lan0"]
exclude_interfaces = []
[log]
level = "detail"
file = "/tmp/x.log"
[limits]
connections = 10
idle_timeout = "2m"
request_timeout = 1500
[preferences]
slp_find_service_interval = "45s"
slp_find_service_strictness = 2
enable_multicast = false
uri_prefix = "/kvt"
listening_port = 8444
nat_details = "192.0.2.9"
ip_change_polling_interval = 2000
max_processing_threads_count = 4
installation_type = 1
installation_oem_type = 3
)",
                                   "f");
  ASSERT_TRUE(settings) << settings.error();
  EXPECT_EQ(settings->listen, (std::vector<ListenAddress>{{"", 8443}, {"::1", 9000}}));
  EXPECT_EQ(settings->pluginDirectory, "/plugins");
  EXPECT_EQ(settings->localServerId, "server-1.example_x");
  EXPECT_EQ(settings->includeInterfaces, (std::vector<std::string>{"eth*", "lan0"}));
  EXPECT_TRUE(settings->excludeInterfaces.empty());
  EXPECT_EQ(settings->logMask, 0x3FU);
  EXPECT_EQ(settings->logFile, "/tmp/x.log");
  EXPECT_EQ(settings->limits.connections, 10U);
  EXPECT_EQ(settings->limits.idleTimeout, milliseconds(120'000));
  EXPECT_EQ(settings->limits.requestTimeout, milliseconds(1500));
  EXPECT_EQ(settings->preferences.size(), 10U);
  EXPECT_EQ(settings->preferences.at("slp_find_service_interval"), "45000");
  EXPECT_EQ(settings->preferences.at("enable_multicast"), "0");
  EXPECT_EQ(settings->preferences.at("uri_prefix"), "/kvt");
}

struct Mistake {
  const char* name;
  const char* text;
  const char* error;  ///< its beginning
};

class Mistakes : public testing::TestWithParam<Mistake> {};

TEST_P(Mistakes, AreNamedWithFileLineAndKey) {
  const auto settings = readConfig(GetParam().text, "/etc/kvt.toml");
  ASSERT_FALSE(settings);
  EXPECT_TRUE(settings.error().starts_with(GetParam().error)) << settings.error();
}

INSTANTIATE_TEST_SUITE_P(
    Config, Mistakes,
    testing::Values(
        Mistake{"UnknownKey", "[server]\n\nlisten_on = \"*:1\"",
                "/etc/kvt.toml:3: server.listen_on: unknown; [server] has listen, plugin_dir, local_server_id"},
        Mistake{"UnknownSection", "[servers]\n",
                "/etc/kvt.toml:1: servers: unknown; there are the sections server, network, log, tls, access, peers, "
                "limits, preferences"},
        Mistake{"KeyOutsideOfASection", "listen = \"*:1\"", "/etc/kvt.toml:1: listen: unknown; there are the sections"},
        Mistake{"SectionThatIsAValue", "log = 3", "/etc/kvt.toml:1: log: is a section: write [log]"},
        Mistake{"Syntax", "[log]\nlevel = \n", "/etc/kvt.toml:2: "},
        Mistake{"TwiceTheSame", "[log]\nfile = \"a\"\nfile = \"b\"", "/etc/kvt.toml:3: "},
        Mistake{"NoAddress", "[server]\nlisten = \"nowhere\"",
                "/etc/kvt.toml:2: server.listen: \"nowhere\" is not an address and port"},
        Mistake{"AddressOfAnotherKind", "[server]\nlisten = 8443", "/etc/kvt.toml:2: server.listen: takes an address"},
        Mistake{"TextThatIsANumber", "[server]\nplugin_dir = 1", "/etc/kvt.toml:2: server.plugin_dir: takes a text"},
        Mistake{"IdentifierInCapitals", "[server]\nlocal_server_id = \"Server\"",
                "/etc/kvt.toml:2: server.local_server_id: \"Server\" is no identifier"},
        Mistake{"ListThatIsAText", "[network]\ninclude_interfaces = \"eth0\"",
                "/etc/kvt.toml:2: network.include_interfaces: takes a list"},
        Mistake{"ListOfNumbers", "[network]\ninclude_interfaces = [1]",
                "/etc/kvt.toml:2: network.include_interfaces: takes a number, a text"},
        Mistake{"Level", "[log]\nlevel = \"loud\"", "/etc/kvt.toml:2: log.level: \"loud\" is no log level"},
        Mistake{"LevelTooHigh", "[log]\nlevel = 256", "/etc/kvt.toml:2: log.level: \"256\" is no log level"},
        Mistake{"LimitTooLow", "[limits]\nconnections = 0",
                "/etc/kvt.toml:2: limits.connections: 0 is not between 1 and 65536"},
        Mistake{"LimitTooHigh", "[limits]\nread_threads = 1000",
                "/etc/kvt.toml:2: limits.read_threads: 1000 is not between 1 and 64"},
        Mistake{"LimitNegative", "[limits]\nidle_timeout = -1",
                "/etc/kvt.toml:2: limits.idle_timeout: -1 is not between 100 and 3600000"},
        Mistake{"LimitAsText", "[limits]\nconnections = \"many\"",
                "/etc/kvt.toml:2: limits.connections: takes a number"},
        Mistake{"IntervalThatIsNone", "[limits]\nidle_timeout = \"soon\"",
                "/etc/kvt.toml:2: limits.idle_timeout: \"soon\" is no interval"},
        Mistake{"FloatingPoint", "[limits]\nconnections = 1.5", "/etc/kvt.toml:2: limits.connections: takes a number"},
        Mistake{"Date", "[log]\nfile = 2020-01-01", "/etc/kvt.toml:2: log.file: takes a number, a text"},
        Mistake{"UnknownPreference", "[preferences]\nslp_interval = 1",
                "/etc/kvt.toml:2: preferences.slp_interval: unknown; [preferences] has "},
        Mistake{"PreferenceOutOfRange", "[preferences]\nslp_find_service_strictness = 3",
                "/etc/kvt.toml:2: preferences.slp_find_service_strictness: "},
        Mistake{"PreferenceList", "[preferences]\nnat_details = [\"a\"]",
                "/etc/kvt.toml:2: preferences.nat_details: takes one value"}),
    [](const auto& tested) { return tested.param.name; });

TEST(Config, NamesEveryMistakeAtOnce) {
  const auto settings = readConfig("[log]\nlevel = \"loud\"\n[limits]\nconnections = 0\n", "f");
  ASSERT_FALSE(settings);
  for (const char* start : {"f:2: log.level: ", "f:4: limits.connections: "}) {
    EXPECT_NE(("\n" + settings.error()).find("\n" + std::string(start)), std::string::npos) << settings.error();
  }
}

TEST(Config, ExplainsEveryKeyWithItsDefaultAndEveryNumberWithItsRange) {
  for (const auto& key : host::settingKeys()) {
    EXPECT_NE(key.meaning.find("Default"), std::string::npos) << key.section << "." << key.name;
    if (key.section == "limits") {
      EXPECT_NE(key.meaning.find(", range "), std::string::npos) << key.name;
    }
  }
}

TEST(Config, KnowsEveryPreference) {
  for (const auto& setting : launcher::Preferences::settings()) {
    EXPECT_NE(host::findSettingKey("preferences", setting.name), nullptr) << setting.name;
  }
  EXPECT_EQ(launcher::Preferences::settings().size(), 10U);
}

TEST(Config, ReadsBackWhatItDumps) {
  const auto settings = readConfig(R"(
[server]
listen = ["[::1]:9000"]
plugin_dir = 'a "quoted" \ path'
[log]
level = 0x2b
[limits]
write_timeout = "7s"
[preferences]
nat_details = "10.0.0.1,10.0.0.2"
slp_find_service_interval = "45s"
)",
                                   "f");
  ASSERT_TRUE(settings) << settings.error();
  const std::string dump = host::dumpConfig(*settings);
  const auto again = readConfig(dump, "dump");
  ASSERT_TRUE(again) << again.error() << "\n" << dump;
  EXPECT_EQ(host::dumpConfig(*again), dump);
  EXPECT_EQ(again->listen, settings->listen);
  EXPECT_EQ(again->pluginDirectory, "a \"quoted\" \\ path");
  EXPECT_EQ(again->logMask, 0x2BU);
  EXPECT_EQ(again->limits.writeTimeout, milliseconds(7000));
  EXPECT_EQ(again->preferences.at("nat_details"), "10.0.0.1,10.0.0.2");
  EXPECT_EQ(again->preferences.at("slp_find_service_interval"), "45000");
}

TEST(Config, DumpsDefaultsThatReadBack) {
  const std::string dump = host::dumpConfig(Settings());
  const auto again = readConfig(dump, "dump");
  ASSERT_TRUE(again) << again.error() << "\n" << dump;
  EXPECT_EQ(host::dumpConfig(*again), dump);
  for (std::size_t begin = 0; begin < dump.size();) {
    const auto end = dump.find('\n', begin);
    EXPECT_LE(end - begin, 200U) << dump.substr(begin, end - begin);
    begin = end + 1;
  }
}

TEST(Config, SaysThatAFileIsMissing) {
  const auto settings = host::loadConfig("/no/such/file.toml");
  ASSERT_FALSE(settings);
  EXPECT_EQ(settings.error(), "/no/such/file.toml: cannot be opened: No such file or directory");
}

TEST(Config, RefusesADirectoryAndAFileThatIsTooLarge) {
  EXPECT_FALSE(host::loadConfig(testing::TempDir()));
  const TemporaryFile file(std::string(1024 * 1024 + 1, '#'));
  const auto settings = host::loadConfig(file.path());
  ASSERT_FALSE(settings);
  EXPECT_NE(settings.error().find("larger than 1 MiB"), std::string::npos);
}

TEST(LogLevel, HasNamesThatIncludeOneAnother) {
  unsigned int before = 0;
  for (const char* name : {"error", "warning", "info", "detail", "trace"}) {
    const auto mask = host::parseLogLevel(name);
    ASSERT_TRUE(mask) << name;
    EXPECT_EQ(*mask & before, before) << name;
    EXPECT_GT(*mask, before) << name;
    EXPECT_EQ(host::logLevelName(*mask), name);
    before = *mask;
  }
  EXPECT_EQ(*host::parseLogLevel("warning"), utils::logging::kDefaultMask);
}

TEST(LogLevel, TakesAMask) {
  EXPECT_EQ(*host::parseLogLevel("0"), 0U);
  EXPECT_EQ(*host::parseLogLevel("255"), 255U);
  EXPECT_EQ(*host::parseLogLevel("0x7f"), 0x7FU);
  EXPECT_EQ(host::logLevelName(0x2B), "0x2b");
  for (const char* text : {"", "256", "-1", "0x100", "0x", "Error", "1 "}) {
    EXPECT_FALSE(host::parseLogLevel(text)) << text;
  }
}

TEST(CommandLine, ServesByDefault) {
  const auto invocation = invoke({});
  EXPECT_EQ(invocation.action, Invocation::Action::kServe);
  EXPECT_EQ(invocation.configFile, "");
}

TEST(CommandLine, GoesOnTopOfTheFile) {
  const TemporaryFile file(
      "[server]\nlisten = \"*:1\"\nplugin_dir = \"/a\"\n[log]\nlevel = \"error\"\n"
      "[preferences]\nuri_prefix = \"/file\"\nnat_details = \"10.0.0.1\"\n");
  const auto invocation =
      invoke({"--config", file.path().c_str(), "--listen", "[::1]:2", "--listen", "127.0.0.1:3", "--plugin-dir", "/b",
              "--set", "uri_prefix=/line=x", "--set", "slp_find_service_interval=5m", "--log-level", "trace"});
  ASSERT_EQ(invocation.action, Invocation::Action::kServe) << invocation.text;
  EXPECT_EQ(invocation.configFile, file.path());
  EXPECT_EQ(invocation.settings.listen, (std::vector<ListenAddress>{{"::1", 2}, {"127.0.0.1", 3}}));
  EXPECT_EQ(invocation.settings.pluginDirectory, "/b");
  EXPECT_EQ(invocation.settings.logMask, 0x7FU);
  EXPECT_EQ(invocation.settings.preferences.at("uri_prefix"), "/line=x");
  EXPECT_EQ(invocation.settings.preferences.at("nat_details"), "10.0.0.1");
  EXPECT_EQ(invocation.settings.preferences.at("slp_find_service_interval"), "300000");
}

TEST(CommandLine, TellsVersionAndHelp) {
  const auto version = invoke({"--version"});
  EXPECT_EQ(version.action, Invocation::Action::kPrint);
  EXPECT_EQ(version.text, "kvt-server " + std::string(host::kVersion) + "\n");
  const auto help = invoke({"--help"});
  EXPECT_EQ(help.action, Invocation::Action::kPrint);
  for (const char* word :
       {"--config", "--listen", "--plugin-dir", "--set", "--log-level", "--dump-config", "SIGHUP", "Exit codes"}) {
    EXPECT_NE(help.text.find(word), std::string::npos) << word;
  }
}

TEST(CommandLine, DumpsTheEffectiveConfiguration) {
  const auto dump = invoke({"--set", "slp_find_service_interval=45s", "--dump-config"});
  EXPECT_EQ(dump.action, Invocation::Action::kPrint);
  EXPECT_NE(dump.text.find("\nslp_find_service_interval = 45000\n"), std::string::npos);
}

struct Wrong {
  const char* name;
  std::vector<const char*> arguments;
  host::ExitCode code;
  const char* text;  ///< a part of what is said
};

class WrongCommandLines : public testing::TestWithParam<Wrong> {};

TEST_P(WrongCommandLines, AreExplained) {
  const auto invocation = invoke(GetParam().arguments);
  EXPECT_EQ(invocation.action, Invocation::Action::kFail);
  EXPECT_EQ(invocation.exitCode, GetParam().code);
  EXPECT_NE(invocation.text.find(GetParam().text), std::string::npos) << invocation.text;
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, WrongCommandLines,
    testing::Values(
        Wrong{"UnknownOption", {"--surplus"}, host::kExitUsage, "--surplus"},
        Wrong{"UnknownArgument", {"surplus"}, host::kExitUsage, "surplus"},
        Wrong{"MissingValue", {"--listen"}, host::kExitUsage, "--listen"},
        Wrong{"NoAddress", {"--listen", "nowhere"}, host::kExitUsage, "--listen: \"nowhere\" is not an address"},
        Wrong{"UnknownKey", {"--set", "x=1"}, host::kExitUsage, "--set: unknown key \"x\"; there are listening_port, "},
        Wrong{"NoAssignment", {"--set", "uri_prefix"}, host::kExitUsage, "--set: \"uri_prefix\" is not key=value"},
        Wrong{"BadValue", {"--set", "listening_port=many"}, host::kExitUsage, "--set: setting \"listening_port\""},
        Wrong{"BadLevel", {"--log-level", "loud"}, host::kExitUsage, "--log-level: \"loud\" is no log level"},
        Wrong{"NoFile", {"--config", "/no/such.toml"}, host::kExitConfiguration, "/no/such.toml: cannot be opened"}),
    [](const auto& tested) { return tested.param.name; });

TEST(CommandLine, TellsTheFilesMistakes) {
  const TemporaryFile file("[log]\nlevel = \"loud\"\n");
  const auto invocation = invoke({"--config", file.path().c_str()});
  EXPECT_EQ(invocation.exitCode, host::kExitConfiguration);
  EXPECT_TRUE(invocation.text.starts_with(file.path() + ":2: log.level: ")) << invocation.text;
}

}  // namespace
