// All resources at once, from many threads, while the plug-in is started up and shut down.

#include <atomic>
#include <thread>

#include "PluginTest.h"
#include "discovery/DiscoveryMap.h"
#include "discovery/RemoteServerDiscovery.h"

namespace plugins {
namespace {

constexpr int kThreads = 6;
constexpr int kRounds = 60;
constexpr int kServers = 8;

class PluginThreads : public PluginTest {
 protected:
  PluginThreads() {
    utils::logging::setMask(utils::LOG_ERROR);
    host.get("/1.0/servers/{server_id}", [](const support::Request&, json::Object& response) {
      response["value"] = serverRecord("local", "10.0.0.1");
      return http::HTTPCommand::HTTP_OK;
    });
    host.post("/1.0/searchserver_", [](const support::Request& request, json::Object& response) {
      const std::string address = json::textAt(request.body, {"parameters", "address"});
      response["value"] = serverRecord("server-" + address, address);
      return http::HTTPCommand::HTTP_OK;
    });
  }

  void expect(bool holds) {
    if (!holds) ++mFailures;
  }

  void expectWholeList(const support::Answer& answer) {
    const json::Array* const servers = json::arrayAt(answer.body, {"values"});
    expect(answer.status == http::HTTPCommand::HTTP_OK && servers != nullptr && !servers->Empty());
    if (servers == nullptr) return;
    expect(json::numberAt(answer.body, {"count"}) == static_cast<double>(servers->Size()));
    for (const json::UnknownElement& server : *servers) {
      const auto* const record = server.getIf<json::Object>();
      expect(record != nullptr && !json::textAt(*record, {"properties", "displayId"}).empty());
    }
  }

  static bool isOkOrRefused(const support::Answer& answer) {
    return answer.status == http::HTTPCommand::HTTP_OK || answer.status == http::HTTPCommand::HTTP_BAD_REQUEST;
  }

  void useEverything(int thread) {
    for (int round = 0; round < kRounds; ++round) {
      const std::string address = "10.0.1." + std::to_string((thread + round) % kServers);
      expectWholeList(get("/1.0/servers"));
      expect(search(address).status == http::HTTPCommand::HTTP_OK);
      expect(get("/1.0/searchedserver/" + address).status == http::HTTPCommand::HTTP_OK);
      expect(isOkOrRefused(add("/1.0/servers/server-" + address)));
      expectWholeList(get("/1.0/servers"));
      expect(isOkOrRefused(remove("/1.0/servers/server-" + address)));
      expect(get(kOperation).status == http::HTTPCommand::HTTP_OK);
    }
  }

  /// What discovery and announcements do meanwhile, and readers of the lists.
  void discover(int thread, const std::atomic<bool>& isDone) {
    RemoteServerDiscovery& inventory = *RemoteServerDiscovery::getInstance();
    for (int round = 0; !isDone; ++round) {
      const std::string address = "10.0.2." + std::to_string((thread + round) % kServers);
      inventory.addDiscoveredHost(address, "", true);
      discovery::DiscoveryMap::addDiscoveredHost(address, R"({"properties":{"displayId":"announced"}})", false);
      const auto published = RemoteServerDiscovery::mPartialDiscoveredHosts.snapshot();
      for (const auto& [key, record] : *published)
        expect(!key.empty() && !record.Empty());
      inventory.clearAutoDiscoveredServers();
      discovery::DiscoveryMap::updateServerList(discovery::DiscoveryMap::getDiscoveredHost());
    }
  }

  int failures() const { return mFailures; }

 private:
  std::atomic<int> mFailures = 0;
};

TEST_F(PluginThreads, ServeEverythingAtOnce) {
  std::atomic<bool> isDone = false;
  std::thread lifecycle([&] {
    ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
    while (!isDone) {
      proxy.startup(launcher::Preferences::get_instance(), &managerGuard.manager());
      proxy.shutdown();
    }
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([this, i] { useEverything(i); });
  std::thread discovering([&] { discover(0, isDone); });
  std::thread announcing([&] { discover(1, isDone); });
  for (std::thread& thread : threads)
    thread.join();
  isDone = true;
  lifecycle.join();
  discovering.join();
  announcing.join();
  EXPECT_EQ(failures(), 0);
  EXPECT_THAT(log.texts(utils::LOG_ERROR), testing::Each(testing::HasSubstr("Server ")))
      << "only refusals: not found, already discovered";
}

}  // namespace
}  // namespace plugins
