#include <cstdint>
#include <malloc.h>
#include <string>
#include <variant>

#include <benchmark/benchmark.h>

#include "slp/agent/Responder.h"
#include "slp/wire/Codec.h"

// The agent without its sockets: what a request, a registration and a place in the registry cost. The number of
// registrations is the argument.
namespace {

using namespace slp;

const agent::TimePoint kNow{std::chrono::hours(1)};

/// Attributes of the length that registrations of management servers have.
std::string attributesOf(std::int64_t number) {
  const auto text = std::to_string(number);
  std::string attributes = "(number=" + text + "),(displayId=storage-server-" + text + "),(build=008.1.4)";
  for (int i = 0; i < 12; ++i)
    attributes += ",(property-" + std::to_string(i) + "=value " + text + " of this server)";
  return attributes;
}

enum class Types { kOne, kDistinct };

agent::Registration service(std::int64_t number, Types types) {
  const auto text = std::to_string(number);
  const auto type = types == Types::kOne ? std::string("service:wbem:https") : "service:type-" + text;
  return {type + "://10.77.0.1:" + text, type, "DEFAULT", attributesOf(number), "en", agent::kLifetimeForever};
}

class Agent {
 public:
  Agent(std::int64_t registrations, Types types) : mResponder(mRegistry, {}) {
    for (std::int64_t i = 0; i < registrations; ++i)
      mRegistry.add(service(i, types), agent::kThisProcess, kNow);
    mSource.from = {*net::Address::parse("10.77.0.3"), 40'000};
    mSource.ownAddress = *net::Address::parse("10.77.0.1");
    mSource.onLink = true;
  }

  agent::Registry& registry() { return mRegistry; }

  void ask(benchmark::State& state, const wire::Body& body) {
    std::string request;
    wire::encode({}, body, request);
    for (auto _ : state) {
      if (!mResponder.respond(wire::bytesOf(request), mSource, kNow, mReply)) state.SkipWithError("no answer");
      benchmark::DoNotOptimize(mReply.data());
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["reply_bytes"] = static_cast<double>(mReply.size());
  }

 private:
  agent::Registry mRegistry;
  agent::Responder mResponder;
  agent::Source mSource;
  std::string mReply;
};

void searchOfADistinctType(benchmark::State& state) {
  Agent agent(state.range(0), Types::kDistinct);
  const auto type = service(state.range(0) / 2, Types::kDistinct).serviceType;
  agent.ask(state, wire::ServiceRequest{{}, type, "DEFAULT", {}, {}});
}
BENCHMARK(searchOfADistinctType)->Arg(1)->Arg(1'000)->Arg(10'000);

void searchOfOneType(benchmark::State& state) {
  Agent agent(state.range(0), Types::kOne);
  agent.ask(state, wire::ServiceRequest{{}, "service:wbem", "DEFAULT", {}, {}});
}
BENCHMARK(searchOfOneType)->Arg(1)->Arg(1'000)->Arg(10'000);

void searchWithAFilterThatMatchesOne(benchmark::State& state) {
  Agent agent(state.range(0), Types::kOne);
  const auto filter = "(displayId=storage-server-" + std::to_string(state.range(0) - 1) + ")";
  agent.ask(state, wire::ServiceRequest{{}, "service:wbem", "DEFAULT", filter, {}});
}
BENCHMARK(searchWithAFilterThatMatchesOne)->Arg(1)->Arg(1'000)->Arg(10'000);

void attributesOfAUrl(benchmark::State& state) {
  Agent agent(state.range(0), Types::kOne);
  const auto url = service(state.range(0) / 2, Types::kOne).url;
  agent.ask(state, wire::AttributeRequest{{}, url, "DEFAULT", {}, {}});
}
BENCHMARK(attributesOfAUrl)->Arg(1)->Arg(1'000)->Arg(10'000);

void attributesOfAType(benchmark::State& state) {
  Agent agent(state.range(0), Types::kOne);
  agent.ask(state, wire::AttributeRequest{{}, "service:wbem", "DEFAULT", {}, {}});
}
BENCHMARK(attributesOfAType)->Arg(1)->Arg(1'000)->Arg(10'000);

void listOfTypes(benchmark::State& state) {
  Agent agent(state.range(0), Types::kDistinct);
  agent.ask(state, wire::ServiceTypeRequest{{}, std::nullopt, "DEFAULT"});
}
BENCHMARK(listOfTypes)->Arg(1)->Arg(1'000)->Arg(10'000);

/// Puts one more in and takes it out again, at each size.
void addAndRemove(benchmark::State& state) {
  Agent agent(state.range(0), Types::kOne);
  auto more = service(state.range(0), Types::kOne);
  more.lifetime = 900;
  for (auto _ : state) {
    agent.registry().add(more, agent::kThisProcess, kNow);
    agent.registry().remove(more.url, agent::kThisProcess);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(addAndRemove)->Arg(0)->Arg(1'000)->Arg(10'000);

void refresh(benchmark::State& state) {
  Agent agent(state.range(0), Types::kOne);
  auto same = service(0, Types::kOne);
  same.lifetime = 900;
  for (auto _ : state)
    agent.registry().add(same, agent::kThisProcess, kNow);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(refresh)->Arg(1)->Arg(1'000)->Arg(10'000);

double heapInUse() {
  const auto info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

/// Heap for each registration: in all, and beyond its own URL and attributes.
void memory(benchmark::State& state, Types types) {
  double used = 0;
  for (auto _ : state) {
    const auto before = heapInUse();
    Agent agent(state.range(0), types);
    used = heapInUse() - before;
    benchmark::DoNotOptimize(agent);
  }
  double texts = 0;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    const auto registration = service(i, types);
    texts += static_cast<double>(registration.url.size() + registration.attributes.size());
  }
  const auto count = static_cast<double>(state.range(0));
  state.counters["MB"] = used / 1e6;
  state.counters["bytes_each"] = used / count;
  state.counters["overhead_each"] = (used - texts) / count;
}
BENCHMARK_CAPTURE(memory, of_one_type, Types::kOne)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(memory, of_distinct_types, Types::kDistinct)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);

/// The same after a search with a filter has looked at each.
void memoryBehindAFilter(benchmark::State& state) {
  double used = 0;
  for (auto _ : state) {
    const auto before = heapInUse();
    Agent agent(state.range(0), Types::kOne);
    agent.registry().findServices({"service:wbem", "DEFAULT", "(number=-1)", "en"}, kNow,
                                  [](const agent::Registry::Entry&) { return true; });
    used = heapInUse() - before;
  }
  state.counters["MB"] = used / 1e6;
  state.counters["bytes_each"] = used / static_cast<double>(state.range(0));
}
BENCHMARK(memoryBehindAFilter)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
