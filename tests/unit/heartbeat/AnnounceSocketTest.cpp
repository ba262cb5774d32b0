#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/LinuxSystem.h"
#include "heartbeat/AnnounceSocket.h"
#include "heartbeat/GroupAddress.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/Wait.h"
#include "unit/heartbeat/Network.h"

namespace {

using heartbeat::AnnounceSocket;
using heartbeat::Descriptor;
using heartbeat::testing::interfacesInGroup;
using heartbeat::testing::Namespace;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr const char* kNotJoinedByRoute =
    "HeartBeatWin:CreateNetConnections:setsockopt() IP_ADD_MEMBERSHIP address "
    "Failed:WSAGetLastError:239.255.255.253";

std::string notBoundText(int error) {
  return "HeartBeatWin:CreateNetConnections:bind() port:WSAGetLastError:1847" + std::to_string(error);
}

/// Takes the port in the calling thread's namespace.
Descriptor takePort(bool isShared) {
  Descriptor other(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const int shared = isShared ? 1 : 0;
  EXPECT_EQ(setsockopt(other.get(), SOL_SOCKET, SO_REUSEADDR, &shared, sizeof shared), 0);
  const sockaddr_in any = heartbeat::anyAddress(heartbeat::kAnnouncePort);
  EXPECT_EQ(bind(other.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any), 0);
  return other;
}

bool isBound(const AnnounceSocket& socket) {
  sockaddr_in own{};
  socklen_t size = sizeof own;
  getsockname(socket.descriptor(), reinterpret_cast<sockaddr*>(&own), &size);
  return own.sin_port == htons(1847);
}

TEST(AnnounceSocket, LogsThatThereIsNone) {
  support::LogCapture log;
  {
    const heartbeat::testing::DescriptorLimit none(0);
    EXPECT_EQ(AnnounceSocket::open(), nullptr);
  }
  EXPECT_TRUE(
      log.has(utils::LOG_ERROR, "HeartBeatWin:CreateNetConnections:socket:WSAGetLastError:" + std::to_string(EMFILE)));
}

TEST(AnnounceSocket, LogsWhatIsRefusedAndGoesOn) {
  support::FakeSystem system;
  system.setAddresses({});
  support::LogCapture log;
  const AnnounceSocket noSocket(Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)));
  const std::string error = std::to_string(ENOTSOCK);
  EXPECT_THAT(log.texts(utils::LOG_FAILURE),
              ElementsAre("HeartBeatWin:CreateNetConnections:setsockopt SO_REUSEADDR:WSAGetLastError:" + error,
                          notBoundText(ENOTSOCK), kNotJoinedByRoute + error));
}

/// A machine of its own with the interfaces "eth1" (10.1.0.1) and "eth2" (10.2.0.1), listed as the real one is.
class AnnounceSocketOnAMachine : public heartbeat::testing::NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (IsSkipped()) return;
    mMachine.emplace();
    mMachine->ip("link add eth1 type veth peer name eth2");
    for (const std::string number : {"1", "2"}) {
      mMachine->ip("addr add 10." + number + ".0.1/24 dev eth" + number);
      mMachine->ip("link set eth" + number + " up");
    }
    mMachine->in([this] { mSystem = std::make_unique<utils::LinuxSystem>(); });
    mBefore = utils::System::set_instance(mSystem.get());
  }
  void TearDown() override {
    if (mSystem) utils::System::set_instance(mBefore);
  }

  void open() {
    mMachine->in([this] {
      mSocket = AnnounceSocket::open();
      ASSERT_TRUE(mSocket);
      EXPECT_TRUE(mSocket->followInterfaces());
    });
  }
  void renew() {
    mMachine->in([this] { EXPECT_TRUE(mSocket->renew()); });
  }
  std::vector<std::string> joined() {
    std::vector<std::string> interfaces;
    mMachine->in([&] { interfaces = interfacesInGroup(); });
    return interfaces;
  }

  std::optional<Namespace> mMachine;
  std::unique_ptr<utils::LinuxSystem> mSystem;
  utils::System* mBefore = nullptr;
  support::LogCapture mLog;
  std::unique_ptr<AnnounceSocket> mSocket;
};

TEST_F(AnnounceSocketOnAMachine, JoinsOnEveryInterfaceWithoutARoute) {
  open();
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, kNotJoinedByRoute + std::to_string(ENODEV)));
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
  EXPECT_TRUE(isBound(*mSocket));
}

TEST_F(AnnounceSocketOnAMachine, JoinsOnEveryInterfaceWithARoute) {
  mMachine->ip("route add 224.0.0.0/4 dev eth2");
  open();
  EXPECT_THAT(mLog.texts(utils::LOG_FAILURE), IsEmpty());
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
}

TEST_F(AnnounceSocketOnAMachine, JoinsByTheRouteOnAnInterfaceThatIsNotListed) {
  mMachine->ip("link add docker0 type veth peer name eth3");
  mMachine->ip("addr add 10.3.0.1/24 dev docker0");
  mMachine->ip("link set docker0 up");
  mMachine->ip("link set eth3 up");
  mMachine->ip("route add 224.0.0.0/4 dev docker0");
  open();
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2", "docker0"));
}

TEST_F(AnnounceSocketOnAMachine, LeavesInterfacesOutThatHaveNoIPv4Address) {
  mMachine->ip("addr flush dev eth2");
  mMachine->ip("-6 addr add 2001:db8::2/64 dev eth2 nodad");
  open();
  EXPECT_THAT(joined(), ElementsAre("eth1"));
}

TEST_F(AnnounceSocketOnAMachine, FollowsInterfacesThatComeAndGo) {
  open();
  mMachine->ip("link set eth1 down");
  renew();
  EXPECT_THAT(joined(), ElementsAre("eth2"));
  mMachine->ip("link set eth1 up");
  renew();
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
  mMachine->ip("link del eth1");
  renew();
  EXPECT_THAT(joined(), IsEmpty());
  mMachine->ip("link add eth5 type veth peer name eth6");
  mMachine->ip("addr add 10.5.0.1/24 dev eth5");
  mMachine->ip("link set eth5 up");
  mMachine->ip("link set eth6 up");
  renew();
  EXPECT_THAT(joined(), ElementsAre("eth5"));
}

TEST_F(AnnounceSocketOnAMachine, StaysJoinedWhenAnAddressIsReplaced) {
  open();
  mMachine->ip("addr del 10.1.0.1/24 dev eth1");
  mMachine->ip("addr add 10.1.0.9/24 dev eth1");
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
  renew();
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
}

TEST_F(AnnounceSocketOnAMachine, LogsAnInterfaceThatRefusesAMember) {
  mMachine->set("ipv4/igmp_max_memberships", "1");
  open();
  EXPECT_EQ(joined().size(), 1u);
  EXPECT_THAT(mLog.texts(utils::LOG_FAILURE),
              Contains(testing::MatchesRegex("HeartBeatWin:CreateNetConnections:cannot join 239.255.255.253 on "
                                             "eth[12]:" +
                                             std::to_string(ENOBUFS))));
  mMachine->set("ipv4/igmp_max_memberships", "20");
  renew();
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
}

TEST_F(AnnounceSocketOnAMachine, LeavesNoInterfaceWhenThereIsNoDescriptorToListThem) {
  open();
  // Both when the interfaces are known already and when they have to be listed anew.
  for (const bool isChanged : {false, true}) {
    if (isChanged) mMachine->ip("link set lo down");
    mMachine->in([this] {
      const heartbeat::testing::DescriptorLimit none(0);
      EXPECT_FALSE(mSocket->renew());
    });
    EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2")) << isChanged;
  }
  mMachine->ip("link set eth1 down");
  renew();
  EXPECT_THAT(joined(), ElementsAre("eth2"));
}

TEST_F(AnnounceSocketOnAMachine, LeavesNoInterfaceWhenTheSystemDoesNotListThem) {
  open();
  {
    support::FakeSystem system;
    system.setInterfaces({});
    system.failGetIPAddresses();
    mMachine->in([this] { EXPECT_FALSE(mSocket->renew()); });
    EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
    system.failGetIPAddresses(false);
    renew();
    EXPECT_THAT(joined(), IsEmpty());
  }
  renew();
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
}

/// Whose first list of interfaces is late: it comes when another one was used, or when nobody asks for one meanwhile.
class LateSystem : public support::FakeSystem {
 public:
  std::vector<utils::NetworkInterface> getNetworkInterfaces() override {
    if (isAsked.exchange(true)) return {{"eth2", "", {"10.2.0.1"}, {}}};
    support::waitFor([this] { return isOtherOneUsed.load(); }, std::chrono::milliseconds(300));
    return {{"eth1", "", {"10.1.0.1"}, {}}};
  }
  std::atomic<bool> isAsked = false;
  std::atomic<bool> isOtherOneUsed = false;
};

TEST_F(AnnounceSocketOnAMachine, HoldsToTheLaterListOfTwoRenewalsAtOnce) {
  open();
  LateSystem system;
  std::thread first([this] { renew(); });
  EXPECT_TRUE(support::waitFor([&] { return system.isAsked.load(); }));
  renew();
  system.isOtherOneUsed = true;
  first.join();
  EXPECT_THAT(joined(), ElementsAre("eth2"));
}

TEST_F(AnnounceSocketOnAMachine, SharesThePortWithThoseThatShareIt) {
  Descriptor other;
  mMachine->in([&] { other = takePort(true); });
  open();
  EXPECT_TRUE(isBound(*mSocket));
  EXPECT_FALSE(mLog.containsPart("bind()"));
}

TEST_F(AnnounceSocketOnAMachine, GoesOnWithoutAPortThatIsTakenAndBindsLater) {
  Descriptor other;
  mMachine->in([&] { other = takePort(false); });
  open();
  EXPECT_TRUE(mLog.has(utils::LOG_FAILURE, notBoundText(EADDRINUSE)));
  EXPECT_FALSE(isBound(*mSocket));
  EXPECT_THAT(joined(), UnorderedElementsAre("eth1", "eth2"));
  other = Descriptor();
  renew();
  EXPECT_TRUE(isBound(*mSocket));
}

}  // namespace
