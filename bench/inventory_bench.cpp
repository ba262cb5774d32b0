// The lists of the inventory by the number of servers in them. "perServer" is the time for one of them, so that growth
// can be read off: it stays about the same where the work is linear.

#include <string>

#include <benchmark/benchmark.h>

#include "discovery/HostLists.h"
#include "discovery/HostTable.h"
#include "discovery/HostVerification.h"
#include "discovery/InventoryRebuild.h"
#include "discovery/UnreachableAddresses.h"
#include "framework/utils/Log.h"
#include "json/reader.h"

namespace {

using discovery::HostTable;

std::string addressOf(int number) {
  return "10.1." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1);
}

constexpr const char* kAttributes =
    R"({"properties":{"displayId":"server","lastUpdatedCounter":0,"nics":[{"ipV4":"10.1.0.1"},{"ipV4":"10.2.0.1"}]}})";

HostTable::Map serversFrom(int first, int count, bool withManual) {
  json::Object found;
  json::Reader::Read(found, kAttributes);
  json::Object manual = found;
  manual["properties"]["isManual"] = json::Boolean(true);
  const json::Object added = manual;
  HostTable::Map servers;
  for (int number = first; number < first + count; ++number)
    servers[addressOf(number)] = withManual && number % 10 == 0 ? added : found;
  return servers;
}

void countServers(benchmark::State& state) {
  state.counters["perServer"] = benchmark::Counter(
      static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// The end of a pass that found half of the published servers again and as many new ones.
void rebuild(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const HostTable::Map published = serversFrom(0, count, true);
  const HostTable::Map found = serversFrom(count / 2, count, false);
  for (auto _ : state)
    benchmark::DoNotOptimize(discovery::rebuildInventory(published, found));
  countServers(state);
}
BENCHMARK(rebuild)->Arg(10)->Arg(1000)->Arg(10000);

void listDiscovered(benchmark::State& state) {
  discovery::HostLists lists;
  lists.mPartialDiscoveredHosts.replaceAll(serversFrom(0, static_cast<int>(state.range(0)), true));
  for (auto _ : state) {
    json::Array out;
    lists.copyDiscovered(out);
    benchmark::DoNotOptimize(out);
  }
  countServers(state);
}
BENCHMARK(listDiscovered)->Arg(10)->Arg(1000)->Arg(10000);

/// A pass in which every server is known and unchanged.
void verifyKnown(benchmark::State& state) {
  utils::logging::setMask(0);
  const int count = static_cast<int>(state.range(0));
  discovery::HostLists lists;
  discovery::UnreachableAddresses unreachable;
  utils::Mutex filing;
  discovery::HostVerification verification(lists, unreachable, filing);
  lists.mDiscoveredHosts.replaceAll(serversFrom(0, count, false));
  for (auto _ : state) {
    lists.mCycleDiscoveredHosts.clear();
    for (int number = 0; number < count; ++number)
      verification.verify(addressOf(number), kAttributes, false);
  }
  countServers(state);
}
BENCHMARK(verifyKnown)->Arg(10)->Arg(1000)->Arg(10000);

/// The one costly write: the first while a reader holds what was there.
void writeBesideAReader(benchmark::State& state) {
  HostTable table;
  table.replaceAll(serversFrom(0, static_cast<int>(state.range(0)), true));
  const json::Object record;
  for (auto _ : state) {
    const auto reader = table.snapshot();
    table.insertOrReplace("10.1.0.1", record);
    benchmark::DoNotOptimize(reader);
  }
  countServers(state);
}
BENCHMARK(writeBesideAReader)->Arg(10)->Arg(1000)->Arg(10000);

void lookUpUnreachable(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  discovery::UnreachableAddresses unreachable;
  for (int number = 0; number < count; ++number)
    unreachable.add(addressOf(number));
  int number = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(unreachable.contains(addressOf(number)));
    number = (number + 7) % count;
  }
}
BENCHMARK(lookUpUnreachable)->Arg(10)->Arg(1000)->Arg(10000);

}  // namespace

BENCHMARK_MAIN();
