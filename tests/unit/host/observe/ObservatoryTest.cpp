#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host/observe/Observatory.h"

namespace {

using host::Observatory;
using utils::Sighting;

Sighting seen(const std::string& address) {
  return {address, "", Sighting::Source::kSlp, Sighting::Outcome::kSeen, ""};
}

class ObservatoryTest : public testing::Test {
 protected:
  ~ObservatoryTest() override { utils::observer::set(nullptr); }

  Observatory::Time mNow{std::chrono::seconds(100)};
  const std::shared_ptr<Observatory> mObservatory = std::make_shared<Observatory>([this] { return mNow; });
};

TEST_F(ObservatoryTest, KnowsThePassThatRunsAndTheLastOne) {
  EXPECT_FALSE(mObservatory->discovery().state.isRunning);
  EXPECT_FALSE(mObservatory->discovery().last);
  mObservatory->passBegan();
  EXPECT_TRUE(mObservatory->discovery().state.isRunning);
  mNow += std::chrono::seconds(7);
  mObservatory->passEnded({std::chrono::milliseconds(6'900), 5, 4});
  const auto discovery = mObservatory->discovery();
  EXPECT_FALSE(discovery.state.isRunning);
  EXPECT_EQ(discovery.state.passes, 1U);
  EXPECT_EQ(discovery.state.total, std::chrono::milliseconds(6'900));
  ASSERT_TRUE(discovery.last);
  EXPECT_EQ(discovery.last->began, Observatory::Time(std::chrono::seconds(100)));
  EXPECT_EQ(discovery.last->report.found, 5U);
  EXPECT_EQ(discovery.last->report.listed, 4U);
}

TEST_F(ObservatoryTest, StampsSightingsWithItsClock) {
  mNow += std::chrono::seconds(5);
  mObservatory->sighted(seen("a"));
  EXPECT_EQ(mObservatory->sightings().all().front()->source(Sighting::Source::kSlp)->first, mNow);
}

TEST_F(ObservatoryTest, TellsItsListenerOfChangesAndOfNothingElse) {
  int calls = 0;
  mObservatory->onChange([&] { ++calls; });
  mObservatory->sighted(seen("a"));
  mObservatory->passBegan();
  mObservatory->passEnded({});
  mObservatory->inventoryChanged();
  EXPECT_EQ(calls, 4);
  mObservatory->counted("records", "join", 1);
  mObservatory->measured("jobs", 1);
  mObservatory->requestServed("/healthz", "GET", 200, std::chrono::milliseconds(1));
  mObservatory->sighted({"b", "", Sighting::Source::kSlp, Sighting::Outcome::kLeft, ""});
  EXPECT_EQ(calls, 4);
  mObservatory->onChange({});
  mObservatory->inventoryChanged();
  EXPECT_EQ(calls, 4);
}

TEST_F(ObservatoryTest, HoldsNoLockWhileItCallsOthers) {
  // Each asks, from another thread, for whatever takes a lock; it would wait for ever if one were held.
  const auto elsewhere = [](const std::function<void()>& work) { std::thread(work).join(); };
  const auto everything = [&] {
    elsewhere([&] {
      static_cast<void>(mObservatory->discovery());
      static_cast<void>(mObservatory->sightings().all());
      static_cast<void>(mObservatory->counts().counters());
      mObservatory->provide("other", {});
    });
  };
  int calls = 0;
  mObservatory->onChange([&] { ++calls, everything(); });
  mObservatory->provide("listens", [&]() -> json::UnknownElement { return ++calls, everything(), json::Array(); });
  mObservatory->provideQueues([&]() -> Observatory::Queues { return ++calls, everything(), Observatory::Queues(); });
  mObservatory->provideFront([&]() -> host::FrontCounts { return ++calls, everything(), host::FrontCounts(); });
  mObservatory->sighted(seen("a"));
  mObservatory->passBegan();
  mObservatory->passEnded({});
  mObservatory->inventoryChanged();
  static_cast<void>(mObservatory->provided());
  static_cast<void>(mObservatory->metrics());
  EXPECT_EQ(calls, 7);
}

TEST_F(ObservatoryTest, BearsManyWhoTellAndOneWhoReads) {
  utils::observer::set(mObservatory);
  std::atomic<int> heard = 0;
  mObservatory->onChange([&] { ++heard; });
  std::atomic<int> tellers = 3;
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 500; ++i) {
        utils::observer::sighted(seen(std::to_string(t) + "." + std::to_string(i)));
        utils::observer::counted("records", "join");
        utils::observer::measured("jobs", i);
        utils::observer::inventoryChanged();
        mObservatory->requestServed("/healthz", "GET", 200, std::chrono::milliseconds(1));
      }
      --tellers;
    });
  }
  while (tellers > 0)
    EXPECT_FALSE(mObservatory->metrics().empty());
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(mObservatory->sightings().size(), 1'500U);
  EXPECT_EQ(host::total(mObservatory->counts().kinds("records")), 1'500U);
  EXPECT_EQ(heard, 3'000);
  EXPECT_NE(mObservatory->metrics().find(
                "kvt_http_requests_total{method=\"GET\",resource=\"/healthz\",status=\"2xx\"} 1500\n"),
            std::string::npos)
      << mObservatory->metrics();
}

}  // namespace
