#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/LinuxSystem.h"
#include "heartbeat/AnnounceListener.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/Wait.h"
#include "unit/heartbeat/Network.h"

namespace {

using heartbeat::AnnounceBytes;
using heartbeat::AnnounceListener;
using heartbeat::testing::connect;
using heartbeat::testing::interfacesInGroup;
using heartbeat::testing::Namespace;
using support::waitFor;

constexpr const char* kLoopback = "127.0.0.1";

std::vector<std::byte> bytesOf(std::size_t length, unsigned char value) {
  return std::vector<std::byte>(length, static_cast<std::byte>(value));
}

/// A listener on a machine of its own, with so many workers that keep what they are handed.
class Listening {
 public:
  Listening(const Namespace& machine, int workers, AnnounceListener::Handler handle) : mMachine(machine) {
    mMachine.in([&] { ASSERT_TRUE(mListener.open()); });
    for (int i = 0; i < workers; ++i)
      mWorkers.emplace_back([this, handle] { mMachine.in([&] { mListener.work(handle); }); });
  }
  ~Listening() {
    mListener.end();
    for (std::thread& worker : mWorkers)
      worker.join();
  }

  AnnounceListener& listener() { return mListener; }

 private:
  const Namespace& mMachine;
  AnnounceListener mListener;
  std::vector<std::thread> mWorkers;
};

/// The buffers that workers were handed, in their order. Safe for every thread.
class Records {
 public:
  AnnounceListener::Handler keep() {
    return [this](const AnnounceBytes& bytes) {
      const std::lock_guard lock(mMutex);
      mRecords.push_back(bytes);
    };
  }
  std::size_t count() const {
    const std::lock_guard lock(mMutex);
    return mRecords.size();
  }
  /// Waits until there are so many.
  std::vector<AnnounceBytes> wait(std::size_t expected) const {
    EXPECT_TRUE(waitFor([&] { return count() >= expected; })) << count();
    const std::lock_guard lock(mMutex);
    return mRecords;
  }
  /// Waits until there is one, and takes it out.
  std::optional<AnnounceBytes> take() {
    EXPECT_TRUE(waitFor([&] { return count() > 0; }));
    const std::lock_guard lock(mMutex);
    if (mRecords.empty()) return std::nullopt;
    const AnnounceBytes first = mRecords.front();
    mRecords.erase(mRecords.begin());
    return first;
  }

 private:
  mutable std::mutex mMutex;
  std::vector<AnnounceBytes> mRecords;
};

class AnnounceListenerTest : public heartbeat::testing::NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (!IsSkipped()) mMachine.emplace();
    mSystem.setAddresses({});
  }

  void send(const std::vector<std::byte>& bytes) {
    mMachine->in([&] { heartbeat::testing::send(kLoopback, bytes); });
  }

  std::optional<Namespace> mMachine;
  support::FakeSystem mSystem;
  support::LogCapture mLog;
  Records mRecords;
};

TEST_F(AnnounceListenerTest, HandsOnADatagramOfEveryLength) {
  const Listening listening(*mMachine, 1, mRecords.keep());
  AnnounceBytes expected{};
  std::mt19937 random(7);
  mMachine->in([&] {
    for (std::size_t length = 0; length <= 4'096; ++length) {
      const auto datagram = bytesOf(length, static_cast<unsigned char>(random()));
      heartbeat::testing::send(kLoopback, datagram);
      // What is too long is cut, and a shorter one leaves the tail of those before it in place.
      std::copy_n(datagram.begin(), std::min(length, expected.size()), expected.begin());
      ASSERT_EQ(mRecords.take(), expected) << length;
    }
  });
}

TEST_F(AnnounceListenerTest, BeginsWithABufferOfZeros) {
  const Listening listening(*mMachine, 1, mRecords.keep());
  send({});
  EXPECT_EQ(mRecords.wait(1).front(), AnnounceBytes{});
}

TEST_F(AnnounceListenerTest, CutsTheLongestDatagramThereIs) {
  const Listening listening(*mMachine, 1, mRecords.keep());
  send(bytesOf(65'507, 9));
  const auto record = mRecords.wait(1).front();
  EXPECT_TRUE(std::all_of(record.begin(), record.end(), [](std::byte byte) { return byte == std::byte{9}; }));
  send(bytesOf(1, 8));
  EXPECT_EQ(mRecords.wait(2).back()[0], std::byte{8});
}

TEST_F(AnnounceListenerTest, HandsEachDatagramToOneWorker) {
  constexpr std::uint32_t kDatagrams = 5'000;
  constexpr std::uint32_t kAtOnce = 50;  // as many as the kernel keeps for sure
  const Listening listening(*mMachine, 5, mRecords.keep());
  mMachine->in([&] {
    for (std::uint32_t number = 0; number < kDatagrams; ++number) {
      std::vector<std::byte> datagram(sizeof number);
      std::memcpy(datagram.data(), &number, sizeof number);
      heartbeat::testing::send(kLoopback, datagram);
      if ((number + 1) % kAtOnce == 0) mRecords.wait(number + 1);
    }
  });
  std::map<std::uint32_t, int> times;
  for (const AnnounceBytes& record : mRecords.wait(kDatagrams)) {
    std::uint32_t number = 0;
    std::memcpy(&number, record.data(), sizeof number);
    ++times[number];
  }
  EXPECT_EQ(times.size(), kDatagrams);
  EXPECT_TRUE(std::all_of(times.begin(), times.end(), [](const auto& entry) { return entry.second == 1; }));
}

TEST_F(AnnounceListenerTest, HandlesRecordsInFiveWorkersAtOnce) {
  std::atomic<int> inside = 0;
  std::atomic<int> together = 0;
  const Listening listening(*mMachine, 5, [&](const AnnounceBytes&) {
    ++inside;
    if (waitFor([&] { return inside == 5; })) ++together;
  });
  for (int i = 0; i < 5; ++i)
    send(bytesOf(1, 1));
  EXPECT_TRUE(waitFor([&] { return together == 5; }));
}

TEST_F(AnnounceListenerTest, DropsOnlyTheRecordThatThrows) {
  std::atomic<int> calls = 0;
  const Listening listening(*mMachine, 1, [&](const AnnounceBytes& bytes) {
    ++calls;
    if (bytes[0] == std::byte{1}) throw std::runtime_error("bad record");
    if (bytes[0] == std::byte{2}) throw 2;
  });
  for (const int value : {1, 2, 1, 3})
    send(bytesOf(1, static_cast<unsigned char>(value)));
  EXPECT_TRUE(waitFor([&] { return calls == 4; }));
  // One line for all that a stranger sends in a while.
  EXPECT_THAT(mLog.texts(utils::LOG_ERROR),
              testing::ElementsAre("HeartBeatWin:WorkerThread:a record was dropped:bad record"));
}

TEST_F(AnnounceListenerTest, EndsWhileNothingComes) {
  Listening listening(*mMachine, 5, mRecords.keep());
  send(bytesOf(1, 1));
  mRecords.wait(1);
}

TEST_F(AnnounceListenerTest, EndsUnderAFlood) {
  std::atomic<bool> isOver = false;
  std::thread flood([&] {
    mMachine->in([&] {
      while (!isOver)
        heartbeat::testing::send(kLoopback, bytesOf(64, 1));
    });
  });
  {
    const Listening listening(*mMachine, 5, mRecords.keep());
    mRecords.wait(100);
  }
  isOver = true;
  flood.join();
}

TEST_F(AnnounceListenerTest, OpensLaterWhenThereIsNoDescriptor) {
  mMachine->in([] {
    // Too few for the socket, the event set, the signal of the end, the notifications and the alarm, one by one. It
    // does without the last two.
    for (std::size_t more = 0; more < 5; ++more) {
      AnnounceListener listener;
      {
        const heartbeat::testing::DescriptorLimit limit(more);
        EXPECT_EQ(listener.open(), more >= 3) << more;
      }
      EXPECT_TRUE(listener.open()) << more;
      EXPECT_TRUE(listener.open()) << more;
    }
  });
  const auto error = std::to_string(EMFILE);
  EXPECT_TRUE(mLog.has(utils::LOG_ERROR, "HeartBeatWin:CreateNetConnections:socket:WSAGetLastError:" + error));
  EXPECT_TRUE(mLog.has(utils::LOG_ERROR,
                       "HeartBeatWin:CreateNetConnections:CreateIoCompletionPort Failed:WSAGetLastError:" + error));
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, "HeartBeatWin:CreateNetConnections:cannot follow the interfaces:" + error));
}

/// The descriptors of this process whose link reads like that.
std::vector<int> descriptorsNamed(const std::string& name) {
  std::vector<int> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    if (std::filesystem::read_symlink(entry.path(), error) == name) found.push_back(std::stoi(entry.path().filename()));
  }
  return found;
}

/// The socket of this process that is bound to the port of the records and is not the other one; -1 without one.
int announceDescriptor(int other = -1) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename());
    sockaddr_in own{};
    socklen_t size = sizeof own;
    const bool isSocket = getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &size) == 0;
    if (descriptor != other && isSocket && own.sin_family == AF_INET && own.sin_port == htons(heartbeat::kAnnouncePort))
      return descriptor;
  }
  return -1;
}

/// What cannot be waited on, and is no socket.
heartbeat::Descriptor nullDevice() {
  return heartbeat::Descriptor(open("/dev/null", O_RDWR | O_CLOEXEC));
}

TEST_F(AnnounceListenerTest, EndsAWorkerThatCannotWait) {
  AnnounceListener listener;
  const auto before = descriptorsNamed("anon_inode:[eventpoll]");
  mMachine->in([&] { ASSERT_TRUE(listener.open()); });
  auto events = descriptorsNamed("anon_inode:[eventpoll]");
  std::erase_if(events, [&](int each) { return std::find(before.begin(), before.end(), each) != before.end(); });
  ASSERT_EQ(events.size(), 1u);
  ASSERT_GE(dup2(nullDevice().get(), events.front()), 0);
  listener.work(mRecords.keep());
  EXPECT_THAT(mLog.texts(utils::LOG_ERROR), testing::ElementsAre("HeartBeatWin:WorkerThread:WorkThread Wait Failed"));
}

TEST_F(AnnounceListenerTest, SaysOnceThatItCannotReadAndGoesOn) {
  const int other = announceDescriptor();  // another test's listener may live on
  AnnounceListener listener;
  mMachine->in([&] { ASSERT_TRUE(listener.open()); });
  const int socket = announceDescriptor(other);
  ASSERT_GE(socket, 0);
  // The event set goes by the socket, which lives on in a copy, and the worker by its number.
  const heartbeat::Descriptor copy(dup(socket));
  ASSERT_GE(dup2(nullDevice().get(), socket), 0);
  const std::string text = "HeartBeatWin:WorkerThread:sReadFile Failed:dwErrCode:" + std::to_string(ENOTSOCK);
  std::thread worker([&] { listener.work(mRecords.keep()); });
  send(bytesOf(1, 1));
  EXPECT_TRUE(waitFor([&] { return mLog.has(utils::LOG_ERROR, text); }));
  listener.end();
  worker.join();
  EXPECT_THAT(mLog.texts(utils::LOG_ERROR), testing::ElementsAre(text));
}

/// Two machines; this one listens and lists its interfaces as the real one does.
class AnnounceListenerOnTheWire : public heartbeat::testing::NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (IsSkipped()) return;
    mHere.emplace();
    mThere.emplace();
    mHere->in([this] { mSystem = std::make_unique<utils::LinuxSystem>(); });
    mBefore = utils::System::set_instance(mSystem.get());
  }
  void TearDown() override {
    if (mSystem) utils::System::set_instance(mBefore);
  }

  std::vector<std::string> joined() {
    std::vector<std::string> interfaces;
    mHere->in([&] { interfaces = interfacesInGroup(); });
    return interfaces;
  }
  bool waitUntilJoined(const std::vector<std::string>& expected) {
    return waitFor([&] { return joined() == expected; });
  }
  void announceFromThere(unsigned char value = 7) {
    mThere->in([value] { heartbeat::testing::send(heartbeat::kAnnounceGroup, bytesOf(1'640, value), "eth0"); });
  }

  std::optional<Namespace> mHere;
  std::optional<Namespace> mThere;
  std::unique_ptr<utils::LinuxSystem> mSystem;
  utils::System* mBefore = nullptr;
  support::LogCapture mLog;
  Records mRecords;
};

TEST_F(AnnounceListenerOnTheWire, HearsTheGroupWithoutARoute) {
  connect(*mHere, "10.9.0.1", *mThere, "10.9.0.2");
  const Listening listening(*mHere, 5, mRecords.keep());
  announceFromThere();
  EXPECT_EQ(mRecords.wait(1).front()[1'639], std::byte{7});
}

TEST_F(AnnounceListenerOnTheWire, HearsTheGroupWithARoute) {
  connect(*mHere, "10.9.0.1", *mThere, "10.9.0.2");
  mHere->ip("route add default via 10.9.0.2");
  const Listening listening(*mHere, 5, mRecords.keep());
  EXPECT_FALSE(mLog.containsPart("IP_ADD_MEMBERSHIP"));
  announceFromThere(7);
  announceFromThere(8);
  std::vector<std::byte> heard;
  for (const AnnounceBytes& bytes : mRecords.wait(2))
    heard.push_back(bytes[1'639]);
  EXPECT_THAT(heard, testing::UnorderedElementsAre(std::byte{7}, std::byte{8}));
}

TEST_F(AnnounceListenerOnTheWire, JoinsOnAnInterfaceThatComesLater) {
  const Listening listening(*mHere, 5, mRecords.keep());
  EXPECT_TRUE(joined().empty());
  connect(*mHere, "10.9.0.1", *mThere, "10.9.0.2");
  ASSERT_TRUE(waitUntilJoined({"eth0"}));
  announceFromThere();
  mRecords.wait(1);
  mHere->ip("link del eth0");
  ASSERT_TRUE(waitUntilJoined({}));
  connect(*mHere, "10.9.1.1", *mThere, "10.9.1.2");
  ASSERT_TRUE(waitUntilJoined({"eth0"}));
  announceFromThere();
  mRecords.wait(2);
}

TEST_F(AnnounceListenerOnTheWire, FollowsTheInterfacesOnceItCan) {
  // With 3 descriptors there are no notifications, with 4 no alarm.
  for (const std::size_t more : {3u, 4u}) {
    AnnounceListener listener;
    mHere->in([&] {
      {
        const heartbeat::testing::DescriptorLimit limit(more);
        ASSERT_TRUE(listener.open());
      }
      ASSERT_TRUE(listener.open());
    });
    std::thread worker([&] { mHere->in([&] { listener.work(mRecords.keep()); }); });
    connect(*mHere, "10.9.0.1", *mThere, "10.9.0.2");
    EXPECT_TRUE(waitUntilJoined({"eth0"})) << more;
    mHere->ip("link del eth0");
    EXPECT_TRUE(waitUntilJoined({})) << more;
    listener.end();
    worker.join();
  }
}

/// Whose interfaces cannot be listed, to begin with.
class MuteSystem : public support::FakeSystem {
 public:
  MuteSystem() {
    setInterfaces({});
    failGetIPAddresses();
  }
  int getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&ipv6)[kMaxAddresses], int& count4,
                     int& count6) override {
    ++timesAsked;
    return FakeSystem::getIPAddresses(ipv4, ipv6, count4, count6);
  }
  void speak() {
    failGetIPAddresses(false);
    setInterfaces({{"eth0", "", {"10.9.0.1"}, {}}});
  }
  std::atomic<int> timesAsked = 0;
};

TEST_F(AnnounceListenerOnTheWire, ListsTheInterfacesAgainUntilItCan) {
  connect(*mHere, "10.9.0.1", *mThere, "10.9.0.2");
  MuteSystem system;
  const Listening listening(*mHere, 2, mRecords.keep());
  // Nothing changes on the machine, so that only the alarm can bring it to look again, and again.
  EXPECT_TRUE(waitFor([&] { return system.timesAsked >= 3; }));
  EXPECT_TRUE(joined().empty());
  system.speak();
  EXPECT_TRUE(waitUntilJoined({"eth0"}));
}

TEST_F(AnnounceListenerOnTheWire, StaysInTheGroupWhenAnAddressIsReplaced) {
  connect(*mHere, "10.9.0.1", *mThere, "10.9.0.2");
  const Listening listening(*mHere, 5, mRecords.keep());
  for (const std::string address : {"10.9.0.3", "10.9.0.4"}) {
    mHere->ip("addr flush dev eth0");
    mHere->ip("addr add " + address + "/24 dev eth0");
    ASSERT_TRUE(waitUntilJoined({"eth0"}));
  }
  announceFromThere();
  mRecords.wait(1);
}

TEST_F(AnnounceListenerOnTheWire, SurvivesMoreChangesThanTheKernelKeeps) {
  connect(*mHere, "10.9.0.1", *mThere, "10.9.0.2");
  AnnounceListener listener;
  mHere->in([&] { ASSERT_TRUE(listener.open()); });
  const std::string batch = testing::TempDir() + "announce-ip-batch-" + std::to_string(getpid());
  {
    std::ofstream file(batch);
    for (int round = 0; round < 3'000; ++round)
      file << "addr del 10.9.0.1/24 dev eth0\naddr add 10.9.0.1/24 dev eth0\n";
  }
  mHere->ip("-batch " + batch);
  unlink(batch.c_str());
  std::thread worker([&] { mHere->in([&] { listener.work(mRecords.keep()); }); });
  EXPECT_TRUE(waitUntilJoined({"eth0"}));
  listener.end();
  worker.join();
}

}  // namespace
