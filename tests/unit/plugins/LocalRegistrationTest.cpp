#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "RegistrationTest.h"
#include "framework/http/Command.h"
#include "framework/utils/StringHelper.h"

namespace plugins {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kTrial = "ServerDiscoveryPl::registerServiceDiscovery:strTempIP for registerSLPService";
constexpr const char* kUpdate = "ServerDiscoveryPl:updateSLPRegistration:";

class LocalRegistration : public RegistrationTest {
 protected:
  /// The addresses that the first registration has tried.
  std::vector<std::string> tried() const {
    std::vector<std::string> addresses;
    for (const std::string& text : log.texts(utils::LOG_DETAIL)) {
      if (text.starts_with(kTrial)) addresses.push_back(text.substr(std::string(kTrial).size()));
    }
    return addresses;
  }
};

TEST_F(LocalRegistration, IsUnderTheFirstAddressAndUnderNoOther) {
  system.setAddresses({"10.0.0.1", "10.0.0.2"}, {"2001:db8::1"});
  startUp();
  EXPECT_THAT(registeredUrls(), ElementsAre("service:x-mgmt.quorvel:kvt://10.0.0.1:8443"));
  EXPECT_THAT(tried(), ElementsAre("10.0.0.1"));
  EXPECT_TRUE(slp.registrations().front().fresh);
}

TEST_F(LocalRegistration, TellsTheAddressAndTheCompactAttributes) {
  setDetails(support::parsed(R"({"properties":{"displayId":"my local\tserver","agents":[{"listen":[{"port":8443}]}],)"
                             R"("os":{"network":{"nics":[{"ipV4":"10.0.0.1"}]}}}})"));
  startUp();
  ASSERT_THAT(slp.registrations(), testing::SizeIs(1));
  const std::string list = slp.registrations().front().attributes;
  EXPECT_TRUE(list.starts_with(R"((ip=10.0.0.1))(server={"properties":{"displayId":"mylocalserver","agents":)"))
      << list;
  EXPECT_THAT(list, testing::Not(testing::HasSubstr(" ")));
  EXPECT_THAT(list, testing::Not(testing::HasSubstr("\\t")));

  const json::Object attributes = registeredAttributes();
  EXPECT_EQ(json::textAt(attributes, {"properties", "displayId"}), "mylocalserver");
  EXPECT_EQ(json::numberAt(attributes, {"properties", "lastUpdatedCounter"}), 0);
  EXPECT_EQ(json::arrayAt(attributes, {"properties", "nics"})->Size(), 1u);
  EXPECT_EQ(json::arrayAt(attributes, {"properties", "agents"})->Size(), 1u);
  EXPECT_EQ(json::textAt(attributes, {"gid"}).size(), 64u);
}

TEST_F(LocalRegistration, AsksForTheDetailsUnderTheLowerCasedIdentifier) {
  system.setServerId("Local-Server");
  startUp();
  ASSERT_FALSE(askedIds().empty());
  EXPECT_EQ(askedIds().front(), "local-server");
}

TEST_F(LocalRegistration, RemembersWhatItWasMadeOf) {
  const json::Object details = support::parsed(R"({"properties":{"displayId":"a b\tc"}})");
  setDetails(details);
  startUp();
  const auto registration = state().registration();
  EXPECT_EQ(registration->details, details) << "as they were given";
  EXPECT_EQ(registration->text, R"({"properties":{"displayId":"abc"}})");
  EXPECT_EQ(registration->hashCode, utils::StringHelper::getStringArrayHashCode(registration->text));
  EXPECT_EQ(registration->url, url("10.0.0.1"));
  EXPECT_EQ(registration->address, "10.0.0.1");
  EXPECT_FALSE(registration->isPending);
}

TEST_F(LocalRegistration, TriesTheNextAddressWhenOneFails) {
  system.setAddresses({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  slp.failRegister(url("10.0.0.1"), SLP_NETWORK_ERROR);
  startUp();
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.2")));
  EXPECT_THAT(tried(), ElementsAre("10.0.0.1", "10.0.0.2"));
  EXPECT_TRUE(log.has(utils::LOG_FAILURE,
                      "ServerDiscoveryPl::registerServiceDiscovery Failed WIth return code:= 65513 for IP:10.0.0.1"));
  EXPECT_EQ(state().registration()->url, url("10.0.0.2"));
  EXPECT_EQ(state().registration()->address, "10.0.0.2");
}

TEST_F(LocalRegistration, TriesIPv6AddressesAfterAllIPv4Ones) {
  system.setAddresses({"10.0.0.1", "10.0.0.2"}, {"2001:db8::1", "2001:db8::2"});
  for (const char* const address : {"10.0.0.1", "10.0.0.2", "2001:db8::1"})
    slp.failRegister(url(address), SLP_NETWORK_ERROR);
  startUp();
  EXPECT_THAT(tried(), ElementsAre("10.0.0.1", "10.0.0.2", "2001:db8::1", "2001:db8::2"));
  EXPECT_THAT(registeredUrls(), ElementsAre("service:x-mgmt.quorvel:kvt://2001:db8::2:8443"));
}

TEST_F(LocalRegistration, IsUnderABareIPv6AddressWithoutAnIPv4One) {
  system.setAddresses({}, {"2001:db8::1"});
  startUp();
  EXPECT_THAT(registeredUrls(), ElementsAre("service:x-mgmt.quorvel:kvt://2001:db8::1:8443"));
}

TEST_F(LocalRegistration, TellsTheListTheAddressByWhichItKnowsTheServer) {
  system.setAddresses({}, {"2001:db8::1"});
  startUp();
  EXPECT_EQ(state().localServer()->ip, "2001:db8::1") << "its first interface has no IPv4 address to know it by";
}

TEST_F(LocalRegistration, RemembersTheLastAttemptWhenAllFail) {
  system.setAddresses({"10.0.0.1", "10.0.0.2"});
  slp.answerRegister(SLP_NETWORK_INIT_FAILED);
  startUp();
  EXPECT_EQ(state().registration()->url, url("10.0.0.2"));
  EXPECT_EQ(state().registration()->address, "10.0.0.2");
  EXPECT_NE(state().monitor, nullptr) << "it tries again when the details change";
  EXPECT_TRUE(waitForUnchanged());
  EXPECT_THAT(tried(), ElementsAre("10.0.0.1", "10.0.0.2"));
  const std::string failure = "ServerDiscoveryPl::registerServiceDiscovery Failed WIth return code:= 65516 for IP:";
  EXPECT_TRUE(log.has(utils::LOG_FAILURE, failure + "10.0.0.1"));
  EXPECT_TRUE(log.has(utils::LOG_FAILURE, failure + "10.0.0.2"));
}

TEST_F(LocalRegistration, WaitsForAnAddressOnAMachineWithout) {
  system.setAddresses({});
  startUp();
  EXPECT_THAT(registeredUrls(), IsEmpty());
  EXPECT_THAT(tried(), IsEmpty());
  EXPECT_EQ(state().registration()->url, "");
  EXPECT_EQ(state().registration()->address, "");
  EXPECT_TRUE(state().registration()->isPending);
  EXPECT_NE(state().monitor, nullptr);
}

TEST_F(LocalRegistration, IsNotMadeWhenTheAddressesCannotBeListed) {
  system.failGetIPAddresses();
  startUp();
  EXPECT_THAT(registeredUrls(), IsEmpty());
  EXPECT_THAT(askedIds(), IsEmpty());
  EXPECT_EQ(state().monitor, nullptr);
  EXPECT_EQ(state().registration()->text, "");
}

TEST_F(LocalRegistration, IsNotMadeWhenTheMachineDoesNotKnowItsOwnAddress) {
  system.failGetLocalIPAddress();
  startUp();
  EXPECT_THAT(registeredUrls(), IsEmpty());
  EXPECT_THAT(askedIds(), ElementsAre("local"));
  EXPECT_EQ(state().monitor, nullptr);
  EXPECT_EQ(state().registration()->text, "");
}

TEST_F(LocalRegistration, IsMadeOfNothingWhenThereAreNoDetails) {
  host.unregister();
  startUp();
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.1")));
  EXPECT_EQ(state().registration()->text, "{}");
  EXPECT_EQ(json::textAt(registeredAttributes(), {"properties", "displayId"}), "");
}

TEST_F(LocalRegistration, IsOnlyThoughtOfWithOemTypeThree) {
  preferences.set("installation_oem_type", "3");
  system.setAddresses({"10.0.0.1", "10.0.0.2"});
  startUp();
  EXPECT_THAT(tried(), ElementsAre("10.0.0.1"));
  EXPECT_THAT(registeredUrls(), IsEmpty());
  EXPECT_THAT(heartBeat.calls(), IsEmpty());
  EXPECT_EQ(state().registration()->url, url("10.0.0.1"));
  EXPECT_EQ(state().registration()->address, "10.0.0.1");
  EXPECT_EQ(state().registration()->details, serverRecord("local", "10.0.0.1"));
  EXPECT_NE(state().registration()->text, "");
  EXPECT_NE(state().registration()->hashCode, 0);
  EXPECT_EQ(state().monitor, nullptr);
  proxy.shutdown();
  EXPECT_THAT(slp.deregistrations(), IsEmpty());
}

TEST_F(LocalRegistration, IsMadeWithAnyOtherOemType) {
  preferences.set("installation_oem_type", "2");
  startUp();
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.1")));
  EXPECT_NE(state().monitor, nullptr);
}

TEST_F(LocalRegistration, LooksForNoOthersWithInstallationTypeOne) {
  startUp();
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.1")));
  EXPECT_NE(state().monitor, nullptr);
  EXPECT_FALSE(hasDiscoveryThread());
}

TEST_F(LocalRegistration, NamesTheThreadOfTheMonitor) {
  startUp();
  EXPECT_TRUE(support::waitFor([] {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      std::string name;
      std::getline(std::ifstream(task.path() / "comm"), name);
      if (name == "IPChangeMonitor") return true;  // of "IPChangeMonitorThread", as far as the system keeps it
    }
    return false;
  }));
}

/// Whatever keeps the local server from being registered, others are looked for.
class DiscoveryOfOthers : public LocalRegistration {
 protected:
  DiscoveryOfOthers() { preferences.set("installation_type", "0"); }

  void expectSearch() {
    startUp();
    EXPECT_TRUE(hasDiscoveryThread());
    EXPECT_TRUE(support::waitFor([this] { return !slp.searches().empty(); }));
  }
};

TEST_F(DiscoveryOfOthers, BeginsWithTheRegistration) {
  expectSearch();
}

TEST_F(DiscoveryOfOthers, BeginsWithOemTypeThree) {
  preferences.set("installation_oem_type", "3");
  expectSearch();
}

TEST_F(DiscoveryOfOthers, BeginsWithoutAnAddress) {
  system.setAddresses({});
  expectSearch();
}

TEST_F(DiscoveryOfOthers, BeginsWhenTheRegistrationIsRefused) {
  slp.answerRegister(SLP_NETWORK_INIT_FAILED);
  expectSearch();
}

TEST_F(DiscoveryOfOthers, BeginsWhenTheAddressesCannotBeListed) {
  system.failGetIPAddresses();
  expectSearch();
}

TEST_F(DiscoveryOfOthers, BeginsWhenTheMachineDoesNotKnowItsOwnAddress) {
  system.failGetLocalIPAddress();
  expectSearch();
}

TEST_F(DiscoveryOfOthers, BeginsWhenRegisteringEndsByAnException) {
  class FailingSystem : public support::FakeSystem {
   public:
    std::string getLocalServerId() override { throw std::runtime_error("the machine has failed"); }
  };
  preferences.set("ip_change_polling_interval", "10");
  {
    const FailingSystem failing;
    expectSearch();
    EXPECT_THAT(registeredUrls(), IsEmpty());
    EXPECT_TRUE(log.has(utils::LOG_ERROR,
                        "ServerDiscoveryPl::registerServiceDiscovery:exception caught:the machine has failed"));
    EXPECT_NE(state().monitor, nullptr);
    stopMonitor();
  }
}

TEST_F(LocalRegistration, IsMadeByTheMonitorWhenTheFirstOneEndedByAnException) {
  std::atomic<bool> fails = true;
  class FailingSystem : public support::FakeSystem {
   public:
    explicit FailingSystem(const std::atomic<bool>& isFailing) : mIsFailing(isFailing) {}
    std::string getLocalServerId() override {
      if (mIsFailing) throw std::runtime_error("the machine has failed");
      return FakeSystem::getLocalServerId();
    }

   private:
    const std::atomic<bool>& mIsFailing;
  };
  preferences.set("ip_change_polling_interval", "10");
  {
    const FailingSystem failing(fails);
    startUp();
    EXPECT_THAT(registeredUrls(), IsEmpty());
    fails = false;
    EXPECT_TRUE(waitForRegistrations(1));
    stopMonitor();
  }
}

TEST_F(DiscoveryOfOthers, BeginsWhenAnnouncingFails) {
  heartBeat.onCall([] { throw std::runtime_error("no thread"); });
  expectSearch();
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.1"))) << "and no other address is tried";
  EXPECT_NE(state().monitor, nullptr);
  heartBeat.onCall(nullptr);
}

TEST_F(DiscoveryOfOthers, EndsWithTheRegistration) {
  expectSearch();
  proxy.shutdown();
  EXPECT_FALSE(hasDiscoveryThread());
}

class RegistrationUpdate : public RegistrationTest {
 protected:
  RegistrationUpdate() {
    RegistrationState before;
    before.url = url("10.0.0.9");
    before.address = "10.0.0.9";
    state().setRegistration(before);
  }

  http::Command command;
  ServerDiscoveryPlugin plugin{&command, &proxy};
};

TEST_F(RegistrationUpdate, WithdrawsTheOldRegistrationAndMakesANewOne) {
  announce("10.0.0.9", serverRecord("local", "10.0.0.9"));
  EXPECT_EQ(plugin.updateSLPRegistration("X1", false, url("10.0.0.9"), "10.0.0.2"), 0);
  EXPECT_THAT(slp.deregistrations(), ElementsAre(url("10.0.0.9")));
  EXPECT_THAT(announcedAddresses(), testing::Not(testing::Contains("10.0.0.9")));
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.2")));
  EXPECT_EQ(slp.registrations().back().attributes, "(ip=10.0.0.2))(server=X1)");
  EXPECT_EQ(state().registration()->url, url("10.0.0.2"));
  EXPECT_EQ(state().registration()->address, "10.0.0.9") << "the caller's to say";
  EXPECT_TRUE(
      log.has(utils::LOG_DETAIL, kUpdate + ("deRegisterSLPService is successful with the URL:" + url("10.0.0.9"))));
  EXPECT_TRUE(
      log.has(utils::LOG_DETAIL, kUpdate + std::string("removeSpecificServer is successful with the IP:10.0.0.9")));
}

TEST_F(RegistrationUpdate, HappensInThisOrder) {
  announce("10.0.0.9", serverRecord("local", "10.0.0.9"));
  plugin.updateSLPRegistration("X1", false, url("10.0.0.9"), "10.0.0.2");
  const auto calls = heartBeat.calls();
  ASSERT_GE(calls.size(), 3u);
  EXPECT_EQ(calls.front(), "deregister " + url("10.0.0.9"));
  const auto texts = log.texts();
  const auto at = [&texts](const std::string& text) { return std::find(texts.begin(), texts.end(), text); };
  const auto withdrawal = at(kUpdate + ("deRegisterSLPService is successful with the URL:" + url("10.0.0.9")));
  const auto removal = at(kUpdate + std::string("removeSpecificServer is successful with the IP:10.0.0.9"));
  const auto registration = at("RemoteServerDiscovery:registerSLPService:strRegUrl=" + url("10.0.0.2"));
  EXPECT_LT(withdrawal, removal);
  EXPECT_LT(removal, registration);
  EXPECT_NE(registration, texts.end());
}

TEST_F(RegistrationUpdate, GoesOnWhenNothingOldCanBeTakenBack) {
  slp.answerDeregister(SLP_NETWORK_ERROR);
  EXPECT_EQ(plugin.updateSLPRegistration("X1", false, url("10.0.0.9"), "10.0.0.2"), 0);
  EXPECT_TRUE(
      log.has(utils::LOG_FAILURE, kUpdate + ("deRegisterSLPService has failed with the URL:" + url("10.0.0.9"))));
  EXPECT_TRUE(log.has(utils::LOG_FAILURE, kUpdate + std::string("removeSpecificServer failed with the IP:10.0.0.9")));
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.2")));
}

TEST_F(RegistrationUpdate, AnswersWhatSlpAnswersAndRemembersTheUrlAllTheSame) {
  slp.answerRegister(SLP_NETWORK_ERROR);
  EXPECT_EQ(plugin.updateSLPRegistration("X1", false, url("10.0.0.9"), "10.0.0.2"), 65513);
  EXPECT_TRUE(
      log.has(utils::LOG_DETAIL, kUpdate + std::string("UpdateSLPRegistration Failed WIth return code = 65513")));
  EXPECT_EQ(state().registration()->url, url("10.0.0.2"));
}

TEST_F(RegistrationUpdate, TakesNoNoticeOfTheFlag) {
  EXPECT_EQ(plugin.updateSLPRegistration("X1", true, url("10.0.0.9"), "10.0.0.2"), 0);
  EXPECT_THAT(slp.deregistrations(), ElementsAre(url("10.0.0.9")));
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.2")));
}

TEST_F(RegistrationUpdate, StartsNoDiscoveryOfOthers) {
  preferences.set("installation_type", "0");
  plugin.updateSLPRegistration("X1", false, url("10.0.0.9"), "10.0.0.2");
  EXPECT_FALSE(hasDiscoveryThread());
}

class RegistrationTexts : public PluginTest {
 protected:
  http::Command command;
  ServerDiscoveryPluginProxy proxy{&managerGuard.manager()};
  ServerDiscoveryPlugin plugin{&command, &proxy};
};

TEST_F(RegistrationTexts, NamesAddressAndListeningPortInTheUrl) {
  preferences.set("listening_port", "8443");
  EXPECT_EQ(plugin.getSlpRegistrationUrl("192.0.2.10"), "service:x-mgmt.quorvel:kvt://192.0.2.10:8443");
  preferences.set("listening_port", "9000");
  EXPECT_EQ(plugin.getSlpRegistrationUrl("2001:db8::1"), "service:x-mgmt.quorvel:kvt://2001:db8::1:9000");
}

TEST_F(RegistrationTexts, WritesAnObjectAsCompactText) {
  const std::string text = R"({"a":[1,2.5,"b c"],"d":{"e":null,"f":true}})";
  EXPECT_EQ(plugin.convertJSONObjcetToString(support::parsed(text)), text);
  EXPECT_EQ(plugin.convertJSONObjcetToString({}), "{}");
}

TEST_F(RegistrationTexts, ReplacesEveryOccurrence) {
  EXPECT_EQ(plugin.ReplaceAll(" a  b ", " ", ""), "ab");
  EXPECT_EQ(plugin.ReplaceAll("aXbX", "X", "--"), "a--b--");
  EXPECT_EQ(plugin.ReplaceAll("aaa", "aa", "b"), "ba");
  EXPECT_EQ(plugin.ReplaceAll("", "a", "b"), "");
  EXPECT_EQ(plugin.ReplaceAll("abc", "x", "y"), "abc");
}

TEST_F(RegistrationTexts, DoesNotSearchAgainWhatItPutIn) {
  EXPECT_EQ(plugin.ReplaceAll("a b", "a", "aa"), "aa b");
  EXPECT_EQ(plugin.ReplaceAll("xx", "x", "xyx"), "xyxxyx");
}

TEST_F(RegistrationTexts, ReplacesNothingByAnEmptyPattern) {
  EXPECT_EQ(plugin.ReplaceAll("abc", "", "x"), "abc");
}

TEST_F(RegistrationTexts, LeavesTheServiceObjectWithoutACommandToAskWith) {
  ServerDiscoveryPlugin service(&managerGuard.manager(), &proxy);
  service.deRegisterServiceDiscovery();
  const http::RestApi api(http::RestApi::GET, "/1.0/servers", false);
  json::Object response;
  EXPECT_EQ(service.executePlugin(&api, response), http::HTTPCommand::HTTP_BAD_REQUEST);
  PluginState::instance().forgetServicePlugin(&service);
}

}  // namespace
}  // namespace plugins
