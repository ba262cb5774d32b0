#include <algorithm>
#include <set>
#include <thread>

#include "PluginTest.h"
#include "framework/http/Command.h"
#include "plugins/ServerDiscoveryPlugin.h"
#include "plugins/ServerDiscoveryPluginProxy.h"

namespace plugins {
namespace {

constexpr const char* kPluginDestructor = "plugins::ServerDiscoveryPlugin::~ServerDiscoveryPlugin";
constexpr const char* kMonitorsEnd = "plugins::ServerDiscoveryPlugin::startIPChangeMonitorThread: exit";
constexpr const char* kDeregistration = "plugins::ServerDiscoveryPlugin::deRegisterServiceDiscovery";

class ServerDiscoveryPluginProxyTest : public PluginTest {
 protected:
  void startUp() { proxy.startup(launcher::Preferences::get_instance(), &managerGuard.manager()); }

  ServerDiscoveryPluginProxy proxy{&managerGuard.manager()};
};

TEST_F(ServerDiscoveryPluginProxyTest, TellsWhatItIs) {
  EXPECT_EQ(proxy.getPluginName(), "ServerDiscoveryPlugin");
  EXPECT_EQ(proxy.getPluginID(), 2);
  EXPECT_EQ(proxy.getPluginVersion(), "1.00.00");
  EXPECT_EQ(proxy.getRequiredPluginManagerVersion(), "1.00.00");
  EXPECT_EQ(proxy.getPluginType(), 2);
  EXPECT_EQ(proxy.getPluginLoadOrder(), 300);
  EXPECT_EQ(proxy.getPluginManager(), &managerGuard.manager());
}

TEST_F(ServerDiscoveryPluginProxyTest, OffersFourResourcesAndNeedsNone) {
  const std::vector<http::RestApi> expected = {
      {http::RestApi::GET, "/1.0/servers", false},
      {http::RestApi::GET, "/1.0/servers/{server_id}/operations/discovery", false},
      {http::RestApi::POST, "/1.0/servers/{server_id}/operations/discovery", false},
      {http::RestApi::GET, "/1.0/searchedserver/{tentative_id}", false}};
  EXPECT_EQ(proxy.getSupportedRestApis(), expected);
  EXPECT_TRUE(proxy.getRequiredRestApis().empty());
}

TEST_F(ServerDiscoveryPluginProxyTest, MakesIndependentObjectsFromSeveralThreads) {
  constexpr int kThreads = 8;
  std::vector<http::Command> commands(kThreads);
  std::vector<std::unique_ptr<BasePlugin>> made(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([this, i, &commands, &made] { made[i].reset(proxy.createPlugin(&commands[i])); });
  }
  for (std::thread& thread : threads)
    thread.join();
  std::set<BasePlugin*> distinct;
  for (const auto& plugin : made)
    distinct.insert(plugin.get());
  EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kThreads));
  EXPECT_EQ(distinct.count(nullptr), 0u);
}

TEST_F(ServerDiscoveryPluginProxyTest, OnlyLogsAShutdownWithoutAStartup) {
  log.clear();
  proxy.shutdown();
  EXPECT_THAT(log.texts(utils::LOG_DETAIL), testing::ElementsAre("ServerDiscoveryPlugin shutdown"));
  EXPECT_FALSE(state().stopMonitor);
  EXPECT_FALSE(log.contains(kDeregistration));
}

TEST_F(ServerDiscoveryPluginProxyTest, MakesTheServiceObjectAtStartup) {
  EXPECT_EQ(state().servicePlugin(), nullptr);
  startUp();
  EXPECT_NE(state().servicePlugin(), nullptr);
  EXPECT_TRUE(log.contains("plugins::ServerDiscoveryPlugin::registerServiceDiscovery"));
  proxy.shutdown();
}

TEST_F(ServerDiscoveryPluginProxyTest, DoesNotCallTheBaseAtStartup) {
  const launcher::PluginManager other;
  proxy.startup(launcher::Preferences::get_instance(), &other);
  EXPECT_EQ(proxy.getPluginManager(), &managerGuard.manager());
  proxy.shutdown();
}

TEST_F(ServerDiscoveryPluginProxyTest, DeletesTheServiceObjectAtShutdown) {
  startUp();
  log.clear();
  proxy.shutdown();
  EXPECT_EQ(log.count(kPluginDestructor), 1u);
  EXPECT_EQ(state().servicePlugin(), nullptr);
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "ServerDiscoveryPlugin shutdown"));
}

TEST_F(ServerDiscoveryPluginProxyTest, LeavesTheRegistrationWhenThereIsNoMonitor) {
  preferences.set("installation_oem_type", "3");
  startUp();
  ASSERT_EQ(state().monitor, nullptr);
  proxy.shutdown();
  EXPECT_FALSE(log.contains(kDeregistration));
  EXPECT_THAT(slp.deregistrations(), testing::IsEmpty());
}

TEST_F(ServerDiscoveryPluginProxyTest, NeverSetsTheStopFlagBack) {
  startUp();
  EXPECT_FALSE(state().stopMonitor);
  proxy.shutdown();
  EXPECT_TRUE(state().stopMonitor);
  startUp();
  EXPECT_TRUE(state().stopMonitor);
  proxy.shutdown();
}

TEST_F(ServerDiscoveryPluginProxyTest, ReplacesTheServiceObjectAtEachStartup) {
  startUp();
  ServerDiscoveryPlugin* const first = state().servicePlugin();
  startUp();
  EXPECT_NE(state().servicePlugin(), first);
  log.clear();
  proxy.shutdown();
  EXPECT_EQ(log.count(kPluginDestructor), 2u) << "both are gone";
  EXPECT_EQ(state().servicePlugin(), nullptr);
}

TEST_F(ServerDiscoveryPluginProxyTest, ShutsDownOnce) {
  startUp();
  proxy.shutdown();
  log.clear();
  proxy.shutdown();
  EXPECT_EQ(log.count(kPluginDestructor), 0u);
}

TEST_F(ServerDiscoveryPluginProxyTest, ShutsDownBesideAnotherProxyThatStartedLater) {
  ServerDiscoveryPluginProxy other(&managerGuard.manager());
  startUp();
  other.startup(launcher::Preferences::get_instance(), &managerGuard.manager());
  ServerDiscoveryPlugin* const last = state().servicePlugin();
  proxy.shutdown();
  EXPECT_EQ(state().servicePlugin(), last);
  other.shutdown();
  EXPECT_EQ(state().servicePlugin(), nullptr);
}

TEST_F(ServerDiscoveryPluginProxyTest, JoinsTheMonitorAndThenDeregisters) {
  startUp();
  ASSERT_NE(state().monitor, nullptr);
  ASSERT_THAT(slp.registrations(), testing::SizeIs(1));
  log.clear();
  proxy.shutdown();
  EXPECT_EQ(state().monitor, nullptr);
  EXPECT_THAT(slp.deregistrations(), testing::ElementsAre(slp.registrations().front().url));
  EXPECT_EQ(log.count(kDeregistration), 1u);
  EXPECT_EQ(log.count(kPluginDestructor), 1u);
  EXPECT_EQ(state().servicePlugin(), nullptr);
  const auto texts = log.texts();
  const auto at = [&texts](const std::string& text) { return std::find(texts.begin(), texts.end(), text); };
  EXPECT_LT(at(kMonitorsEnd), at(kDeregistration));
}

TEST_F(ServerDiscoveryPluginProxyTest, EndsTheCommandOfAnotherProxysServiceObjectOnlyOnce) {
  ServerDiscoveryPluginProxy other(&managerGuard.manager());
  startUp();
  other.startup(launcher::Preferences::get_instance(), &managerGuard.manager());
  proxy.shutdown();  // deregisters, which ends the command of the object that is known to the plug-in: the other's
  other.shutdown();
  EXPECT_EQ(log.count(kDeregistration), 1u);
  EXPECT_EQ(state().servicePlugin(), nullptr);
}

TEST_F(ServerDiscoveryPluginProxyTest, HasOneMonitorForAllServiceObjects) {
  startUp();
  const utils::Thread* const first = state().monitor.get();
  startUp();
  EXPECT_EQ(state().monitor.get(), first);
  proxy.shutdown();
}

}  // namespace
}  // namespace plugins
