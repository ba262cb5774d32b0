// The registration on the details that the host itself serves.

#include "PluginTest.h"
#include "discovery/AttributeList.h"
#include "framework/launcher/KVTCrypto.h"
#include "host/resources/HostResources.h"
#include "support/Wait.h"

namespace plugins {
namespace {

constexpr const char* kMatching =
    "ServerDiscoveryPl::startIPChangeMonitorThread:Both local stored and the updated JSON strings are matching";

class OwnDetails : public PluginTest {
 protected:
  ~OwnDetails() override { stopMonitor(); }

  void startUp() { proxy.startup(launcher::Preferences::get_instance(), &managerGuard.manager()); }

  bool waitForUnchanged() const {
    const std::size_t before = log.count(kMatching);
    return support::waitFor([&] { return log.count(kMatching) >= before + 2; });
  }

  /// What another server reads from the last registration.
  json::Object heard() const {
    const std::string list = slp.registrations().back().attributes;
    return support::parsed(discovery::parseAttributeList(list, std::nullopt).server);
  }

  host::HostResources details{managerGuard.manager(), *launcher::Preferences::get_instance(), {{"10.0.0.1", 8443}}, {}};
  ServerDiscoveryPluginProxy proxy{&managerGuard.manager()};
};

TEST_F(OwnDetails, OfAnIdleServerAreRegisteredOnce) {
  startUp();
  for (int i = 0; i < 10; ++i) {
    get("/1.0/servers/local");
    get("/1.0/servers");
    support::request(http::RestApi::GET, "/1.0/servers/local", {}, "lastCommunicatedNIC=10.0.0.1");
    ASSERT_TRUE(waitForUnchanged());
  }
  EXPECT_THAT(slp.registrations(), testing::SizeIs(1));
  EXPECT_EQ(state().changeCounter, 0u);
}

TEST_F(OwnDetails, VerifyAtTheServersThatHearOfThem) {
  const char* const names[] = {"eth0",       "my nic", "nic\t1", "a(b)c",          "[x]",
                               "\"quoted\"", "wow!",   "b\\c",   "n\u00e9t \u4f60"};
  std::vector<utils::NetworkInterface> interfaces;
  for (const char* const name : names)
    interfaces.push_back({name, "52:54:00:00:00:01", {"10.0.0." + std::to_string(interfaces.size() + 1)}, {}});
  system.setInterfaces(interfaces);
  system.setServerId("My Local (Server)!");
  startUp();
  ASSERT_THAT(slp.registrations(), testing::SizeIs(1));
  const json::Object attributes = heard();
  json::Object properties;
  properties["properties"] = *json::objectAt(attributes, {"properties"});
  EXPECT_EQ(json::textAt(attributes, {"gid"}), launcher::KVTCrypto::get_instance()->jsonObj_to_hashstr(properties));
  EXPECT_EQ(json::arrayAt(attributes, {"properties", "nics"})->Size(), std::size(names));
  EXPECT_EQ(json::textAt(attributes, {"properties", "displayId"}), "MyLocal(Server)!");
}

TEST_F(OwnDetails, MakeTheServerOneOfTheOlderKindForOthers) {
  startUp();
  ASSERT_THAT(slp.registrations(), testing::SizeIs(1));
  const json::Object attributes = heard();
  EXPECT_NE(json::objectAt(attributes, {"properties", "os"}), nullptr);
  EXPECT_TRUE(json::textAt(attributes, {"properties", "build"}).starts_with("008."));
  EXPECT_EQ(json::arrayAt(attributes, {"properties", "agents"})->Size(), 1u) << "where it listens";
}

TEST_F(OwnDetails, FollowTheMachinesAddresses) {
  startUp();
  ASSERT_TRUE(waitForUnchanged());
  system.setAddresses({"10.0.0.1", "10.0.0.2"});
  ASSERT_TRUE(support::waitFor([this] { return slp.registrations().size() == 2; })) << "one more address";
  ASSERT_TRUE(waitForUnchanged());
  system.setAddresses({"10.0.0.2"});
  ASSERT_TRUE(support::waitFor([this] { return slp.registrations().size() == 3; })) << "the registered one has gone";
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_TRUE(slp.registrations().back().url.starts_with("service:x-mgmt.quorvel:kvt://10.0.0.2:"));
  EXPECT_EQ(json::numberAt(heard(), {"properties", "lastUpdatedCounter"}), 2);
}

}  // namespace
}  // namespace plugins
