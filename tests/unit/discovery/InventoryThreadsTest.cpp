#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "unit/discovery/FakePeers.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using discovery::DiscoveryMap;
using Inventory = RemoteServerDiscovery;

class InventoryThreads : public InventoryTest {
 protected:
  InventoryThreads() { utils::logging::setConsole(false); }
  ~InventoryThreads() override { utils::logging::setConsole(true); }

  static constexpr int kRounds = 300;
  static constexpr int kAddresses = 12;

  static std::string address(int round) { return "10.0.0." + std::to_string(2 + round % kAddresses); }

  /// Runs each work in a thread of its own, all at once, round after round.
  static void runTogether(const std::vector<std::function<void(int round)>>& works) {
    std::vector<std::thread> threads;
    for (const auto& work : works) {
      threads.emplace_back([&work] {
        for (int round = 0; round < kRounds; ++round)
          work(round);
      });
    }
    for (auto& thread : threads)
      thread.join();
  }

  /// Looks at everything in a list.
  static void readAll(const discovery::HostTable& table) {
    const auto snapshot = table.snapshot();
    for (const auto& [key, record] : *snapshot)
      support::written(record);
    table.find(address(0));
    EXPECT_LE(table.size(), 1000u);
  }
};

TEST_F(InventoryThreads, UseEveryListOperationAtOnce) {
  FakePeers peers;
  for (int i = 0; i < kAddresses; ++i) {
    peers.answer(address(i), i % 3 == 0 ? 405 : 200,
                 support::parsed(R"({"properties":{"agents":[{"build":"008.1"}]}})"));
  }
  const auto attributes = [](int round) {
    return R"({"properties":{"displayId":"peer","lastUpdatedCounter":)" + std::to_string(round / 7) +
           (round % 2 == 0 ? R"(,"os":{}}})" : "}}");
  };
  runTogether({
      [&](int round) { inventory.addDiscoveredHost(address(round), attributes(round), false); },
      [&](int round) { inventory.addDiscoveredHost(address(round + 5), attributes(round), round % 5 == 0); },
      [&](int round) { inventory.addHost(address(round), answerWith(manualRecordNamed("manual"))); },
      [&](int round) { inventory.addToSearchHostList(address(round), {}, answerWith(recordNamed("s")), false); },
      [&](int round) { inventory.removeSpecificServer(address(round * 5)); },
      [&](int) {
        inventory.clearAutoDiscoveredServers();
        Inventory::mDiscoveredHosts.replaceAll(*Inventory::mPartialDiscoveredHosts.snapshot());
        Inventory::mCycleDiscoveredHosts.clear();
      },
      [&](int round) {
        DiscoveryMap::addDiscoveredHost(address(round), R"({"properties":{}})", round % 2 == 0);
        if (round % 20 == 0) DiscoveryMap::updateServerList({});
      },
      [&](int round) {
        inventory.mapUnreachableIP.add(address(round));
        inventory.clearUnreachable(address(round));
        inventory.mapUnreachableIP.all();
      },
      [&](int round) {
        json::Array records;
        inventory.getDiscoveredHost(records);
        for (auto& record : records)
          record["changed"] = json::Number(round);  // the reader's own
        std::map<std::string, json::Object> searched;
        inventory.getDiscoveredHosts(searched);
        json::Object out;
        inventory.getSearchHost(address(round), out);
        out["changed"] = json::Number(round);
        inventory.getDiscoveredServerStatus();
        inventory.keysOfServer("manual");
      },
      [&](int) {
        for (const auto* table : {&Inventory::mSearchedHosts, &Inventory::mCycleDiscoveredHosts,
                                  &Inventory::mPartialDiscoveredHosts, &Inventory::mDiscoveredHosts}) {
          readAll(*table);
        }
        DiscoveryMap::getDiscoveredHost();
      },
  });
  EXPECT_EQ(Inventory::mSearchedHosts.size(), static_cast<std::size_t>(kAddresses));
}

TEST_F(InventoryThreads, SeeEachListAsItWasAtOneMoment) {
  // The two keys are always written together; a reader that saw half a change would see them differ.
  const auto both = [](const std::string& name) {
    return discovery::HostTable::Map{{"a", recordNamed(name)}, {"b", recordNamed(name)}};
  };
  discovery::HostTable table;
  table.replaceAll(both("0"));
  const std::function<void(int)> read = [&](int) {
    const auto snapshot = table.snapshot();
    ASSERT_EQ(snapshot->size(), 2u);
    ASSERT_EQ(snapshot->at("a"), snapshot->at("b"));
  };
  runTogether({[&](int round) { table.replaceAll(both(std::to_string(round))); }, read, read, read});
}

TEST_F(InventoryThreads, WriteInPlaceOnlyWhatNobodyReads) {
  discovery::HostTable table;
  const std::function<void(int)> read = [&](int) {
    const auto snapshot = table.snapshot();
    std::size_t count = 0;
    for (const auto& [key, record] : *snapshot)
      count += record.Size();
    ASSERT_EQ(count, snapshot->size());
  };
  runTogether({[&](int round) { table.insertOrReplace(address(round), recordNamed(std::to_string(round))); },
               [&](int round) { table.erase(address(round * 7)); },
               [&](int round) { table.insertIfAbsent(address(round * 3), recordNamed("absent")); }, read, read});
}

TEST_F(InventoryThreads, AgreeOnOnePool) {
  inventory.deRegisterSLPService("", true);
  std::vector<std::shared_ptr<utils::ThreadPool>> pools(4);
  std::vector<std::thread> threads;
  for (auto& pool : pools) {
    threads.emplace_back([&pool] {
      Inventory::getInstance();
      pool = Inventory::m_ThreadPool.load();
    });
  }
  for (auto& thread : threads)
    thread.join();
  for (const auto& pool : pools)
    EXPECT_EQ(pool, pools.front());
}

TEST_F(InventoryThreads, RegisterAndDeregisterInTurns) {
  runTogether({[&](int round) { inventory.registerSLPService("{}", true, std::to_string(round), address(round)); },
               [&](int) { inventory.deRegisterSLPService("url", false); },
               [&](int) {
                 EXPECT_FALSE(Inventory::mRegistrationUrl.load() == nullptr);
                 EXPECT_FALSE(Inventory::mLocalHost.load() == nullptr);
               }});
}

}  // namespace
