// GET /1.0/servers over HTTP, on one kept-alive connection of the loopback interface, by the number of records in the
// inventory; and the cheapest resource, to see what of it is the way there and back.

#include <memory>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include "discovery/ServerDiscovery.h"
#include "framework/constants/JsonConstants.h"
#include "framework/utils/Log.h"
#include "host/Server.h"
#include "host/resources/ServerRecord.h"
#include "json/elements.h"
#include "plugins/PluginRegistration.h"
#include "plugins/ServerDiscoveryPluginProxy.h"
#include "unit/host/RawClient.h"

namespace {

using host_test::RawClient;

std::string addressOf(int number, int network) {
  return "10." + std::to_string(network) + "." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1);
}

json::Object recordOf(int number) {
  const auto nic = [&](int network) {
    const std::string suffix = std::to_string(network) + "::" + std::to_string(number);
    return utils::NetworkInterface{
        "enp" + std::to_string(network) + "s0", "52:54:00:12:34:56", {addressOf(number, network)}, {"fd00:" + suffix}};
  };
  return host::makeServerRecord({"server-" + std::to_string(number) + ".example.com",
                                 "0.1.0",
                                 {"Debian GNU/Linux", "12"},
                                 {nic(1), nic(2)},
                                 {{"::", 8443, "http"}}});
}

/// One server for the whole run, with the plug-in in the same process.
class ServerUnderTest {
 public:
  ServerUnderTest() {
    utils::logging::setMask(0);
    host::Settings settings;
    settings.listen = {{"127.0.0.1", 0}};
    mServer = std::make_unique<host::Server>(settings);
    const auto endpoints = mServer->listen();
    if (!endpoints) throw std::runtime_error(endpoints.error());
    mPort = endpoints->front().port;
    mServer->start("/nonexistent");
  }

  std::uint16_t port() const { return mPort; }

  /// The inventory only grows, so the benchmarks run from the smallest to the largest.
  void fill(int records) {
    for (; mRecords < records; ++mRecords) {
      json::Object entry;
      entry[constants::JsonConstants::VALUE] = recordOf(mRecords);
      discovery::ServerDiscovery::getInstance()->addHost(addressOf(mRecords, 1), entry, true);
    }
  }

 private:
  const plugins::PluginRegistration<plugins::ServerDiscoveryPluginProxy> mRegistration;
  std::unique_ptr<host::Server> mServer;
  std::uint16_t mPort = 0;
  int mRecords = 0;
};

ServerUnderTest& server() {
  static ServerUnderTest server;
  return server;
}

/// Asks until the benchmark has enough; the size of the last answer's body.
std::size_t askRepeatedly(benchmark::State& state, const std::string& target) {
  RawClient client(server().port());
  const std::string request = host_test::getRequest(target);
  std::size_t bytes = 0;
  for (auto _ : state) {
    const auto answer = client.ask(request);
    if (answer.status != 200) {
      state.SkipWithError(("answered " + std::to_string(answer.status)).c_str());
      break;
    }
    bytes = answer.body.size();
  }
  return bytes;
}

void healthOverHttp(benchmark::State& state) {
  askRepeatedly(state, "/healthz");
}

void serversOverHttp(benchmark::State& state) {
  const auto records = state.range(0);
  server().fill(static_cast<int>(records));
  const auto bytes = static_cast<double>(askRepeatedly(state, "/1.0/servers"));
  state.counters["bytes"] = bytes;
  state.counters["perRecord"] = benchmark::Counter(
      static_cast<double>(records), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(healthOverHttp)->UseRealTime();
BENCHMARK(serversOverHttp)->Arg(10)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
