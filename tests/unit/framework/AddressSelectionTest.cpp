#include <linux/if_addr.h>
#include <net/if.h>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/AddressSelection.h"
#include "framework/utils/LinuxSystem.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using utils::InterfaceFilter;
using utils::MachineNetwork;
using utils::selectInterfaces;

/// Writes a machine's network down in few words.
class Machine {
 public:
  Machine& link(const std::string& name, unsigned int flags = IFF_UP) {
    mNetwork.links.push_back({++mIndex, flags, name, "52:54:00:00:00:01"});
    return *this;
  }
  Machine& has(const std::string& address, unsigned int flags = 0) {
    const int family = address.find(':') == std::string::npos ? AF_INET : AF_INET6;
    mNetwork.addresses.push_back({mIndex, family, flags, address});
    return *this;
  }
  Machine& isDefault(int family = AF_INET, std::uint32_t metric = 0) {
    mNetwork.defaultRoutes.push_back({mIndex, family, metric});
    return *this;
  }

  std::vector<utils::NetworkInterface> select(const InterfaceFilter& filter = {}) const {
    return selectInterfaces(mNetwork, filter);
  }
  std::vector<std::string> names(const InterfaceFilter& filter = {}) const {
    std::vector<std::string> names;
    for (const auto& interface : select(filter))
      names.push_back(interface.name);
    return names;
  }
  std::vector<std::string> addresses() const {
    std::vector<std::string> addresses;
    for (const auto& interface : select()) {
      addresses.insert(addresses.end(), interface.ipV4.begin(), interface.ipV4.end());
      addresses.insert(addresses.end(), interface.ipV6.begin(), interface.ipV6.end());
    }
    return addresses;
  }

 private:
  MachineNetwork mNetwork;
  int mIndex = 0;
};

TEST(AddressSelection, OfNothingIsNothing) {
  EXPECT_THAT(Machine().select(), IsEmpty());
}

TEST(AddressSelection, DescribesAnInterface) {
  const auto interfaces = Machine().link("eth0").has("10.0.0.1").has("2001:db8::1").has("10.0.0.2").select();
  ASSERT_EQ(interfaces.size(), 1u);
  EXPECT_EQ(interfaces[0].name, "eth0");
  EXPECT_EQ(interfaces[0].mac, "52:54:00:00:00:01");
  EXPECT_THAT(interfaces[0].ipV4, ElementsAre("10.0.0.1", "10.0.0.2"));
  EXPECT_THAT(interfaces[0].ipV6, ElementsAre("2001:db8::1"));
}

TEST(AddressSelection, LeavesOutLoopbackAndWhatIsDown) {
  EXPECT_THAT(Machine()
                  .link("lo", IFF_UP | IFF_LOOPBACK)
                  .has("10.0.0.1")
                  .link("eth0", 0)
                  .has("10.0.0.2")
                  .link("eth1")
                  .has("10.0.0.3")
                  .names(),
              ElementsAre("eth1"));
}

TEST(AddressSelection, LeavesOutInterfacesWithoutAnAddress) {
  EXPECT_THAT(Machine().link("eth0").link("eth1").has("fe80::1").names(), IsEmpty());
}

TEST(AddressSelection, LeavesOutAddressesThatOthersCannotCountOn) {
  EXPECT_THAT(Machine()
                  .link("eth0")
                  .has("2001:db8::1", IFA_F_TENTATIVE)
                  .has("2001:db8::2", IFA_F_TENTATIVE | IFA_F_OPTIMISTIC)
                  .has("2001:db8::3", IFA_F_DADFAILED)
                  .has("2001:db8::4", IFA_F_TEMPORARY)
                  .has("2001:db8::5", IFA_F_DEPRECATED)
                  .has("10.0.0.5", IFA_F_DEPRECATED)
                  .has("fe80::1", IFA_F_PERMANENT)
                  .has("169.254.1.1", IFA_F_PERMANENT)
                  .has("127.0.0.2")
                  .has("::1")
                  .has("::")
                  .has("0.0.0.0")
                  .has("2001:db8::6", IFA_F_PERMANENT)
                  .addresses(),
              ElementsAre("2001:db8::6"));
}

TEST(AddressSelection, KeepsSecondaryAddressesOfIPv4) {
  EXPECT_THAT(Machine().link("eth0").has("10.0.0.1").has("10.0.0.2", IFA_F_SECONDARY).addresses(),
              ElementsAre("10.0.0.1", "10.0.0.2"));
}

TEST(AddressSelection, KeepsThePrivateAndUniqueLocalOnes) {
  EXPECT_THAT(Machine().link("eth0").has("192.168.1.1").has("fd00::1").addresses(),
              ElementsAre("192.168.1.1", "fd00::1"));
}

TEST(AddressSelection, PutsTheDefaultRoutesInterfaceFirstAndKeepsTheOrderOfTheOthers) {
  const auto machine = Machine().link("a").has("10.0.0.1").link("b").has("10.0.0.2").link("c").has("10.0.0.3");
  EXPECT_THAT(machine.names(), ElementsAre("a", "b", "c"));
  EXPECT_THAT(
      Machine().link("a").has("10.0.0.1").link("b").has("10.0.0.2").link("c").has("10.0.0.3").isDefault().names(),
      ElementsAre("c", "a", "b"));
}

TEST(AddressSelection, TakesTheBestDefaultRouteOfIPv4BeforeIPv6) {
  EXPECT_THAT(Machine()
                  .link("a")
                  .has("10.0.0.1")
                  .isDefault(AF_INET6, 1)
                  .link("b")
                  .has("10.0.0.2")
                  .isDefault(AF_INET, 200)
                  .link("c")
                  .has("10.0.0.3")
                  .isDefault(AF_INET, 100)
                  .names(),
              ElementsAre("c", "a", "b"));
  EXPECT_THAT(Machine().link("a").has("10.0.0.1").link("b").has("10.0.0.2").isDefault(AF_INET6).names(),
              ElementsAre("b", "a"));
}

TEST(AddressSelection, FiltersInterfacesByName) {
  const auto machine =
      Machine().link("eth0").has("10.0.0.1").link("eth1").has("10.0.0.2").link("wlan0").has("10.0.0.3");
  EXPECT_THAT(machine.names({{"eth*"}, {}}), ElementsAre("eth0", "eth1"));
  EXPECT_THAT(machine.names({{}, {"eth*"}}), ElementsAre("wlan0"));
  EXPECT_THAT(machine.names({{"eth*"}, {"*1"}}), ElementsAre("eth0"));
  EXPECT_THAT(machine.names({{"eth[01]", "wlan?"}, {}}), ElementsAre("eth0", "eth1", "wlan0"));
  EXPECT_THAT(machine.names({{"none"}, {}}), IsEmpty());
}

TEST(AddressSelection, ByDefaultLeavesOutWhatManyMachinesHaveAlike) {
  const InterfaceFilter standard{{}, utils::LinuxSystem::defaultExcludedInterfaces()};
  Machine machine;
  for (const char* name : {"docker0", "docker_gwbridge", "br-0123456789ab", "veth12ab", "virbr0", "cni0", "podman1",
                           "lxcbr0", "br0", "eth0", "enp1s0", "bond0"}) {
    machine.link(name).has("10.0.0.1");
  }
  EXPECT_THAT(machine.names(standard), ElementsAre("br0", "eth0", "enp1s0", "bond0"));
}

TEST(AddressSelection, PassesOverAddressesOfUnknownLinksAndFamilies) {
  MachineNetwork network;
  network.links.push_back({1, IFF_UP, "eth0", ""});
  network.addresses.push_back({2, AF_INET, 0, "10.0.0.1"});
  network.addresses.push_back({1, AF_PACKET, 0, "10.0.0.2"});
  network.addresses.push_back({1, AF_INET, 0, "nonsense"});
  EXPECT_THAT(selectInterfaces(network, {}), IsEmpty());
}

}  // namespace
