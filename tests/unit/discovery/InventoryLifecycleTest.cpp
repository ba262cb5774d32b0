#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "support/FakeHeartBeat.h"
#include "support/FakeSlp.h"
#include "support/Wait.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using Inventory = RemoteServerDiscovery;

class InventoryLifecycle : public InventoryTest {
 protected:
  ~InventoryLifecycle() override { Inventory::getInstance(); }  // the next test finds a pool again

  support::LogCapture log;
};

TEST_F(InventoryLifecycle, MakesThePoolWheneverThereIsNone) {
  inventory.deRegisterSLPService("", true);
  ASSERT_EQ(Inventory::m_ThreadPool.load(), nullptr);
  inventory.discoveredSLPServers.add("service:wbem://10.0.0.9");
  log.clear();
  Inventory::getInstance();
  const auto pool = Inventory::m_ThreadPool.load();
  EXPECT_NE(pool, nullptr);
  EXPECT_EQ(log.count("RemoteServerDiscovery:getInstance:nDiscoveredSLPServerSize=1"), 1u);
  Inventory::getInstance();
  EXPECT_EQ(Inventory::m_ThreadPool.load(), pool);
  EXPECT_EQ(log.count("RemoteServerDiscovery:getInstance:nDiscoveredSLPServerSize=1"), 1u);
}

/// Counts itself while it runs, and runs until it is let go.
class WaitingJob : public utils::ThreadPoolJob {
 public:
  WaitingJob(std::atomic<int>& running, const std::atomic<bool>& letGo) : mRunning(running), mLetGo(letGo) {}

  void execute() override {
    ++mRunning;
    support::waitFor([&] { return mLetGo.load(); });
    Inventory::getInstance();  // as jobs do, also while the pool is being stopped
    --mRunning;
  }

 private:
  std::atomic<int>& mRunning;
  const std::atomic<bool>& mLetGo;
};

TEST_F(InventoryLifecycle, GivesThePoolAsManyThreadsAsTheSettingSays) {
  inventory.deRegisterSLPService("", true);
  preferences.set("max_processing_threads_count", "3");
  Inventory::getInstance();
  std::atomic<int> running = 0;
  std::atomic<bool> letGo = false;
  const auto pool = Inventory::m_ThreadPool.load();
  for (int i = 0; i < 5; ++i)
    pool->addJob(new WaitingJob(running, letGo));
  EXPECT_TRUE(support::waitFor([&] { return running == 3 && pool->getPendingJobCount() == 2; }));
  letGo = true;
  EXPECT_TRUE(support::waitFor([&] { return pool->getRunningJobCount() == 0; }));
}

TEST_F(InventoryLifecycle, KeepsItsEngineWhenARegistrationIsOnlyWithdrawn) {
  Inventory::mStopDiscovery = true;
  const auto pool = Inventory::m_ThreadPool.load();
  EXPECT_EQ(inventory.deRegisterSLPService("url", false), 0);
  EXPECT_FALSE(Inventory::mStopDiscovery);
  EXPECT_EQ(Inventory::m_ThreadPool.load(), pool);
}

std::atomic<bool> gThreadSawTheStop = false;

void runUntilStopped() {
  while (!Inventory::mStopDiscovery)
    std::this_thread::yield();
  gThreadSawTheStop = support::waitFor([] { return Inventory::m_ThreadPool.load() == nullptr; });
}

TEST_F(InventoryLifecycle, StopsThePoolAndThenTheDiscoveryThread) {
  gThreadSawTheStop = false;
  Inventory::mRemoteServerThread = std::make_unique<utils::Thread>("remoteserverthread", runUntilStopped);
  inventory.deRegisterSLPService("url", true);
  EXPECT_TRUE(Inventory::mStopDiscovery);
  EXPECT_EQ(Inventory::m_ThreadPool.load(), nullptr);
  EXPECT_EQ(Inventory::mRemoteServerThread, nullptr);
  EXPECT_TRUE(gThreadSawTheStop) << "the pool was gone before the thread was waited for";
}

TEST_F(InventoryLifecycle, WaitsForRunningJobsAndDropsPendingOnes) {
  inventory.deRegisterSLPService("", true);
  preferences.set("max_processing_threads_count", "2");
  Inventory::getInstance();
  const auto pool = Inventory::m_ThreadPool.load();
  std::atomic<int> running = 0;
  std::atomic<bool> letGo = false;
  for (int i = 0; i < 6; ++i)
    pool->addJob(new WaitingJob(running, letGo));
  ASSERT_TRUE(support::waitFor([&] { return running == 2; }));

  std::atomic<bool> stopped = false;
  std::thread stopper([&] {
    inventory.deRegisterSLPService("", true);
    stopped = true;
  });
  ASSERT_TRUE(support::waitFor([&] { return pool->getPendingJobCount() == 0; })) << "pending jobs are dropped";
  EXPECT_FALSE(stopped);
  EXPECT_EQ(Inventory::m_ThreadPool.load(), pool) << "in sight until its jobs have ended";
  letGo = true;
  stopper.join();
  EXPECT_EQ(running, 0);
  EXPECT_EQ(Inventory::m_ThreadPool.load(), nullptr) << "no job made another pool";
}

/// An inventory that ends within a test; what there is one of for the class is shared with the real one.
class ShortLivedInventory : public Inventory {};

TEST_F(InventoryLifecycle, DeregistersAndStopsEverythingAtItsEnd) {
  inventory.registerSLPService("{}", true, "service:url", "10.0.0.1");
  gThreadSawTheStop = false;
  Inventory::mRemoteServerThread = std::make_unique<utils::Thread>("remoteserverthread", runUntilStopped);
  support::FakeSlp slp;
  support::FakeHeartBeat heartBeat;
  log.clear();
  { ShortLivedInventory shortLived; }
  EXPECT_EQ(slp.deregistrations(), std::vector<std::string>{"service:url"});
  EXPECT_EQ(heartBeat.calls(), (std::vector<std::string>{"deregister service:url", "silence"}));
  EXPECT_TRUE(Inventory::mStopDiscovery);
  EXPECT_EQ(Inventory::m_ThreadPool.load(), nullptr);
  EXPECT_EQ(Inventory::mRemoteServerThread, nullptr);
  EXPECT_TRUE(gThreadSawTheStop);
  EXPECT_TRUE(log.has(utils::LOG_TRACE, "RemoteServerDiscovery::RemoteServerDiscovery"));
  EXPECT_TRUE(log.has(utils::LOG_TRACE, "RemoteServerDiscovery::~RemoteServerDiscovery"));
  EXPECT_FALSE(log.containsPart("exception caught"));
}

TEST_F(InventoryLifecycle, StartsWithAnUnusedLocalRecord) {
  const Host host;
  EXPECT_EQ(host.mAddress, "");
  EXPECT_EQ(host.mPort, 0);
}

}  // namespace
