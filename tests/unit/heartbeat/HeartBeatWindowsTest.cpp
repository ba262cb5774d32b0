#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <optional>
#include <sched.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "heartbeat/AnnounceSender.h"
#include "heartbeat/HeartBeatWindows.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/PreferencesGuard.h"
#include "support/Wait.h"
#include "unit/heartbeat/Network.h"

namespace {

using discovery::DiscoveryMap;
using discovery::HeartBeatWindows;
using heartbeat::AnnounceRecord;
using heartbeat::HeartBeat;
using heartbeat::testing::descriptorsOfThisProcess;
using heartbeat::testing::Namespace;
using heartbeat::testing::threadsOfThisProcess;
using support::waitFor;

constexpr const char* kUrl = "service:x-mgmt.quorvel:kvt://10.0.0.7:8443";
constexpr const char* kAttributes = R"((ip=10.0.0.7))(server={"a":1}))";
constexpr const char* kAnnounced = "(ip=10.0.0.7))(server={!a!:1})";

/// How many threads of this process have that name, as far as the system keeps it, and are in that state if one is
/// given ('S': they sleep).
int threadsNamed(const std::string& name, char state = '\0') {
  int count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream file(task.path() / "stat");
    std::string line;
    std::getline(file, line);  // "123 (name) S ..."
    const std::size_t end = line.rfind(") ");
    if (end == std::string::npos || !line.substr(0, end).ends_with(" (" + name.substr(0, 15))) continue;
    if (state == '\0' || line[end + 2] == state) ++count;
  }
  return count;
}

/// What the sockets of that UDP port have received, and nobody has read, in the calling thread's namespace.
unsigned long bytesWaiting(std::uint16_t port) {
  std::ifstream file("/proc/thread-self/net/udp");
  std::string line;
  std::getline(file, line);
  unsigned long bytes = 0;
  while (std::getline(file, line)) {
    std::istringstream words(line);
    std::string number, local, remote, state, queues;
    words >> number >> local >> remote >> state >> queues;  // "1: 00000000:0737 00000000:0000 07 00000000:00000000"
    if (std::stoul(local.substr(local.find(':') + 1), nullptr, 16) != port) continue;
    bytes += std::stoul(queues.substr(queues.find(':') + 1), nullptr, 16);
  }
  return bytes;
}

bool isFiled() {
  return DiscoveryMap::getDiscoveredHost().count("10.0.0.7") == 1;
}

TEST(HeartBeat, IsTheProcessesOwnUnlessAnotherIsPutInPlace) {
  EXPECT_EQ(HeartBeat::getInstance(), HeartBeatWindows::getInstance());
  struct Other : HeartBeat {
    void performMulticast(const char*, int, unsigned short, std::string) override {}
    void invokeThread() override {}
    void terminateThread() override {}
  } other;
  EXPECT_EQ(HeartBeat::setInstance(&other), nullptr);
  EXPECT_EQ(HeartBeat::getInstance(), &other);
  EXPECT_EQ(HeartBeat::setInstance(nullptr), &other);
  EXPECT_EQ(HeartBeat::getInstance(), HeartBeatWindows::getInstance());
}

/// The process's own heartbeat. Its sockets and workers stay where it first listened, so all of these tests share one
/// machine, whose port they reach over its loopback interface.
class HeartBeatWindowsTest : public heartbeat::testing::NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (IsSkipped()) return;
    static const Namespace machine;
    mMachine = &machine;
    mSystem.setAddresses({});
    discovery::ServerDiscovery::getInstance();  // made here, its threads do not bear a worker's name
    DiscoveryMap::updateServerList({});
  }
  void TearDown() override {
    if (mMachine == nullptr) return;
    mHeartBeat.terminateThread();
    DiscoveryMap::updateServerList({});
  }

  /// Returns when the workers run.
  void listen() {
    mMachine->in([this] { mHeartBeat.invokeThread(); });
    EXPECT_TRUE(waitFor([] { return threadsNamed("announceworker") == 5; }));
    EXPECT_TRUE(waitFor([] { return threadsNamed("slpnotificationthread") == 1; }));
  }
  void send(int kind) {
    const auto bytes = heartbeat::encodeAnnounceRecord(heartbeat::makeAnnounceRecord(kUrl, kind, 65535, kAnnounced));
    mMachine->in([&] { heartbeat::testing::send("127.0.0.1", bytes); });
  }

  /// Returns when no record waits in the kernel and none is with a worker: all of them wait for the next.
  void waitUntilAllIsRead() const {
    mMachine->in([] { EXPECT_TRUE(waitFor([] { return bytesWaiting(heartbeat::kAnnouncePort) == 0; })); });
    EXPECT_TRUE(waitFor([] { return threadsNamed("announceworker", 'S') == 5; }));
  }

  HeartBeatWindows& mHeartBeat = *HeartBeatWindows::getInstance();
  const Namespace* mMachine = nullptr;
  support::FakeSystem mSystem;
  support::PreferencesGuard mPreferences;
  support::LogCapture mLog;
};

TEST_F(HeartBeatWindowsTest, SendsAndLogsNothingWhenAnnouncingIsOff) {
  mPreferences.set("enable_multicast", "0");
  for (const int kind : {-1, 0, 1, 2})
    mMachine->in([&] { mHeartBeat.performMulticast(kUrl, kind, 1, kAttributes); });
  EXPECT_FALSE(mLog.containsPart("HeartBeatWin:"));
}

TEST_F(HeartBeatWindowsTest, LogsWhatItAnnounces) {
  mPreferences.set("enable_multicast", "1");
  for (const int kind : {-1, 0, 1, 2})
    mMachine->in([&] { mHeartBeat.performMulticast(kUrl, kind, 77, kAttributes); });
  const std::string prefix = "HeartBeatWin:performMulticast:";
  const std::string lifetime = prefix + "lslpData.lifetime:77";
  EXPECT_THAT(
      mLog.texts(utils::LOG_DETAIL),
      testing::ElementsAre(prefix + "Join multicast group:pcSrvURL:" + kUrl, lifetime,
                           prefix + "Register:pcSrvURL:" + kUrl, lifetime, prefix + "Deregister:pcSrvURL:" + kUrl,
                           lifetime, prefix + "Deregister:pcSrvURL:" + kUrl, lifetime));
}

TEST_F(HeartBeatWindowsTest, TakesANullUrlForAnEmptyOne) {
  mPreferences.set("enable_multicast", "1");
  mMachine->in([&] { mHeartBeat.performMulticast(nullptr, 0, 1, ""); });
  EXPECT_TRUE(mLog.contains("HeartBeatWin:performMulticast:Register:pcSrvURL:"));
}

TEST_F(HeartBeatWindowsTest, IsHeardByAnother) {
  mPreferences.set("enable_multicast", "1");
  const Namespace other;
  heartbeat::testing::connect(other, "10.0.0.7", *mMachine, "10.0.0.8", "eth7");
  mSystem.setInterfaces({{"eth7", "", {"10.0.0.8"}, {}}});
  listen();
  std::vector<std::string> joined;
  ASSERT_TRUE(waitFor([&] {
    mMachine->in([&] { joined = heartbeat::testing::interfacesInGroup(); });
    return joined == std::vector<std::string>{"eth7"};
  }));
  other.in([&] { mHeartBeat.performMulticast(kUrl, 0, 65535, kAttributes); });
  EXPECT_TRUE(waitFor(isFiled));
  other.in([&] { mHeartBeat.performMulticast(kUrl, 1, 0, ""); });
  EXPECT_TRUE(waitFor([] { return !isFiled(); }));
  mMachine->ip("link del eth7");
}

TEST_F(HeartBeatWindowsTest, ReadsAndDropsRecordsWhileTerminated) {
  listen();
  send(AnnounceRecord::kRegister);
  ASSERT_TRUE(waitFor(isFiled));
  mHeartBeat.terminateThread();
  mLog.clear();
  for (int i = 0; i < 100; ++i)
    send(AnnounceRecord::kDeregister);
  waitUntilAllIsRead();
  listen();
  send(AnnounceRecord::kJoin);
  const std::string joined = "HeartBeatWin:HandleIncomingData:Joined multicast group IP:10.0.0.7";
  EXPECT_TRUE(waitFor([&] { return mLog.contains(joined); }));
  EXPECT_TRUE(isFiled());
  EXPECT_FALSE(mLog.containsPart("DEREGISTRATION!"));
}

TEST_F(HeartBeatWindowsTest, HandlesNothingWhileTerminated) {
  const AnnounceRecord record = heartbeat::makeAnnounceRecord(kUrl, 0, 65535, kAnnounced);
  mHeartBeat.terminateThread();
  mHeartBeat.HandleIncomingData(&record);
  EXPECT_FALSE(isFiled());
  listen();
  mHeartBeat.HandleIncomingData(nullptr);
  EXPECT_FALSE(isFiled());
  mHeartBeat.HandleIncomingData(&record);
  EXPECT_TRUE(isFiled());
}

TEST_F(HeartBeatWindowsTest, KeepsItsThreadWaitingWhenItIsTerminated) {
  listen();
  mLog.clear();
  mHeartBeat.terminateThread();
  mHeartBeat.terminateThread();
  EXPECT_EQ(threadsNamed("slpnotificationthread"), 1);
  EXPECT_EQ(threadsNamed("announceworker"), 5);
  EXPECT_FALSE(mLog.containsPart(":exiting"));
  listen();
  EXPECT_EQ(mLog.count("HeartBeatWin:startSLPNotificationThread:CreateWorkers:exiting"), 1u);
}

TEST_F(HeartBeatWindowsTest, GrowsByNothingInAThousandStarts) {
  listen();
  const auto threads = threadsOfThisProcess();
  const auto descriptors = descriptorsOfThisProcess();
  std::size_t heap = 0;
  mMachine->in([&] {
    for (int round = 0; round < 1'000; ++round) {
      mHeartBeat.invokeThread();
      if (round % 2 == 1) mHeartBeat.terminateThread();
      if (round % 100 == 99) mLog.clear();
      if (round == 99) heap = mallinfo2().uordblks;
    }
  });
  listen();
  mLog.clear();
  EXPECT_TRUE(waitFor([&] { return threadsOfThisProcess() == threads; })) << threadsOfThisProcess();
  EXPECT_EQ(descriptorsOfThisProcess(), descriptors);
  EXPECT_LT(mallinfo2().uordblks, heap + 64 * 1024);
}

/// Keeps the handling of a join inside the log for a while, unless the listener is terminated meanwhile.
struct SlowLog {
  static void receive(void* context, utils::log_level_t, const std::string& text) {
    auto& self = *static_cast<SlowLog*>(context);
    if (text.find("Joined multicast group") == std::string::npos) return;
    self.isInside = true;
    self.sawTermination = waitFor([&] { return self.isTerminated.load(); }, std::chrono::milliseconds(200));
    self.isHandled = true;
  }
  std::atomic<bool> isTerminated = false;
  std::atomic<bool> isInside = false;
  std::atomic<bool> isHandled = false;
  std::atomic<bool> sawTermination = false;
};

TEST_F(HeartBeatWindowsTest, WaitsForTheRecordThatIsBeingHandled) {
  SlowLog slow;
  listen();
  utils::logging::setMask(utils::LOG_DETAIL);
  utils::logging::setSink(&SlowLog::receive, &slow);
  send(AnnounceRecord::kJoin);
  EXPECT_TRUE(waitFor([&] { return slow.isInside.load(); }));
  mHeartBeat.terminateThread();
  slow.isTerminated = true;
  EXPECT_TRUE(slow.isHandled);
  EXPECT_FALSE(slow.sawTermination);
  utils::logging::setSink(nullptr, nullptr);
}

TEST_F(HeartBeatWindowsTest, MayBeAskedByManyThreadsAtOnce) {
  mPreferences.set("enable_multicast", "1");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      mMachine->in([&] {
        for (int round = 0; round < 25; ++round) {
          mHeartBeat.invokeThread();
          mHeartBeat.performMulticast(kUrl, 0, 1, kAttributes);
          heartbeat::testing::send("127.0.0.1", heartbeat::encodeAnnounceRecord(
                                                    heartbeat::makeAnnounceRecord(kUrl, round % 3 - 1, 1, kAnnounced)));
          mHeartBeat.terminateThread();
        }
      });
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  listen();
  send(AnnounceRecord::kRegister);
  EXPECT_TRUE(waitFor(isFiled));
}

/// Tests that need a process in which nothing has listened yet.
class HeartBeatWindowsOfAProcess : public heartbeat::testing::NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    mSystem.setAddresses({});
  }

  /// Ends the process as a program ends, with 0 when all is well.
  [[noreturn]] static void finish(bool isGood) { std::exit(isGood && !HasFailure() ? 0 : 1); }

  support::FakeSystem mSystem;
};

TEST_F(HeartBeatWindowsOfAProcess, EndsWithTheProcess) {
  const auto run = [] {
    unshare(CLONE_NEWNET);
    HeartBeat::getInstance()->invokeThread();
    finish(waitFor([] { return threadsNamed("announceworker") == 5; }));
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST_F(HeartBeatWindowsOfAProcess, EndsBeforeItHasBegun) {
  const auto run = [] {
    unshare(CLONE_NEWNET);
    HeartBeat::getInstance()->invokeThread();
    HeartBeat::getInstance()->terminateThread();
    finish(true);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST_F(HeartBeatWindowsOfAProcess, ListensLaterWhenThereIsNoSocket) {
  const auto run = [] {
    unshare(CLONE_NEWNET);
    support::LogCapture log;
    const std::string exiting = "HeartBeatWin:startSLPNotificationThread:CreateNetConnections:exiting";
    // Made while there are descriptors, which a sanitizer needs to look at a class for the first time.
    HeartBeat::getInstance()->terminateThread();
    utils::Thread("first", [] {}).join();
    {
      const heartbeat::testing::DescriptorLimit none(0);
      HeartBeat::getInstance()->invokeThread();
      EXPECT_TRUE(waitFor([&] { return log.has(utils::LOG_ERROR, exiting); }));
    }
    EXPECT_EQ(threadsNamed("announceworker"), 0);
    HeartBeat::getInstance()->invokeThread();
    finish(waitFor([] { return threadsNamed("announceworker") == 5; }));
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

/// From the beginning of `CreateWorkers` on no thread can be made.
void refuseWorkers(void* context, utils::log_level_t, const std::string& text) {
  if (text == "discovery::HeartBeatWindows::CreateWorkers") {
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 50);
    pthread_setattr_default_np(&huge);
    pthread_attr_destroy(&huge);
  }
  if (text == "HeartBeatWin:startSLPNotificationThread:CreateWorkers:exiting") {
    *static_cast<std::atomic<bool>*>(context) = true;
  }
}

TEST_F(HeartBeatWindowsOfAProcess, ListensLaterWhenThereAreNoWorkers) {
  const auto run = [] {
    unshare(CLONE_NEWNET);
    pthread_attr_t before;
    pthread_getattr_default_np(&before);
    std::atomic<bool> isOver = false;
    utils::logging::setConsole(false);
    utils::logging::setMask(~0u);
    utils::logging::setSink(&refuseWorkers, &isOver);
    HeartBeat::getInstance()->invokeThread();
    EXPECT_TRUE(waitFor([&] { return isOver.load(); }));
    // The notification thread cannot be made either, and nobody hears of it but the log.
    HeartBeat::getInstance()->invokeThread();
    utils::logging::setSink(nullptr, nullptr);
    EXPECT_EQ(threadsNamed("announceworker"), 0);
    pthread_setattr_default_np(&before);
    HeartBeat::getInstance()->invokeThread();
    finish(waitFor([] { return threadsNamed("announceworker") == 5; }));
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

}  // namespace
