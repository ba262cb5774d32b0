#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/JobDispatch.h"

namespace {

using discovery::dispatchJobs;
using Texts = std::vector<std::string>;

/// Jobs that run until they are finished by `onSleep`. Writes down what is asked of it.
class FakeRunner : public discovery::JobRunner {
 public:
  int runningJobs() override {
    ++polls;
    return running;
  }
  void addJob(const std::string& serviceUrl) override {
    calls.push_back(serviceUrl);
    if (!areJobsInstant) ++running;
  }
  void sleep() override {
    calls.push_back("sleep");
    if (++sleeps == kSleepsOfAnEndlessTest) stopped = true;
    if (onSleep) onSleep();
  }
  bool isStopped() override { return stopped; }

  Texts jobs() const {
    Texts urls = calls;
    std::erase(urls, "sleep");
    return urls;
  }

  static constexpr int kSleepsOfAnEndlessTest = 100'000;

  int running = 0;
  bool areJobsInstant = false;
  bool stopped = false;
  std::function<void()> onSleep;
  Texts calls;
  int polls = 0;
  int sleeps = 0;
};

Texts manyUrls(int count) {
  Texts urls;
  for (int i = 0; i < count; ++i)
    urls.push_back("service:test://10.0." + std::to_string(i / 250) + '.' + std::to_string(i % 250) + ":1");
  return urls;
}

TEST(JobDispatch, DoesNothingWithoutUrls) {
  FakeRunner runner;
  dispatchJobs({}, 4, runner);
  EXPECT_TRUE(runner.calls.empty());
  EXPECT_EQ(runner.polls, 0);
}

TEST(JobDispatch, GivesEachUrlOneJobInTheirOrderAndSleepsAfterEach) {
  FakeRunner runner;
  dispatchJobs({"b", "a", "c"}, 4, runner);
  EXPECT_EQ(runner.calls, (Texts{"b", "sleep", "a", "sleep", "c", "sleep"}));
}

TEST(JobDispatch, DoesNotSleepAfterAJobThatIsDoneAtOnce) {
  FakeRunner runner;
  runner.areJobsInstant = true;
  dispatchJobs({"b", "a", "c"}, 4, runner);
  EXPECT_EQ(runner.calls, (Texts{"b", "a", "c"}));
}

TEST(JobDispatch, BeginsAnewWithTheFirstUrlAfterAJobThatIsDoneAtOnce) {
  FakeRunner runner;
  runner.running = 5;
  runner.areJobsInstant = true;
  runner.onSleep = [&] { runner.running = 0; };  // "a" is held back, and the others are not
  dispatchJobs({"a", "b", "c"}, 4, runner);
  EXPECT_EQ(runner.calls, (Texts{"sleep", "b", "a", "c"}));
}

TEST(JobDispatch, GivesJobsWhileNoMoreThanTheLimitRun) {
  FakeRunner runner;
  runner.onSleep = [&] {
    if (runner.jobs().size() == 3 && runner.calls.size() > 10) runner.stopped = true;
  };
  dispatchJobs({"a", "b", "c", "d", "e"}, 2, runner);
  EXPECT_EQ(runner.jobs(), (Texts{"a", "b", "c"})) << "the limit may be passed by the one that finds it reached";
}

TEST(JobDispatch, SleepsAfterEachUrlThatIsHeldBackAndAfterATurnWithoutAJob) {
  FakeRunner runner;
  runner.running = 3;
  runner.onSleep = [&] {
    if (runner.sleeps == 3) runner.stopped = true;
  };
  dispatchJobs({"a", "b"}, 2, runner);
  EXPECT_EQ(runner.calls, (Texts{"sleep", "sleep", "sleep"}));
  EXPECT_EQ(runner.polls, 2);
}

TEST(JobDispatch, PicksUpInALaterTurnWhatItHeldBack) {
  FakeRunner runner;
  runner.running = 3;
  runner.onSleep = [&] {
    if (runner.sleeps == 2) runner.running = 0;  // "a" and "b" are held back, and "c" is not
  };
  dispatchJobs({"a", "b", "c"}, 2, runner);
  EXPECT_EQ(runner.jobs(), (Texts{"c", "a", "b"}));
}

TEST(JobDispatch, PassesOverADispatchedUrlWithoutAskingForTheRunningJobs) {
  FakeRunner runner;
  runner.onSleep = [&] {
    if (runner.sleeps == 50) runner.stopped = true;
  };
  dispatchJobs({"a", "a", "a"}, 2, runner);
  EXPECT_EQ(runner.jobs(), Texts{"a"});
  EXPECT_EQ(runner.polls, 2) << "before and after the one job";
}

TEST(JobDispatch, IsNeverDoneWithAUrlThatIsThereTwiceAndSleepsAfterEachTurnUntilItIsStopped) {
  FakeRunner runner;
  runner.areJobsInstant = true;
  runner.onSleep = [&] {
    if (runner.sleeps == 1'000) runner.stopped = true;
  };
  dispatchJobs({"a", "b", "a"}, 2, runner);
  EXPECT_EQ(runner.jobs(), (Texts{"a", "b"}));
  EXPECT_EQ(runner.sleeps, 1'000);
}

TEST(JobDispatch, TellsUrlsApartByEachOfTheirBytes) {
  FakeRunner runner;
  runner.areJobsInstant = true;
  const Texts urls = {"a", "A", "a ", "", std::string("a\0b", 3)};
  dispatchJobs(urls, 2, runner);
  EXPECT_EQ(runner.jobs(), urls);
}

TEST(JobDispatch, GivesNoJobAfterAStop) {
  FakeRunner runner;
  runner.stopped = true;
  dispatchJobs({"a"}, 2, runner);
  EXPECT_TRUE(runner.calls.empty());
}

TEST(JobDispatch, EndsItsTurnAtAStop) {
  FakeRunner runner;
  runner.onSleep = [&] {
    if (runner.jobs().size() == 2) runner.stopped = true;
  };
  dispatchJobs({"a", "b", "c", "d"}, 9, runner);
  EXPECT_EQ(runner.jobs(), (Texts{"a", "b"}));
}

TEST(JobDispatch, EndsAtAStopWhileUrlsAreHeldBack) {
  FakeRunner runner;
  runner.running = 9;
  runner.onSleep = [&] {
    if (runner.sleeps == 5) runner.stopped = true;
  };
  dispatchJobs(manyUrls(10'000), 2, runner);
  EXPECT_LE(runner.sleeps, 6);
}

TEST(JobDispatch, AsksForTheRunningJobsAsOftenAsThereAreUrls) {
  const Texts urls = manyUrls(10'000);
  FakeRunner runner;
  runner.areJobsInstant = true;  // each job ends the turn
  dispatchJobs(urls, 2, runner);
  EXPECT_EQ(runner.jobs(), urls);
  EXPECT_EQ(runner.polls, 20'000);
  EXPECT_EQ(runner.sleeps, 0);
}

TEST(JobDispatch, SleepsNoLongerThanItTakesJobsToEnd) {
  const Texts urls = manyUrls(10'000);
  FakeRunner runner;
  runner.onSleep = [&] {
    if (runner.sleeps % 3 == 0) --runner.running;
  };
  dispatchJobs(urls, 16, runner);
  EXPECT_EQ(runner.jobs().size(), urls.size());
  EXPECT_LE(runner.sleeps, 30'010) << "one sleep in three ends a job, and each job makes room for one";
}

}  // namespace
