#include <atomic>
#include <thread>

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

/// Has another thread change a part as often as `replace` is called with a number, which is 1,000 times.
template <typename Replace, typename ChangePart>
void runBeside(Replace replace, ChangePart changePart) {
  std::atomic<bool> hasEnded = false;
  std::thread other([&] {
    while (!hasEnded)
      changePart();
  });
  for (int i = 0; i < 1000; ++i)
    replace(std::to_string(i));
  hasEnded = true;
  other.join();
}

TEST(PluginState, LosesNoLocalServerToAChangeOfItsAddress) {
  PluginState state;
  int lost = 0;
  const auto replace = [&](const std::string& text) {
    state.setLocalServer({json::Object(), text, "10.0.0.1"});
    std::this_thread::yield();
    if (state.localServer()->text != text) ++lost;
  };
  runBeside(replace, [&] { state.setLocalServerIp("10.0.0.2"); });
  EXPECT_EQ(lost, 0);
}

TEST(PluginState, LosesNoRegistrationToAChangeOfItsUrl) {
  PluginState state;
  int lost = 0;
  const auto replace = [&](const std::string& text) {
    state.setRegistration({json::Object(), text, 7, "service:a", "10.0.0.1", false});
    std::this_thread::yield();
    if (state.registration()->text != text) ++lost;
  };
  runBeside(replace, [&] { state.setRegistrationUrl("service:b"); });
  EXPECT_EQ(lost, 0);
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
