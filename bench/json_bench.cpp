#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <boost/json.hpp>

#include "json/elements.h"
#include "json/lookup.h"
#include "json/reader.h"
#include "json/writer.h"

// A server record as it travels between servers, through this layer and, as the yardstick, through Boost.JSON's own
// document.
namespace {

constexpr std::string_view kRecord =
    R"({"properties":{"displayId":"storage-server-17","build":"008.1.4","lastUpdatedCounter":42,)"
    R"("agents":[{"id":31,"name":"Management Agent","build":"008.1.4","listen":[)"
    R"({"address":"10.20.30.41","port":2463,"scheme":"https"},{"address":"10.20.31.41","port":2463,"scheme":"https"}]}],)"
    R"("os":{"name":"Debian GNU/Linux","version":"12","network":{"nics":[)"
    R"({"name":"eth0","mac":"02:42:ac:11:00:02","ipV4":"10.20.30.41","ipV6":"fd00:20:30::41"},)"
    R"({"name":"eth1","mac":"02:42:ac:11:00:03","ipV4":"10.20.31.41","ipV6":""}]}},)"
    R"("network":{"lastCommunicatedIp":{"ipV4":"10.20.30.41"}},"health":{"state":1}}})";
static_assert(kRecord.size() >= 580 && kRecord.size() <= 650);

json::Object record() {
  json::Object object;
  json::Reader::Read(object, kRecord);
  return object;
}

void parse(benchmark::State& state) {
  for (auto _ : state) {
    json::UnknownElement document;
    json::Reader::Read(document, kRecord);
    benchmark::DoNotOptimize(document);
  }
}
BENCHMARK(parse);

void parseWithBoost(benchmark::State& state) {
  for (auto _ : state) {
    boost::json::value document = boost::json::parse({kRecord.data(), kRecord.size()});
    benchmark::DoNotOptimize(document);
  }
}
BENCHMARK(parseWithBoost);

void write(benchmark::State& state) {
  const json::Object object = record();
  for (auto _ : state) {
    std::string text;
    json::Writer::Write(object, text);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(write);

void writeWithBoost(benchmark::State& state) {
  const boost::json::value document = boost::json::parse({kRecord.data(), kRecord.size()});
  for (auto _ : state) {
    std::string text = boost::json::serialize(document);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(writeWithBoost);

void copy(benchmark::State& state) {
  const json::Object object = record();
  for (auto _ : state) {
    json::Object copied = object;
    benchmark::DoNotOptimize(copied);
  }
}
BENCHMARK(copy);

void copyElement(benchmark::State& state) {
  const json::UnknownElement element = record();
  for (auto _ : state) {
    json::UnknownElement copied = element;
    benchmark::DoNotOptimize(copied);
  }
}
BENCHMARK(copyElement);

// The dearest copy: of a record that was written to at every level since it was copied itself.
void copyOfLent(benchmark::State& state) {
  json::Object object = record();
  object["properties"]["os"]["network"]["nics"][0]["name"] = json::String("eth2");
  for (auto _ : state) {
    json::Object copied = object;
    benchmark::DoNotOptimize(copied);
  }
}
BENCHMARK(copyOfLent);

void copyAndChange(benchmark::State& state) {
  const json::Object object = record();
  for (auto _ : state) {
    json::Object copied = object;
    copied["properties"]["lastUpdatedCounter"] = json::Number(43);
    benchmark::DoNotOptimize(copied);
  }
}
BENCHMARK(copyAndChange);

void lookUp(benchmark::State& state) {
  const json::Object object = record();
  for (auto _ : state) {
    benchmark::DoNotOptimize(json::find(object, {"properties", "os", "network", "nics"}));
  }
}
BENCHMARK(lookUp);

}  // namespace

BENCHMARK_MAIN();
