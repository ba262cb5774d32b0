// GET /1.0/servers inside the process, by the number of records in the inventory: the dispatch, the copy of the
// inventory, the search for the local server in it, and, apart, the text of the answer.

#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include "discovery/DiscoveryMap.h"
#include "framework/http/Command.h"
#include "framework/launcher/PluginManager.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"
#include "framework/utils/Log.h"
#include "framework/utils/System.h"
#include "json/reader.h"
#include "json/writer.h"
#include "plugins/PluginRegistration.h"
#include "plugins/ServerDiscoveryPluginProxy.h"

namespace {

std::string addressOf(int number) {
  return "10.1." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1);
}

/// A details record of two interfaces, some 600 bytes.
json::Object recordOf(const std::string& displayId, const std::string& address) {
  const std::string text =
      R"({"properties":{"displayId":")" + displayId +
      R"(","build":"008.0.1","agents":[{"id":31,"name":"KVT Server","build":"008.0.1",)"
      R"("listen":[{"address":"::","port":8443,"scheme":"https"}]}],"os":{"name":"Debian GNU/Linux","version":"12",)"
      R"("network":{"nics":[{"name":"enp1s0","mac":"52:54:00:12:34:56","ipV4":")" +
      address + R"(","ipV6":"fd00:1::)" + address +
      R"("},{"name":"enp2s0","mac":"52:54:00:12:34:57","ipV4":"192.0.2.7","ipV6":"fd00:2::7"}],)"
      R"("lastCommunicatedIp":{"ipV4":")" +
      address + R"("}}},"health":{"state":"ok"},"isPivot":false,"lastUpdatedCounter":0}})";
  json::Object record;
  json::Reader::Read(record, text);
  return record;
}

/// A machine that no record of the inventory describes.
class Machine : public utils::System {
 public:
  int getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&)[kMaxAddresses], int& count4,
                     int& count6) override {
    ipv4[0] = "10.9.9.9";
    count4 = 1;
    count6 = 0;
    return 1;
  }
  int getLocalIPAddress(std::string& address) override {
    address = "10.9.9.9";
    return 1;
  }
  std::string getLocalServerId() override { return "local"; }
  bool isIPv4Address(std::string) override { return true; }
  bool isIPv6Address(std::string) override { return false; }
  std::vector<utils::NetworkInterface> getNetworkInterfaces() override { return {}; }
};

/// The host's resource of the local server's details.
class DetailsPlugin : public plugins::BasePlugin {
 public:
  DetailsPlugin(http::HTTPCommand* command, const plugins::BasePluginProxy* proxy) : BasePlugin(command, proxy) {
    addPluginApi(0, [](const auto&, const auto&, json::Object& response) {
      response["value"] = recordOf("local", "10.9.9.9");
      return http::HTTPCommand::HTTP_OK;
    });
  }
};

class DetailsProxy : public plugins::BasePluginProxy {
 public:
  explicit DetailsProxy(const launcher::PluginManager* manager) : BasePluginProxy(manager) {
    mSupportedRestApis.emplace_back(http::RestApi::GET, "/1.0/servers/{server_id}", false);
  }
  plugins::BasePlugin* createPlugin(http::HTTPCommand* command) override { return new DetailsPlugin(command, this); }
};

/// The process of a host with nothing but the plug-in in it.
class Process {
 public:
  Process() : mManagerBefore(launcher::PluginManager::set_instance(&mManager)) {
    utils::logging::setMask(0);
    utils::System::set_instance(&mMachine);
    mRegistration = std::make_unique<plugins::PluginRegistration<plugins::ServerDiscoveryPluginProxy>>();
    auto details = std::make_unique<DetailsProxy>(&mManager);
    if (mManager.registerPluginProxys(details->getSupportedRestApis().front(), details.get())) {
      static_cast<void>(details.release());
    }
  }
  ~Process() {
    launcher::PluginManager::set_instance(mManagerBefore);
    utils::System::set_instance(nullptr);
  }

  static void fill(int records) {
    std::map<std::string, json::Object> servers;
    for (int number = 0; number < records; ++number) {
      const std::string address = addressOf(number);
      servers[address] = recordOf("server-" + std::to_string(number), address);
    }
    discovery::DiscoveryMap::updateServerList(std::move(servers));
  }

  void list(http::Command& command) {
    if (mManager.execute(&command) != http::HTTPCommand::HTTP_OK) throw std::runtime_error("the list failed");
  }

 private:
  Machine mMachine;
  launcher::PluginManager mManager;
  launcher::PluginManager* const mManagerBefore;
  std::unique_ptr<plugins::PluginRegistration<plugins::ServerDiscoveryPluginProxy>> mRegistration;
};

http::Command listCommand() {
  return http::Command(http::Command::Request{http::RestApi::GET, "/1.0/servers", "/1.0/servers", "", "", {}});
}

void countRecords(benchmark::State& state) {
  state.counters["perRecord"] = benchmark::Counter(
      static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void list(benchmark::State& state) {
  Process process;
  Process::fill(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    http::Command command = listCommand();
    process.list(command);
    benchmark::DoNotOptimize(command.getResponseBody());
  }
  countRecords(state);
}
BENCHMARK(list)->Arg(10)->Arg(1000)->Arg(10000);

void listAndWrite(benchmark::State& state) {
  Process process;
  Process::fill(static_cast<int>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) {
    http::Command command = listCommand();
    process.list(command);
    std::string text;
    json::Writer::Write(command.getResponseBody(), text);
    bytes = text.size();
    benchmark::DoNotOptimize(text);
  }
  state.counters["bytes"] = static_cast<double>(bytes);
  countRecords(state);
}
BENCHMARK(listAndWrite)->Arg(10)->Arg(1000)->Arg(10000);

}  // namespace

BENCHMARK_MAIN();
