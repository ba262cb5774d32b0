#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/DiscoveryCycle.h"
#include "framework/utils/Thread.h"
#include "support/FakeSlp.h"
#include "support/LogCapture.h"
#include "support/PreferencesGuard.h"
#include "support/Wait.h"

/// A discovery cycle of its own on an SLP that is made up. A job does what `onJob` does, which at first is to file the
/// URL as the key of a server; a pass publishes as the inventory does.
class DiscoveryCycleTest : public ::testing::Test {
 protected:
  static constexpr const char* kKvtType = "service:x-mgmt.quorvel:kvt";
  static constexpr const char* kWbemType = "service:wbem";

  DiscoveryCycleTest();
  /// Ends what still runs, as a stop does.
  ~DiscoveryCycleTest() override;

  discovery::DiscoveryCycle makeCycle(
      std::chrono::milliseconds maxWaitForJobs = discovery::DiscoveryCycle::kMaxWaitForJobs);
  /// Runs a cycle in its thread.
  void start(std::chrono::milliseconds maxWaitForJobs = discovery::DiscoveryCycle::kMaxWaitForJobs);
  /// Waits for its end, which somebody has to bring about.
  void join();
  /// Runs one pass, with the loop about it.
  void runOnePass();
  void stop();

  /// Lets the jobs of the URLs wait until they are released.
  void holdJobs();
  void releaseJobs();
  /// Jobs that have begun.
  std::size_t begunJobs() const { return mBegunJobs; }

  support::PreferencesGuard preferences;
  support::FakeSlp slp;
  discovery::HostLists lists;
  discovery::ServiceUrls urls;
  discovery::ServiceUrls otherUrls;
  discovery::Published<utils::ThreadPool> pool;
  discovery::SlpHandles handles;
  std::atomic<bool> isStopped = false;
  std::atomic<std::int32_t> status = 1;
  utils::Mutex passMutex;
  utils::Mutex filing;
  std::function<void(const std::string& serviceUrl)> onJob;
  /// Before and after what the end of a pass publishes.
  std::function<void()> beforePublishing;
  std::function<void()> afterPublishing;
  std::atomic<int> publishedPasses = 0;
  const support::LogCapture log;

 private:
  void publish();

  std::mutex mHeldJobs;
  std::unique_lock<std::mutex> mHold;
  std::atomic<std::size_t> mBegunJobs = 0;
  std::optional<discovery::DiscoveryCycle> mRunning;
  std::unique_ptr<utils::Thread> mThread;
};
