#include <atomic>

#include <gtest/gtest.h>

#include "framework/http/Command.h"
#include "framework/launcher/PluginManager.h"
#include "plugins/PluginState.h"
#include "plugins/ServerDiscoveryPlugin.h"
#include "plugins/ServerDiscoveryPluginProxy.h"

namespace plugins {
namespace {

TEST(PluginState, BeginsWithNothing) {
  const PluginState state;
  EXPECT_EQ(state.servicePlugin(), nullptr);
  EXPECT_EQ(state.registration()->url, "");
  EXPECT_EQ(state.registration()->address, "");
  EXPECT_EQ(state.registration()->text, "");
  EXPECT_EQ(state.registration()->hashCode, 0);
  EXPECT_TRUE(state.registration()->details.Empty());
  EXPECT_FALSE(state.registration()->isPending);
  EXPECT_EQ(state.changeCounter, 0u);
  EXPECT_EQ(state.localServer()->ip, "");
  EXPECT_EQ(state.localServer()->text, "");
  EXPECT_TRUE(state.localServer()->record.Empty());
  EXPECT_EQ(state.monitor, nullptr);
  EXPECT_FALSE(state.stopMonitor);
}

TEST(PluginState, KeepsWhatAReaderHoldsWhenItIsReplaced) {
  PluginState state;
  state.setLocalServer({{}, "{}", "10.0.0.1"});
  const auto held = state.localServer();
  state.setLocalServer({{}, "{}", "10.0.0.2"});
  EXPECT_EQ(held->ip, "10.0.0.1");
  EXPECT_EQ(state.localServer()->ip, "10.0.0.2");
}

TEST(PluginState, ReplacesTheUrlAndKeepsTheRestOfTheRegistration) {
  PluginState state;
  state.setRegistration({{}, "{}", 7, "service:a", "10.0.0.1", true});
  const auto held = state.registration();
  state.setRegistrationUrl("service:b");
  EXPECT_EQ(held->url, "service:a");
  EXPECT_EQ(state.registration()->url, "service:b");
  EXPECT_EQ(state.registration()->text, "{}");
  EXPECT_EQ(state.registration()->hashCode, 7);
  EXPECT_EQ(state.registration()->address, "10.0.0.1");
  EXPECT_TRUE(state.registration()->isPending);
}

TEST(PluginState, ForgetsOnlyTheServiceObjectThatItKnows) {
  launcher::PluginManager manager;
  ServerDiscoveryPluginProxy proxy(&manager);
  http::Command command;
  ServerDiscoveryPlugin first(&command, &proxy);
  ServerDiscoveryPlugin second(&command, &proxy);
  PluginState state;
  state.setServicePlugin(&second);
  state.forgetServicePlugin(&first);
  EXPECT_EQ(state.servicePlugin(), &second);
  state.forgetServicePlugin(&second);
  EXPECT_EQ(state.servicePlugin(), nullptr);
}

std::atomic<PluginState*> watched = nullptr;
std::atomic<bool> hasEnded = false;

void waitForStop() {
  while (!watched.load()->stopMonitor)
    utils::Thread::sleep(1);
  hasEnded = true;
}

TEST(PluginState, LetsNoMonitorOutliveIt) {
  hasEnded = false;
  {
    PluginState state;
    watched = &state;
    state.monitor = std::make_unique<utils::Thread>("monitor", waitForStop);
  }
  EXPECT_TRUE(hasEnded);
}

}  // namespace
}  // namespace plugins
