#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/LinuxSystem.h"
#include "support/Ip.h"
#include "support/Wait.h"

namespace {

using utils::LinuxSystem;
using utils::System;

struct Addresses {
  int result = 0;
  std::vector<std::string> ipV4;
  std::vector<std::string> ipV6;
};

Addresses addressesOf(System& system) {
  std::string ipV4[System::kMaxAddresses];
  std::string ipV6[System::kMaxAddresses];
  int count4 = -1;
  int count6 = -1;
  Addresses addresses;
  addresses.result = system.getIPAddresses(ipV4, ipV6, count4, count6);
  addresses.ipV4.assign(ipV4, ipV4 + count4);
  addresses.ipV6.assign(ipV6, ipV6 + count6);
  return addresses;
}

std::string localAddressOf(System& system) {
  std::string address = "untouched";
  EXPECT_NE(system.getLocalIPAddress(address), 0);
  return address;
}

TEST(LinuxSystem, ListsThisMachine) {
  LinuxSystem system;
  const auto addresses = addressesOf(system);
  EXPECT_NE(addresses.result, 0);
  for (const auto& address : addresses.ipV4)
    EXPECT_TRUE(system.isIPv4Address(address)) << address;
  for (const auto& address : addresses.ipV6)
    EXPECT_TRUE(system.isIPv6Address(address)) << address;
}

TEST(LinuxSystem, IsCalledWhatItIsTold) {
  LinuxSystem::Options options;
  options.localServerId = "Node_1.example-A b/c";
  EXPECT_EQ(LinuxSystem(options).getLocalServerId(), "node_1.example-a-b-c");
}

TEST(LinuxSystem, IsCalledByItsHostNameOtherwise) {
  EXPECT_THAT(LinuxSystem().getLocalServerId(), testing::MatchesRegex("[a-z0-9._-]+"));
}

bool setUp(const std::vector<std::string>& commands) {
  bool all = true;
  for (const auto& command : commands) {
    const bool done = support::ip(command);
    EXPECT_TRUE(done) << "ip " << command;
    all = all && done;
  }
  return all;
}

/// Whether this process may make network namespaces, found out in a process of its own.
bool mayMakeNamespaces() {
  const pid_t child = fork();
  if (child == 0) _exit(unshare(CLONE_NEWNET) == 0 ? 0 : 1);
  int status = -1;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// A network namespace of the test's own with nothing but a loopback interface. Only the thread that runs the tests
/// moves into it, and back again at the end.
class LinuxSystemInNamespace : public testing::Test {
 protected:
  void SetUp() override {
    if (!mayMakeNamespaces()) GTEST_SKIP() << "needs root (or CAP_SYS_ADMIN) to make a network namespace";
    mBefore = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(mBefore, 0);
    ASSERT_EQ(unshare(CLONE_NEWNET), 0) << std::strerror(errno);
  }
  void TearDown() override {
    if (mBefore < 0) return;
    EXPECT_EQ(setns(mBefore, CLONE_NEWNET), 0) << std::strerror(errno);
    close(mBefore);
  }

  /// How often the kernel probes for duplicates of a new IPv6 address, about once a second.
  static void probe(const std::string& interface, int times) {
    std::ofstream file("/proc/sys/net/ipv6/conf/" + interface + "/dad_transmits");
    file << times << std::flush;
    EXPECT_TRUE(file.good());
  }

 private:
  int mBefore = -1;
};

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TEST_F(LinuxSystemInNamespace, HasNoAddressWithoutInterfaces) {
  LinuxSystem system;
  const auto addresses = addressesOf(system);
  EXPECT_NE(addresses.result, 0);
  EXPECT_THAT(addresses.ipV4, IsEmpty());
  EXPECT_THAT(addresses.ipV6, IsEmpty());
  EXPECT_EQ(localAddressOf(system), "");
  EXPECT_THAT(system.getNetworkInterfaces(), IsEmpty());
}

TEST_F(LinuxSystemInNamespace, LeavesLoopbackOut) {
  ASSERT_TRUE(setUp({"link set lo up", "addr add 10.9.9.9/32 dev lo"}));
  LinuxSystem system;
  EXPECT_THAT(addressesOf(system).ipV4, IsEmpty());
  EXPECT_THAT(addressesOf(system).ipV6, IsEmpty());
}

TEST_F(LinuxSystemInNamespace, FollowsAddressesThatComeAndGo) {
  ASSERT_TRUE(setUp({"link add eth9 type veth peer name peer9", "link set eth9 up", "link set peer9 up"}));
  LinuxSystem system;
  EXPECT_THAT(addressesOf(system).ipV4, IsEmpty());
  ASSERT_TRUE(setUp({"addr add 10.9.0.1/24 dev eth9"}));
  EXPECT_THAT(addressesOf(system).ipV4, ElementsAre("10.9.0.1"));
  EXPECT_EQ(localAddressOf(system), "10.9.0.1");
  ASSERT_TRUE(setUp({"addr add 10.9.0.2/24 dev eth9"}));
  EXPECT_THAT(addressesOf(system).ipV4, ElementsAre("10.9.0.1", "10.9.0.2"));
  ASSERT_TRUE(setUp({"addr del 10.9.0.2/24 dev eth9"}));
  EXPECT_THAT(addressesOf(system).ipV4, ElementsAre("10.9.0.1"));
  ASSERT_TRUE(setUp({"link set eth9 down"}));
  EXPECT_THAT(addressesOf(system).ipV4, IsEmpty());
  ASSERT_TRUE(setUp({"link set eth9 up"}));
  EXPECT_THAT(addressesOf(system).ipV4, ElementsAre("10.9.0.1"));
  ASSERT_TRUE(setUp({"link del eth9"}));
  EXPECT_THAT(addressesOf(system).ipV4, IsEmpty());
}

TEST_F(LinuxSystemInNamespace, ListsAnIPv6AddressOnceItIsKnownToBeUnique) {
  ASSERT_TRUE(setUp({"link add eth9 type veth peer name peer9", "link set eth9 up", "link set peer9 up"}));
  // Each address reads the number when its own probing begins, so the two numbers need an interface each.
  ASSERT_TRUE(setUp({"link add eth8 type veth peer name peer8", "link set eth8 up", "link set peer8 up"}));
  probe("eth9", 1000);
  probe("eth8", 1);
  ASSERT_TRUE(setUp({"-6 addr add 2001:db8::1/64 dev eth9", "-6 addr add 2001:db8::2/64 dev eth9 nodad"}));
  LinuxSystem system;
  EXPECT_THAT(addressesOf(system).ipV6, ElementsAre("2001:db8::2"));
  ASSERT_TRUE(setUp({"-6 addr add 2001:db8:1::3/64 dev eth8"}));
  EXPECT_TRUE(support::waitFor([&] { return addressesOf(system).ipV6.size() == 2; }));
  EXPECT_THAT(addressesOf(system).ipV6, Contains("2001:db8:1::3"));
  EXPECT_THAT(addressesOf(system).ipV6, Not(Contains("2001:db8::1")));
  EXPECT_THAT(addressesOf(system).ipV6, Contains(localAddressOf(system)));
}

TEST_F(LinuxSystemInNamespace, LeavesDeprecatedAndLinkLocalAddressesOut) {
  ASSERT_TRUE(setUp({"link add eth9 type veth peer name peer9", "link set eth9 up", "link set peer9 up",
                     "-6 addr add 2001:db8::1/64 dev eth9 nodad preferred_lft 0", "addr add 169.254.7.7/16 dev eth9",
                     "-6 addr add fe80::7/64 dev eth9 nodad", "-6 addr add 2001:db8::2/64 dev eth9 nodad"}));
  LinuxSystem system;
  EXPECT_THAT(addressesOf(system).ipV4, IsEmpty());
  EXPECT_THAT(addressesOf(system).ipV6, ElementsAre("2001:db8::2"));
}

TEST_F(LinuxSystemInNamespace, LeavesInterfacesOutThatManyMachinesHaveAlike) {
  ASSERT_TRUE(setUp({"link add eth9 type veth peer name docker0", "link set eth9 up", "link set docker0 up",
                     "addr add 10.9.0.1/24 dev eth9", "addr add 172.17.0.1/16 dev docker0"}));
  LinuxSystem system;
  EXPECT_THAT(addressesOf(system).ipV4, ElementsAre("10.9.0.1"));
  LinuxSystem::Options everything;
  everything.excludeInterfaces.clear();
  LinuxSystem all(everything);
  EXPECT_THAT(addressesOf(all).ipV4, testing::UnorderedElementsAre("10.9.0.1", "172.17.0.1"));
  LinuxSystem::Options onlyDocker = everything;
  onlyDocker.includeInterfaces = {"docker*"};
  LinuxSystem docker(onlyDocker);
  EXPECT_THAT(addressesOf(docker).ipV4, ElementsAre("172.17.0.1"));
}

TEST_F(LinuxSystemInNamespace, PutsTheInterfaceOfTheDefaultRouteFirst) {
  ASSERT_TRUE(setUp({"link add eth1 type veth peer name eth2", "link set eth1 up", "link set eth2 up",
                     "addr add 10.1.0.1/24 dev eth1", "addr add 10.2.0.1/24 dev eth2"}));
  LinuxSystem system;
  for (const auto& [network, address] :
       std::vector<std::pair<std::string, std::string>>{{"10.1.0", "eth1"}, {"10.2.0", "eth2"}}) {
    ASSERT_TRUE(setUp({"route replace default via " + network + ".254"}));
    EXPECT_EQ(localAddressOf(system), network + ".1");
    EXPECT_EQ(system.getNetworkInterfaces().front().name, address);
  }
}

TEST_F(LinuxSystemInNamespace, DescribesItsInterfaces) {
  ASSERT_TRUE(
      setUp({"link add eth9 type veth peer name peer9", "link set eth9 address 52:54:00:00:00:09", "link set eth9 up",
             "link set peer9 up", "addr add 10.9.0.1/24 dev eth9", "-6 addr add 2001:db8::9/64 dev eth9 nodad"}));
  LinuxSystem system;
  const auto interfaces = system.getNetworkInterfaces();
  ASSERT_EQ(interfaces.size(), 1u);
  EXPECT_EQ(interfaces[0].name, "eth9");
  EXPECT_EQ(interfaces[0].mac, "52:54:00:00:00:09");
  EXPECT_THAT(interfaces[0].ipV4, ElementsAre("10.9.0.1"));
  EXPECT_THAT(interfaces[0].ipV6, ElementsAre("2001:db8::9"));
}

TEST_F(LinuxSystemInNamespace, ListsNoMoreThanItsTableHolds) {
  ASSERT_TRUE(setUp({"link add eth9 type veth peer name peer9", "link set eth9 up", "link set peer9 up"}));
  for (int i = 1; i <= System::kMaxAddresses + 3; ++i) {
    ASSERT_TRUE(support::ip("addr add 10.9.0." + std::to_string(i) + "/24 dev eth9"));
  }
  LinuxSystem system;
  EXPECT_EQ(addressesOf(system).ipV4.size(), 64u);
  EXPECT_EQ(system.getNetworkInterfaces().front().ipV4.size(), 67u);
}

TEST_F(LinuxSystemInNamespace, SurvivesMoreNotificationsThanItsSocketHolds) {
  ASSERT_TRUE(setUp({"link add eth9 type veth peer name peer9", "link set eth9 up", "link set peer9 up"}));
  LinuxSystem system;
  EXPECT_THAT(addressesOf(system).ipV4, IsEmpty());
  const std::string batch = testing::TempDir() + "ip-batch-" + std::to_string(getpid());
  {
    std::ofstream file(batch);
    for (int round = 0; round < 1500; ++round) {
      file << "addr add 10.9.0.1/24 dev eth9\naddr del 10.9.0.1/24 dev eth9\n";
    }
    file << "addr add 10.9.0.1/24 dev eth9\n";
  }
  ASSERT_TRUE(support::ip("-batch " + batch));
  EXPECT_THAT(addressesOf(system).ipV4, ElementsAre("10.9.0.1"));
  unlink(batch.c_str());
}

TEST_F(LinuxSystemInNamespace, AnswersManyThreadsAtOnce) {
  ASSERT_TRUE(setUp({"link add eth9 type veth peer name peer9", "link set eth9 up", "link set peer9 up",
                     "addr add 10.9.0.1/24 dev eth9"}));
  LinuxSystem system;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int query = 0; query < 50; ++query)
        EXPECT_THAT(addressesOf(system).ipV4, ElementsAre("10.9.0.1"));
    });
  }
  ASSERT_TRUE(setUp({"link set peer9 down", "link set peer9 up"}));
  for (auto& thread : threads)
    thread.join();
}

}  // namespace
