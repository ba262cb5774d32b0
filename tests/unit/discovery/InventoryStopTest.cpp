// The end of discovery, whatever goes on when it is asked for.

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/RemoteServerDiscoveryJob.h"
#include "support/Wait.h"
#include "unit/discovery/RegistrationTest.h"

namespace {

using Inventory = RemoteServerDiscovery;
using namespace std::chrono_literals;

constexpr const char* kKvt = "service:x-mgmt.quorvel:kvt";
constexpr const char* kPeer = "service:x-mgmt.quorvel:kvt://10.0.0.9:8443";

class InventoryStop : public RegistrationTest {
 protected:
  /// Stops, and looks at what is left.
  void stopCompletely() {
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(inventory.deRegisterSLPService(kUrl, true), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 10s);
    EXPECT_TRUE(Inventory::mStopDiscovery);
    EXPECT_EQ(Inventory::m_ThreadPool.load(), nullptr);
    EXPECT_EQ(Inventory::mRemoteServerThread, nullptr);
    EXPECT_EQ(slp.held(), 0u);
    EXPECT_EQ(slp.openHandles(), 0u);
    EXPECT_EQ(Inventory::mSlpHandles.current(), nullptr);
    EXPECT_EQ(Inventory::mSlpHandles.leftOpen(), 0u);
  }
};

TEST_F(InventoryStop, OfWhatNeverBegan) {
  stopCompletely();
}

TEST_F(InventoryStop, Twice) {
  registerServer();
  stopCompletely();
  stopCompletely();
}

TEST_F(InventoryStop, CancelsTheSearchThatIsUnderWay) {
  slp.hold(true);
  registerServer();
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  EXPECT_NE(Inventory::mSlpHandles.current(), nullptr);
  stopCompletely();
  EXPECT_LE(slp.searches().size(), 2u) << "no search begins after the stop";
}

TEST_F(InventoryStop, CancelsTheInquiriesOfJobs) {
  slp.hold(true);
  const auto pool = Inventory::m_ThreadPool.load();
  pool->addJob(new discovery::RemoteServerDiscoveryJob(kPeer));
  pool->addJob(new discovery::RemoteServerDiscoveryJob(kPeer));
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 2; }));
  stopCompletely();
}

TEST_F(InventoryStop, CancelsTheInquiriesOfAPass) {
  slp.setServices(kKvt, {kPeer});
  slp.holdInquiries(true);
  registerServer();
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 1; })) << "the pass waits for its job";
  EXPECT_EQ(inventory.getDiscoveredServerStatus(), 1);
  stopCompletely();
}

TEST_F(InventoryStop, EndsTheWaitBetweenPasses) {
  registerServer();
  ASSERT_TRUE(support::waitFor([&] { return slp.searches().size() >= 4; }));
  stopCompletely();
}

TEST_F(InventoryStop, EndsPassesOverAServiceThatIsReportedTwice) {
  slp.setServices(kKvt, {kPeer, kPeer});
  registerServer();
  ASSERT_TRUE(support::waitFor([&] { return slp.inquiries().size() == 1; }));
  stopCompletely();
}

TEST_F(InventoryStop, IsNotTakenBackByADeregistrationMeanwhile) {
  slp.hold(true);
  registerServer();
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  std::atomic<bool> stopped = false;
  std::thread withdrawer([&] {
    while (!stopped)
      inventory.deRegisterSLPService(kUrl, false);
  });
  slp.hold(false);
  for (int round = 0; round < 20; ++round) {
    inventory.deRegisterSLPService(kUrl, true);
    inventory.startDiscovery();
  }
  stopped = true;
  withdrawer.join();
  stopCompletely();
}

TEST_F(InventoryStop, AtAnyMomentOfAPass) {
  slp.setServices(kKvt, {kPeer, "service:x-mgmt.quorvel:kvt://10.0.0.10:8443", "service:wbem://10.0.0.11:5989"});
  for (const char* url : {kPeer, "service:x-mgmt.quorvel:kvt://10.0.0.10:8443"})
    slp.setAttributes(url, "(ip=10.0.0.9))(server={\"properties\":{}})");
  for (int round = 0; round < 100; ++round) {
    Inventory::getInstance();
    Inventory::mStopDiscovery = false;
    slp.hold(round % 3 == 0);
    inventory.startDiscovery();
    std::this_thread::sleep_for(std::chrono::microseconds(97) * (round % 50));
    stopCompletely();
    log.clear();
  }
}

TEST_F(InventoryStop, LeavesAStoppedInventoryUsable) {
  registerServer();
  stopCompletely();
  Inventory::getInstance();
  ASSERT_NE(Inventory::m_ThreadPool.load(), nullptr);
  inventory.deRegisterSLPService(kUrl, false);  // takes the stop back
  EXPECT_EQ(registerServer(), 0);
  const auto searches = slp.searches().size();
  EXPECT_TRUE(support::waitFor([&] { return slp.searches().size() >= searches + 2; }));
  stopCompletely();
}

TEST_F(InventoryStop, ManyCallersAtOnceDoNotLockEachOtherOut) {
  slp.setServices(kKvt, {kPeer});
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 30; ++round) {
        if (i == 0) inventory.deRegisterSLPService(kUrl, true);
        if (i == 1) inventory.registerSLPService("X1", false, kUrl, "10.0.0.5");
        if (i == 2) inventory.startDiscovery();
        if (i == 3) inventory.deRegisterSLPService(kUrl, false);
        Inventory::getInstance();
      }
    });
  }
  for (auto& thread : threads)
    thread.join();
  stopCompletely();
}

}  // namespace
