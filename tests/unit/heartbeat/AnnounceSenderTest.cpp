#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "heartbeat/AnnounceSender.h"
#include "heartbeat/AnnounceSocket.h"
#include "heartbeat/GroupAddress.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/Wait.h"
#include "unit/heartbeat/Network.h"

namespace {

using heartbeat::AnnounceBytes;
using heartbeat::AnnounceRecord;
using heartbeat::makeAnnounceRecord;
using heartbeat::sendAnnounceRecord;
using heartbeat::testing::connect;
using heartbeat::testing::Namespace;
using testing::ElementsAre;

std::string addressOf(const std::string& url) {
  return std::string(makeAnnounceRecord(url, 0, 0, "").address);
}

TEST(AnnounceSender, TakesTheAddressFromTheUrl) {
  EXPECT_EQ(addressOf("service:x-mgmt.quorvel:kvt://10.0.0.5:8443"), "10.0.0.5");
  EXPECT_EQ(addressOf("service:a://10.0.0.5:8443/path/10.0.0.6:1"), "10.0.0.6");
  EXPECT_EQ(addressOf("10.0.0.5:8443"), "10.0.0.5");
  EXPECT_EQ(addressOf("a:b:1"), "a:b");
  EXPECT_EQ(addressOf("service:a://[2001:db8::1]:8443"), "[2001:db8::1]");
}

TEST(AnnounceSender, TakesTheRestOfAUrlThatNamesNoPort) {
  EXPECT_EQ(addressOf("service:a://10.0.0.5"), "10.0.0.5");
  EXPECT_EQ(addressOf("10.0.0.5"), "10.0.0.5");
  EXPECT_EQ(addressOf("service:a://10.0.0.5:8443/"), "");
  EXPECT_EQ(addressOf(""), "");
}

TEST(AnnounceSender, PutsAnExclamationMarkForEachQuote) {
  EXPECT_EQ(heartbeat::announcedAttributes(R"((server={"a":"b!"}))"), "(server={!a!:!b!!})");
  EXPECT_EQ(heartbeat::announcedAttributes(""), "");
}

TEST(AnnounceSender, PutsWhatItIsToldIntoTheRecord) {
  const AnnounceRecord record = makeAnnounceRecord("u", -1, 65535, "(server={!a!:!b!!})");
  EXPECT_EQ(record.kind, -1);
  EXPECT_EQ(record.url, "u");
  EXPECT_EQ(record.lifetime, 65535);
  EXPECT_EQ(record.attributes, "(server={!a!:!b!!})");
}

TEST(AnnounceSender, LogsWhatItsSocketRefuses) {
  // A socket of another family refuses all that is asked of it.
  const heartbeat::Descriptor foreign(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  support::LogCapture log;
  sendAnnounceRecord(foreign.get(), makeAnnounceRecord("s://10.0.0.5:1", 0, 300, ""));
  const auto option = std::to_string(EOPNOTSUPP);
  const auto address = std::to_string(EINVAL);
  EXPECT_THAT(
      log.texts(utils::LOG_FAILURE),
      ElementsAre("HeartBeatWin:performMulticast:bind() port:WSAGetLastError:1847," + address,
                  "HeartBeatWin:performMulticast:setsockopt achMCAddr:WSAGetLastError:239.255.255.253," + option,
                  "HeartBeatWin:performMulticast:setsockopt() IP_MULTICAST_TTL failed:WSAGetLastError:" + option,
                  "HeartBeatWin:performMulticast:setsockopt() IP_MULTICAST_LOOP failed:WSAGetLastError:" + option));
  EXPECT_THAT(log.texts(utils::LOG_ERROR),
              ElementsAre("HeartBeatWin:performMulticast:sendto() failed:WSAGetLastError:" + address));
  EXPECT_THAT(log.texts(utils::LOG_DETAIL), ElementsAre("HeartBeatWin:performMulticast:lslpData.lifetime:300"));
}

TEST(AnnounceSender, LogsThatThereIsNoSocket) {
  support::LogCapture log;
  {
    const heartbeat::testing::DescriptorLimit none(0);
    sendAnnounceRecord(makeAnnounceRecord("s://10.0.0.5:1", 0, 300, ""));
  }
  EXPECT_THAT(log.texts(utils::LOG_ERROR),
              ElementsAre("HeartBeatWin:performMulticast:socket:WSAGetLastError:" + std::to_string(EMFILE)));
  EXPECT_FALSE(log.containsPart("sendto"));
}

struct Datagram {
  std::vector<std::byte> bytes;
  std::string from;
  int timeToLive = 0;
};

/// The next datagram of a non-blocking socket; nothing when none comes in time.
std::optional<Datagram> receive(int socket, std::chrono::milliseconds deadline = std::chrono::seconds(20)) {
  Datagram datagram;
  datagram.bytes.resize(4'096);
  std::array<char, 64> control{};
  sockaddr_in from{};
  iovec part{datagram.bytes.data(), datagram.bytes.size()};
  msghdr header{};
  header.msg_name = &from;
  header.msg_namelen = sizeof from;
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  header.msg_control = control.data();
  header.msg_controllen = control.size();
  ssize_t length = -1;
  if (!support::waitFor([&] { return (length = recvmsg(socket, &header, 0)) >= 0; }, deadline)) return std::nullopt;
  datagram.bytes.resize(static_cast<std::size_t>(length));
  datagram.from = inet_ntoa(from.sin_addr);
  if (const cmsghdr* message = CMSG_FIRSTHDR(&header)) {
    std::memcpy(&datagram.timeToLive, CMSG_DATA(message), sizeof datagram.timeToLive);
  }
  return datagram;
}

/// Two machines: one sends, the other one hears.
class AnnounceSenderOnTheWire : public heartbeat::testing::NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (IsSkipped()) return;
    mHere.emplace();
    mThere.emplace();
    connect(*mHere, "10.9.0.1", *mThere, "10.9.0.2");
    mSystem.setInterfaces({{"eth0", "", {"10.9.0.2"}, {}}});
    mThere->in([this] {
      mListener = heartbeat::AnnounceSocket::open();
      ASSERT_TRUE(mListener);
      ASSERT_TRUE(mListener->followInterfaces());
    });
    const int on = 1;
    ASSERT_EQ(setsockopt(mListener->descriptor(), IPPROTO_IP, IP_RECVTTL, &on, sizeof on), 0);
    mLog.clear();
  }

  void announce(const AnnounceRecord& record) {
    mHere->in([&] { sendAnnounceRecord(record); });
  }
  void expectHeard(const AnnounceRecord& record) {
    const auto heard = receive(mListener->descriptor());
    ASSERT_TRUE(heard);
    const AnnounceBytes expected = heartbeat::encodeAnnounceRecord(record);
    EXPECT_THAT(heard->bytes, testing::ElementsAreArray(expected));
  }

  std::optional<Namespace> mHere;
  std::optional<Namespace> mThere;
  support::FakeSystem mSystem;
  support::LogCapture mLog;
  std::unique_ptr<heartbeat::AnnounceSocket> mListener;
};

TEST_F(AnnounceSenderOnTheWire, SendsOneRecordWithoutARoute) {
  const AnnounceRecord record = makeAnnounceRecord("service:a://10.9.0.1:8443", 0, 65535, "(ip=10.9.0.1)");
  announce(record);
  const auto heard = receive(mListener->descriptor());
  ASSERT_TRUE(heard);
  const AnnounceBytes expected = heartbeat::encodeAnnounceRecord(record);
  EXPECT_THAT(heard->bytes, testing::ElementsAreArray(expected));
  EXPECT_EQ(heard->from, "10.9.0.1");
  EXPECT_EQ(heard->timeToLive, 255);
  // The sender's own membership has no interface to go to, and it goes on without.
  EXPECT_THAT(mLog.texts(utils::LOG_FAILURE),
              ElementsAre("HeartBeatWin:performMulticast:setsockopt achMCAddr:WSAGetLastError:239.255.255.253," +
                          std::to_string(ENODEV)));
  EXPECT_THAT(mLog.texts(utils::LOG_ERROR), testing::IsEmpty());
  // One datagram: what comes next is the next record.
  const AnnounceRecord next = makeAnnounceRecord("service:a://10.9.0.1:8443", 1, 0, "");
  announce(next);
  expectHeard(next);
}

TEST_F(AnnounceSenderOnTheWire, FailsNothingWithARoute) {
  mHere->ip("route add 224.0.0.0/4 dev eth0");
  const AnnounceRecord record = makeAnnounceRecord("service:a://10.9.0.1:8443", -1, 65535, "");
  announce(record);
  expectHeard(record);
  EXPECT_THAT(mLog.texts(utils::LOG_FAILURE), testing::IsEmpty());
}

TEST_F(AnnounceSenderOnTheWire, LeavesByTheInterfaceOfTheAddressAgainstTheRoute) {
  mHere->ip("link add eth1 type veth peer name peer1");
  mHere->ip("addr add 10.8.0.1/24 dev eth1");
  mHere->ip("link set eth1 up");
  mHere->ip("link set peer1 up");
  mHere->ip("route add 224.0.0.0/4 dev eth1");
  const AnnounceRecord record = makeAnnounceRecord("service:a://10.9.0.1:8443", 0, 65535, "");
  announce(record);
  expectHeard(record);
}

TEST_F(AnnounceSenderOnTheWire, FollowsTheRouteWhenTheAddressIsNotOfThisMachine) {
  mHere->ip("route add 224.0.0.0/4 dev eth0");
  for (const char* url : {"service:a://192.0.2.1:8443", "service:a://[2001:db8::1]:8443", ""}) {
    const AnnounceRecord record = makeAnnounceRecord(url, 0, 65535, "");
    announce(record);
    expectHeard(record);
  }
}

/// The farewell to an address, which is announced when the address has gone already.
TEST_F(AnnounceSenderOnTheWire, LeavesByAnotherInterfaceWithoutARouteWhenTheAddressHasGone) {
  connect(*mHere, "10.8.0.1", *mThere, "10.8.0.2", "eth1");
  mSystem.setInterfaces({{"eth0", "", {}, {"2001:db8::1"}}, {"eth1", "", {"10.8.0.1"}, {}}});
  mThere->in([this] { ASSERT_TRUE(mListener->followInterfaces()); });
  mHere->ip("addr del 10.9.0.1/24 dev eth0");
  const AnnounceRecord record = makeAnnounceRecord("service:a://10.9.0.1:8443", 1, 0, "");
  announce(record);
  const auto heard = receive(mListener->descriptor());
  ASSERT_TRUE(heard);
  const AnnounceBytes expected = heartbeat::encodeAnnounceRecord(record);
  EXPECT_THAT(heard->bytes, testing::ElementsAreArray(expected));
  EXPECT_EQ(heard->from, "10.8.0.1");
  EXPECT_THAT(mLog.texts(utils::LOG_ERROR), testing::IsEmpty());
}

TEST_F(AnnounceSenderOnTheWire, LogsThatThereIsNoWayOut) {
  mSystem.setInterfaces({});
  announce(makeAnnounceRecord("service:a://192.0.2.1:8443", 0, 65535, ""));
  EXPECT_THAT(
      mLog.texts(utils::LOG_ERROR),
      ElementsAre("HeartBeatWin:performMulticast:sendto() failed:WSAGetLastError:" + std::to_string(ENETUNREACH)));
}

TEST_F(AnnounceSenderOnTheWire, IsNotHeardByItsOwnMachine) {
  mHere->ip("route add 224.0.0.0/4 dev eth0");
  std::unique_ptr<heartbeat::AnnounceSocket> own;
  mHere->in([&] {
    own = heartbeat::AnnounceSocket::open();
    ASSERT_TRUE(own->followInterfaces());
  });
  const AnnounceRecord record = makeAnnounceRecord("service:a://10.9.0.1:8443", 0, 65535, "");
  announce(record);
  expectHeard(record);
  EXPECT_FALSE(receive(own->descriptor(), std::chrono::milliseconds(0)));
}

class AnnounceSenderOfLongAttributes : public AnnounceSenderOnTheWire {
 protected:
  /// What is logged when records of these kinds are sent with so many bytes of attributes.
  std::vector<std::string> logged(const std::vector<int>& kinds, std::size_t length) {
    mHere->ip("route replace 224.0.0.0/4 dev eth0");
    mLog.clear();
    const std::string attributes(length, 'a');
    for (const int kind : kinds) {
      const AnnounceRecord record = makeAnnounceRecord("service:a://10.9.0.1:8443", kind, 65535, attributes);
      announce(record);
      expectHeard(record);
    }
    return mLog.texts(utils::LOG_FAILURE);
  }
  static std::string cutText(std::size_t length) {
    return "HeartBeatWin:performMulticast:the attributes do not fit the record and are cut:" + std::to_string(length) +
           " bytes";
  }
};

TEST_F(AnnounceSenderOfLongAttributes, SaysOnceThatARegistrationIsCut) {
  EXPECT_THAT(logged({-1, 0}, 1'536), ElementsAre(cutText(1'536)));
  EXPECT_THAT(logged({1}, 1'536), testing::IsEmpty());
}

TEST_F(AnnounceSenderOfLongAttributes, SaysSoWhenTheRegistrationOnlyJoins) {
  EXPECT_THAT(logged({-1}, 4'000), ElementsAre(cutText(4'000)));
  EXPECT_THAT(logged({-1}, 4'000), ElementsAre(cutText(4'000)));
}

TEST_F(AnnounceSenderOfLongAttributes, SaysNothingWhenTheyFit) {
  EXPECT_THAT(logged({-1, 0}, 1'535), testing::IsEmpty());
}

}  // namespace
