#include "PluginTest.h"
#include "framework/plugins/BasePlugin.h"
#include "plugins/PluginRegistration.h"

namespace plugins {
namespace {

using Registration = PluginRegistration<ServerDiscoveryPluginProxy>;

constexpr const char* kProxyDestructor = "plugins::ServerDiscoveryPluginProxy::~ServerDiscoveryPluginProxy";

const std::vector<http::RestApi>& resources() {
  static const std::vector<http::RestApi> resources = {
      {http::RestApi::GET, "/1.0/servers", false},
      {http::RestApi::GET, "/1.0/servers/{server_id}/operations/discovery", false},
      {http::RestApi::POST, "/1.0/servers/{server_id}/operations/discovery", false},
      {http::RestApi::GET, "/1.0/searchedserver/{tentative_id}", false}};
  return resources;
}

std::size_t registeredCount() {
  return BasePlugin::getRegisteredRestApis().size();
}

struct Version {
  const char* name;
  const char* version;
  std::size_t registered;
};

std::ostream& operator<<(std::ostream& output, const Version& row) {
  return output << row.version;
}

class PluginRegistrationVersions : public testing::TestWithParam<Version> {};

TEST_P(PluginRegistrationVersions, RegistersWithAManagerThatIsNewEnough) {
  const Version& row = GetParam();
  const support::LogCapture log;
  support::ManagerGuard guard(row.version);
  const Registration registration;
  EXPECT_EQ(registeredCount(), row.registered);
  EXPECT_EQ(log.texts(utils::LOG_MISMATCH).empty(), row.registered != 0);
}

INSTANTIATE_TEST_SUITE_P(All, PluginRegistrationVersions,
                         testing::Values(Version{"TheSame", "1.00.00", 4}, Version{"Newer", "1.00.01", 4},
                                         Version{"NewerMajor", "2.00.00", 4}, Version{"Older", "0.99", 0},
                                         Version{"OlderMinor", "0.99.99", 0}, Version{"APrefix", "1.00", 0},
                                         Version{"Longer", "1.00.00.1", 4}, Version{"Nothing", "", 0}),
                         [](const auto& row) { return row.param.name; });

TEST(PluginRegistration, SaysWhichManagerItWouldNeed) {
  const support::LogCapture log;
  support::ManagerGuard guard("0.99");
  const Registration registration;
  EXPECT_THAT(log.texts(utils::LOG_MISMATCH),
              testing::ElementsAre("plugin ServerDiscoveryPlugin-1.00.00 could not be loaded since it requires plugin "
                                   "manager version 1.00.00. currect plugin manager is with version 0.99"));
  EXPECT_EQ(log.count(kProxyDestructor), 1u) << "the probe is all that there was";
}

class NinthPluginProxy : public ServerDiscoveryPluginProxy {
 public:
  using ServerDiscoveryPluginProxy::ServerDiscoveryPluginProxy;
  std::string getRequiredPluginManagerVersion() override { return "9.00.00"; }
};

TEST(PluginRegistration, ComparesVersionsAsTexts) {
  const support::LogCapture log;
  support::ManagerGuard guard("10.00.00");
  const PluginRegistration<NinthPluginProxy> registration;
  EXPECT_EQ(registeredCount(), 0u);
  EXPECT_TRUE(log.has(utils::LOG_MISMATCH,
                      "plugin NinthPlugin-1.00.00 could not be loaded since it requires plugin manager version "
                      "9.00.00. currect plugin manager is with version 10.00.00"));
}

TEST(PluginRegistration, TracesItsBeginningAndItsEnd) {
  const support::LogCapture log;
  support::ManagerGuard guard;
  {
    const Registration registration;
    EXPECT_EQ(log.records().front().level, utils::LOG_TRACE);
    EXPECT_EQ(log.records().front().text,
              "plugins::PluginRegistration<class plugins::ServerDiscoveryPluginProxy>::PluginRegistration");
  }
  EXPECT_TRUE(log.has(utils::LOG_TRACE,
                      "plugins::PluginRegistration<class plugins::ServerDiscoveryPluginProxy>::~PluginRegistration"));
}

TEST(PluginRegistration, RegistersAProxyOfItsOwnForEachResource) {
  support::ManagerGuard guard;
  const Registration registration;
  std::vector<BasePluginProxy*> proxies;
  for (const http::RestApi& api : resources()) {
    const auto entry = BasePlugin::getRegisteredRestApis().find(api);
    ASSERT_NE(entry, BasePlugin::getRegisteredRestApis().end()) << api.to_string();
    EXPECT_EQ(entry->second->getSupportedRestApis(), resources());
    EXPECT_EQ(entry->second->getPluginManager(), &guard.manager());
    proxies.push_back(entry->second);
  }
  std::sort(proxies.begin(), proxies.end());
  EXPECT_EQ(std::adjacent_find(proxies.begin(), proxies.end()), proxies.end());
}

TEST(PluginRegistration, TakesNothingBack) {
  support::ManagerGuard guard;
  { const Registration registration; }
  EXPECT_EQ(registeredCount(), 4u);
}

TEST(PluginRegistration, DeletesAProxyThatTheManagerRefusesAndGoesOn) {
  const support::LogCapture log;
  support::ManagerGuard guard;
  support::FakePlugin other;
  other.serve(resources()[1], [](const support::Request&, json::Object&) { return http::HTTPCommand::HTTP_OK; });
  const Registration registration;
  EXPECT_EQ(registeredCount(), 4u) << "three of ours and the other's";
  EXPECT_EQ(log.count(kProxyDestructor), 2u) << "the probe and the refused one";
}

TEST(PluginRegistration, RegistersNothingWithoutAManager) {
  launcher::PluginManager* const before = launcher::PluginManager::set_instance(nullptr);
  { const Registration registration; }
  launcher::PluginManager::set_instance(before);
  EXPECT_EQ(registeredCount(), 0u);
}

class ThrowingProxy : public ServerDiscoveryPluginProxy {
 public:
  explicit ThrowingProxy(const launcher::PluginManager* manager) : ServerDiscoveryPluginProxy(manager) {
    throw std::runtime_error("no memory");
  }
};

TEST(PluginRegistration, LetsNothingOutWhileALibraryIsBeingLoaded) {
  const support::LogCapture log;
  support::ManagerGuard guard;
  const PluginRegistration<ThrowingProxy> registration;
  EXPECT_EQ(registeredCount(), 0u);
  EXPECT_TRUE(log.has(utils::LOG_ERROR, "PluginRegistration:PluginRegistration:exception caught:no memory"));
}

}  // namespace
}  // namespace plugins
