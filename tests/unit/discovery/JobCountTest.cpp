#include <gtest/gtest.h>

#include "discovery/JobCount.h"
#include "support/FakeObserver.h"

namespace {

TEST(JobCount, TellsHowManyJobsWaitAndRun) {
  const support::FakeObserver observer;
  discovery::JobCount jobs;
  jobs.made();
  jobs.made();
  jobs.made();
  jobs.begins();
  EXPECT_EQ(observer.gauge("discovery_jobs_waiting"), 2);
  EXPECT_EQ(observer.gauge("discovery_jobs_running"), 1);
  jobs.ends(true);
  jobs.ends(false);
  EXPECT_EQ(observer.gauge("discovery_jobs_waiting"), 1) << "one was dropped before it began";
  EXPECT_EQ(observer.gauge("discovery_jobs_running"), 0);
}

}  // namespace
