#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "heartbeat/AnnounceListener.h"
#include "heartbeat/AnnounceSender.h"
#include "heartbeat/IncomingRecord.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/Requests.h"
#include "support/Wait.h"
#include "unit/heartbeat/Network.h"

namespace {

using discovery::DiscoveryMap;
using heartbeat::AnnounceRecord;
using heartbeat::testing::Namespace;
using Datagram = std::vector<std::byte>;
using Hosts = std::map<std::string, json::Object>;

constexpr std::string_view kAttributes = "(ip=10.0.0.7))(server={!a!:1})";
constexpr std::size_t kLongest = 4'096;

Datagram datagramOf(const AnnounceRecord& record) {
  const heartbeat::AnnounceBytes bytes = heartbeat::encodeAnnounceRecord(record);
  return {bytes.begin(), bytes.end()};
}

Datagram datagramOf(std::int32_t kind, std::string_view attributes) {
  return datagramOf(heartbeat::makeAnnounceRecord("service:a://10.0.0.7:8443", kind, 65535, attributes));
}

/// Datagrams reach a worker over the loopback interface of a machine of their own, and are handled as records there.
class RecordsOfStrangers : public heartbeat::testing::NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (IsSkipped()) return;
    mMachine.emplace();
    mSystem.setAddresses({});
    utils::logging::setMask(0);  // there are thousands of records
    discovery::ServerDiscovery::getInstance();
    DiscoveryMap::updateServerList({});
    mMachine->in([this] { ASSERT_TRUE(mListener.open()); });
    mWorker = std::thread([this] {
      mListener.work([this](const heartbeat::AnnounceBytes& bytes) {
        heartbeat::handleAnnounceRecord(heartbeat::decodeAnnounceRecord(bytes));
        ++mHandled;
      });
    });
  }
  void TearDown() override {
    mListener.end();
    if (mWorker.joinable()) mWorker.join();
    DiscoveryMap::updateServerList({});
  }

  /// What the datagram files; it is taken out again.
  Hosts filedBy(const Datagram& datagram) {
    const std::size_t before = mHandled;
    heartbeat::testing::send("127.0.0.1", datagram);
    EXPECT_TRUE(support::waitFor([&] { return mHandled > before; }));
    Hosts filed = DiscoveryMap::getDiscoveredHost();
    if (!filed.empty()) DiscoveryMap::updateServerList({});
    return filed;
  }
  /// Does the work on the machine that listens.
  void onTheMachine(const std::function<void()>& work) const { mMachine->in(work); }

  const Hosts mServer{{"10.0.0.7", support::parsed(R"({"a":1})")}};
  std::mt19937 mRandom{4};
  std::optional<Namespace> mMachine;
  support::FakeSystem mSystem;
  support::LogCapture mLog;
  heartbeat::AnnounceListener mListener;
  std::atomic<std::size_t> mHandled = 0;
  std::thread mWorker;
};

TEST_F(RecordsOfStrangers, OfEveryLengthFileTheServerOnceItsDetailsAreWhole) {
  // Behind the last byte of the details nothing is needed any more: the buffer holds zeros there.
  const std::size_t whole = 100 + kAttributes.size() - 1;
  Datagram datagram = datagramOf(AnnounceRecord::kRegister, kAttributes);
  datagram.resize(kLongest);
  onTheMachine([&] {
    for (std::size_t length = 0; length <= kLongest; ++length) {
      const Hosts filed = filedBy(Datagram(datagram.begin(), datagram.begin() + static_cast<std::ptrdiff_t>(length)));
      ASSERT_EQ(filed, length < whole ? Hosts() : mServer) << length;
    }
  });
}

TEST_F(RecordsOfStrangers, OfRandomBytesFileNobody) {
  onTheMachine([&] {
    for (int round = 0; round < 2'000; ++round) {
      Datagram datagram(mRandom() % (kLongest + 1));
      for (std::byte& byte : datagram)
        byte = static_cast<std::byte>(mRandom());
      // Half of them are registers, whose attributes are random.
      if (round % 2 == 0) std::fill_n(datagram.begin(), std::min<std::size_t>(4, datagram.size()), std::byte{0});
      ASSERT_EQ(filedBy(datagram), Hosts()) << round;
    }
  });
}

TEST_F(RecordsOfStrangers, OfOtherKindsFileNobody) {
  std::vector<std::int32_t> kinds{-1, 1, -2, 2, 256, 65'536, INT32_MIN, INT32_MAX};
  for (int i = 0; i < 500; ++i)
    kinds.push_back(static_cast<std::int32_t>(mRandom() | 1u));
  onTheMachine([&] {
    for (const std::int32_t kind : kinds)
      ASSERT_EQ(filedBy(datagramOf(kind, kAttributes)), Hosts()) << kind;
    EXPECT_EQ(filedBy(datagramOf(AnnounceRecord::kRegister, kAttributes)), mServer);
  });
}

TEST_F(RecordsOfStrangers, WithFieldsThatNothingEndsFileWhatTheirAttributesSay) {
  Datagram datagram = datagramOf(AnnounceRecord::kRegister, kAttributes);
  std::fill(datagram.begin() + 4, datagram.begin() + 100, std::byte{'x'});
  Datagram endless = datagram;
  std::fill(endless.begin() + 100 + static_cast<std::ptrdiff_t>(kAttributes.size()), endless.end(), std::byte{'x'});
  onTheMachine([&] {
    EXPECT_EQ(filedBy(datagram), mServer);
    EXPECT_EQ(filedBy(endless), mServer);
    // Only the last byte of the record ends these details.
    const std::string details = "(ip=10.0.0.7))(server={!a!:!";
    const std::string text = details + std::string(1'540 - details.size() - 2, 'y') + "!}";
    std::transform(text.begin(), text.end(), endless.begin() + 100, [](char c) { return static_cast<std::byte>(c); });
    const Hosts filed = filedBy(endless);
    ASSERT_EQ(filed.size(), 1u);
    EXPECT_EQ(filed.begin()->first, "10.0.0.7");
  });
}

TEST_F(RecordsOfStrangers, WithAnAddressThatNoServerHasFileNobody) {
  const auto withAddressOf = [](std::size_t length) {
    return datagramOf(AnnounceRecord::kRegister, "(ip=" + std::string(length, '1') + "))(server={})");
  };
  onTheMachine([&] {
    EXPECT_EQ(filedBy(withAddressOf(255)).size(), 1u);
    EXPECT_EQ(filedBy(withAddressOf(256)), Hosts());
    EXPECT_EQ(filedBy(withAddressOf(1'500)), Hosts());
  });
}

}  // namespace
