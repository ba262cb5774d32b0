#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <net/if.h>
#include <optional>
#include <sstream>
#include <string>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/AnnounceCommands.h"
#include "cli/AnnounceInterfaces.h"
#include "cli/AnnounceSocket.h"

namespace cli {
namespace {

using heartbeat::AnnounceRecord;
using testing::ElementsAre;
using testing::HasSubstr;

const AnnounceInterface kLoopback{"lo", "127.0.0.1", if_nametoindex("lo"), false};

/// A socket that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int value) : mValue(value) {}
  ~Descriptor() { close(mValue); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return mValue; }

 private:
  int mValue;
};

/// A port above 1023 that nobody has just now.
std::uint16_t freePort() {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  socklen_t size = sizeof address;
  const bool isGood = bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
                      getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) == 0;
  return isGood ? ntohs(address.sin_port) : 0;
}

std::string recordBytes(const std::string& address) {
  AnnounceRecord record;
  record.kind = AnnounceRecord::kDeregister;
  record.address = address;
  const heartbeat::AnnounceBytes bytes = heartbeat::encodeAnnounceRecord(record);
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Listens on the loopback interface, at a port of its own. What is sent waits in the socket until it is received.
class ListenToAnnouncements : public testing::Test {
 protected:
  void SetUp() override {
    auto opened = AnnounceSocket::open({kLoopback}, mPort);
    ASSERT_TRUE(opened) << opened.failure().message;
    mOptions.announce = AnnounceOptions();
    mSocket = opened->get();
    mOpened.emplace(std::move(opened));
  }

  void send(const std::string& text) const {
    const Descriptor sender(::socket(AF_INET, SOCK_DGRAM, 0));
    in_addr loopback{htonl(INADDR_LOOPBACK)};
    ASSERT_EQ(setsockopt(sender.get(), IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof loopback), 0);
    sockaddr_in group{};
    group.sin_family = AF_INET;
    group.sin_port = htons(mPort);
    inet_pton(AF_INET, heartbeat::kAnnounceGroup, &group.sin_addr);
    ASSERT_EQ(
        sendto(sender.get(), text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&group), sizeof group),
        static_cast<ssize_t>(text.size()));
  }
  void end() const { ASSERT_EQ(eventfd_write(mEnd.get(), 1), 0); }
  ExitCode listen(AnnounceSocket& socket) {
    return listenToAnnouncements(
        mOptions, socket, [this] { return mInterfaces; }, mOut, mErr, mEnd.get());
  }
  ExitCode listen() { return listen(*mSocket); }
  /// How many there are, a title aside.
  std::ptrdiff_t lines() const {
    const std::string text = mOut.str();
    const std::ptrdiff_t titles = mOptions.format == Format::kTable ? 1 : 0;
    return std::count(text.begin(), text.end(), '\n') - titles;
  }

  const std::uint16_t mPort = freePort();
  const Descriptor mEnd{eventfd(0, EFD_CLOEXEC)};
  std::optional<Result<std::unique_ptr<AnnounceSocket>>> mOpened;
  AnnounceSocket* mSocket = nullptr;
  Options mOptions;
  std::vector<AnnounceInterface> mInterfaces{kLoopback};
  std::ostringstream mOut;
  std::ostringstream mErr;
};

TEST_F(ListenToAnnouncements, PrintsALineForEachRecord) {
  mOptions.announce->count = 2;
  send(recordBytes("10.0.0.8"));
  send(recordBytes("10.0.0.9"));
  send(recordBytes("10.0.0.10"));
  EXPECT_EQ(listen(), ExitCode::kDone);
  EXPECT_EQ(lines(), 2);
  EXPECT_THAT(mOut.str(), HasSubstr("127.0.0.1        deregister  10.0.0.8 "));
  EXPECT_THAT(mOut.str(), HasSubstr("deregister  10.0.0.9 "));
  EXPECT_EQ(mErr.str(), "kvtctl: listening on lo\n");
}

TEST_F(ListenToAnnouncements, PrintsJsonOnOneLineEach) {
  mOptions.format = Format::kJson;
  mOptions.announce->count = 2;
  send(recordBytes("10.0.0.8"));
  send("hello");
  EXPECT_EQ(listen(), ExitCode::kDone);
  EXPECT_EQ(lines(), 2);
  EXPECT_THAT(mOut.str(), HasSubstr(R"("kind":"deregister","address":"10.0.0.8")"));
  EXPECT_THAT(mOut.str(), HasSubstr(R"("kind":"not a record","size":5})"));
}

TEST_F(ListenToAnnouncements, TakesOnlyTheRightSizeForARecord) {
  const std::vector<std::size_t> sizes = {0, 1, 12, 1639, 1641, 4096, 20'000};
  mOptions.announce->count = sizes.size() + 1;
  for (const std::size_t size : sizes)
    send(std::string(size, 'x'));
  send(std::string(1640, 'x'));
  EXPECT_EQ(listen(), ExitCode::kDone);
  for (const std::size_t size : sizes)
    EXPECT_THAT(mOut.str(), HasSubstr("  not a record, " + std::to_string(size) + " bytes\n"));
  EXPECT_THAT(mOut.str(), HasSubstr("  unknown 2021161080  xxx"));
}

TEST_F(ListenToAnnouncements, EndsWhenItsTimeIsOver) {
  mOptions.announce->duration = std::chrono::milliseconds(100);
  const auto begin = std::chrono::steady_clock::now();
  send(recordBytes("10.0.0.8"));
  EXPECT_EQ(listen(), ExitCode::kDone);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
  EXPECT_EQ(lines(), 1);
}

TEST_F(ListenToAnnouncements, EndsWhenToldTo) {
  std::thread interrupter([this] { end(); });
  EXPECT_EQ(listen(), ExitCode::kDone);
  interrupter.join();
  EXPECT_EQ(mOut.str(), announceTitle());
}

TEST_F(ListenToAnnouncements, PrintsNoTitleInJson) {
  mOptions.format = Format::kJson;
  end();
  EXPECT_EQ(listen(), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "");
}

TEST_F(ListenToAnnouncements, JoinsOnInterfacesThatComeLater) {
  // An interface that goes takes the membership with it.
  ip_mreqn membership{};
  inet_pton(AF_INET, heartbeat::kAnnounceGroup, &membership.imr_multiaddr);
  membership.imr_ifindex = static_cast<int>(kLoopback.index);
  ASSERT_EQ(setsockopt(mSocket->descriptor(), IPPROTO_IP, IP_DROP_MEMBERSHIP, &membership, sizeof membership), 0);
  mInterfaces.push_back({"gone0", "10.0.0.1", 2'000'000'000, true});
  mInterfaces.push_back({"gone1", "10.0.0.2", 0, true});
  mOptions.announce->duration = std::chrono::milliseconds(2'500);  // two looks
  EXPECT_EQ(listen(), ExitCode::kDone);
  EXPECT_EQ(mErr.str(), "kvtctl: listening on lo\nkvtctl: listening on lo\n");
  send(recordBytes("10.0.0.8"));
  EXPECT_TRUE(mSocket->receive());
}

TEST_F(ListenToAnnouncements, EndsWhenNobodyTakesItsOutput) {
  send(recordBytes("10.0.0.8"));
  mOut.setstate(std::ios::badbit);
  EXPECT_EQ(listen(), ExitCode::kDone);
}

TEST_F(ListenToAnnouncements, HearsEachDatagramBesideAnotherListener) {
  const auto other = AnnounceSocket::open({kLoopback}, mPort);
  ASSERT_TRUE(other) << other.failure().message;
  send(recordBytes("10.0.0.8"));
  for (AnnounceSocket* const socket : {mSocket, other->get()}) {
    const auto datagram = socket->receive();
    ASSERT_TRUE(datagram && datagram->record);
    EXPECT_EQ(datagram->record->address, "10.0.0.8");
    EXPECT_FALSE(socket->receive());
  }
}

TEST_F(ListenToAnnouncements, LeavesWhatIsSentToTheMachineAloneToItsServer) {
  const Descriptor server(::socket(AF_INET, SOCK_DGRAM, 0));
  const int on = 1;
  setsockopt(server.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(mPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(sendto(server.get(), "mine", 4, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address), 4);
  std::array<char, 8> buffer{};
  EXPECT_EQ(recv(server.get(), buffer.data(), buffer.size(), 0), 4);
  EXPECT_FALSE(mSocket->receive());
}

TEST_F(ListenToAnnouncements, SaysWhichInterfacesItCannotHear) {
  const auto opened = AnnounceSocket::open({kLoopback, {"gone0", "10.0.0.1", 2'000'000'000, true}}, freePort());
  ASSERT_TRUE(opened);
  EXPECT_THAT((*opened)->joined(), ElementsAre("lo"));
  EXPECT_THAT((*opened)->refused(), ElementsAre("gone0: No such device"));
  end();
  EXPECT_EQ(listen(**opened), ExitCode::kDone);
  EXPECT_EQ(mErr.str(), "kvtctl: cannot listen on gone0: No such device\nkvtctl: listening on lo\n");
}

TEST(AnnounceSocket, FailsWhenNoInterfaceCanBeHeard) {
  const auto opened = AnnounceSocket::open({{"gone0", "10.0.0.1", 2'000'000'000, true}}, freePort());
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.failure().code, ExitCode::kUnreachable);
  EXPECT_EQ(opened.failure().message, "cannot listen on any interface: gone0: No such device");
}

TEST(AnnounceSocket, FailsOnAPortThatSomebodyKeepsForHimself) {
  const Descriptor owner(::socket(AF_INET, SOCK_DGRAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(freePort());
  ASSERT_EQ(bind(owner.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  const std::uint16_t port = ntohs(address.sin_port);
  const auto opened = AnnounceSocket::open({kLoopback}, port);
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.failure().code, ExitCode::kUnreachable);
  EXPECT_EQ(opened.failure().message, "cannot listen on port " + std::to_string(port) + ": Address already in use");
}

class ChooseInterfaces : public testing::Test {
 protected:
  static std::vector<std::string> namesFor(const std::string& wanted) {
    const auto chosen = chooseInterfaces(all(), wanted);
    EXPECT_TRUE(chosen) << wanted;
    std::vector<std::string> names;
    for (const AnnounceInterface& interface : chosen ? *chosen : std::vector<AnnounceInterface>())
      names.push_back(interface.name);
    return names;
  }
  static std::vector<AnnounceInterface> all() {
    return {kLoopback,
            {"eth0", "10.0.0.1", 2, true},
            {"eth0", "10.0.0.2", 2, true},
            {"eth1", "10.0.1.1", 3, true},
            {"tun0", "10.0.2.1", 4, false}};
  }
};

TEST_F(ChooseInterfaces, TakesAllThatAreMadeForMulticastOnce) {
  EXPECT_THAT(namesFor(""), ElementsAre("eth0", "eth1"));
}

TEST_F(ChooseInterfaces, TakesThoseNamedByNameOrAddressOnce) {
  EXPECT_THAT(namesFor("eth1"), ElementsAre("eth1"));
  EXPECT_THAT(namesFor("10.0.0.2"), ElementsAre("eth0"));
  EXPECT_THAT(namesFor("tun0,eth0,10.0.0.1,127.0.0.1"), ElementsAre("tun0", "eth0", "lo"));
}

TEST_F(ChooseInterfaces, RefusesWhatIsNoInterface) {
  for (const char* wanted : {"eth2", "10.0.0.3", "eth0,", ",eth0", "eth0,,eth1", " eth0", "fe80::1"}) {
    const auto chosen = chooseInterfaces(all(), wanted);
    ASSERT_FALSE(chosen) << wanted;
    EXPECT_EQ(chosen.failure().code, ExitCode::kUsage);
    EXPECT_THAT(chosen.failure().message, HasSubstr("no such interface with an IPv4 address: ")) << wanted;
  }
}

TEST_F(ChooseInterfaces, SaysWhenThereIsNone) {
  const auto chosen = chooseInterfaces({kLoopback}, "");
  ASSERT_FALSE(chosen);
  EXPECT_EQ(chosen.failure().code, ExitCode::kUnreachable);
  EXPECT_EQ(chosen.failure().message, "no interface has an IPv4 address and takes multicast");
}

TEST(AnnounceInterfaces, HoldTheLoopbackInterface) {
  EXPECT_THAT(announceInterfaces(),
              testing::Contains(testing::AllOf(testing::Field(&AnnounceInterface::name, kLoopback.name),
                                               testing::Field(&AnnounceInterface::address, kLoopback.address),
                                               testing::Field(&AnnounceInterface::index, kLoopback.index))));
}

TEST(RunAnnounceCommand, FailsInOneLine) {
  Options options;
  options.announce = AnnounceOptions();
  options.announce->interfaces = "no\x1bsuch";
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(runAnnounceCommand(options, out, err, -1), ExitCode::kUsage);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(err.str(), "kvtctl: no such interface with an IPv4 address: no\\u001bsuch\n");
}

}  // namespace
}  // namespace cli
