#include <dirent.h>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/SlpRegistration.h"
#include "framework/utils/Exceptions.h"
#include "support/Wait.h"
#include "unit/discovery/FakePeers.h"
#include "unit/discovery/RegistrationTest.h"

namespace {

using discovery::DiscoveryMap;
using Inventory = RemoteServerDiscovery;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned short kInitFailed = 0xFFEC;       // -20
constexpr unsigned short kInvalid = 0xFFFD;          // -3
constexpr unsigned short kNetworkTimedOut = 0xFFED;  // -19

TEST(ListeningPort, IsTheNumberThatTheTextBeginsWith) {
  EXPECT_EQ(discovery::toPort("8443"), 8443);
  EXPECT_EQ(discovery::toPort("8443abc"), 8443);
  EXPECT_EQ(discovery::toPort("https"), 0);
  EXPECT_EQ(discovery::toPort(""), 0);
  EXPECT_EQ(discovery::toPort("99999999999999999999"), std::numeric_limits<std::int32_t>::max());
}

TEST(SlpRegistrationReport, TellsSuccessFromFailure) {
  const support::LogCapture log;
  Inventory::slpRegistrationReport(nullptr, SLP_OK, nullptr);
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:slpRegistrationReport:SLP service is (de)registered."));
  EXPECT_THAT(log.texts(utils::LOG_ERROR), IsEmpty());
  Inventory::slpRegistrationReport(nullptr, SLP_NETWORK_ERROR, nullptr);
  EXPECT_THAT(
      log.texts(utils::LOG_ERROR),
      ElementsAre("RemoteServerDiscovery:slpRegistrationReport:SLP (de)registration failed : error code -23\n"));
}

class SlpRegistration : public RegistrationTest {};

TEST_F(SlpRegistration, GivesSlpTheServiceAndItsAttributes) {
  EXPECT_EQ(registerServer(), 0);
  ASSERT_EQ(slp.registrations().size(), 1u);
  const auto registration = slp.registrations().front();
  EXPECT_EQ(registration.url, kUrl);
  EXPECT_EQ(registration.lifetime, 65535);
  EXPECT_EQ(registration.serviceType, "service");
  EXPECT_EQ(registration.attributes, kAttributes);
  EXPECT_TRUE(registration.fresh);
}

TEST_F(SlpRegistration, SaysWhatItDoesStepByStep) {
  EXPECT_EQ(registerServer(true), 0);
  EXPECT_THAT(logged("registerSLPService"),
              ElementsAre(std::string("RemoteServerDiscovery:registerSLPService:strRegUrl=") + kUrl,
                          "RemoteServerDiscovery:registerSLPService:SLPOpen return code = 0",
                          "RemoteServerDiscovery::registerSLPService:SLPOpen is successful ",
                          "RemoteServerDiscovery:slpRegistrationReport:SLP service is (de)registered.",
                          "RemoteServerDiscovery:registerSLPService:SLPRegistration is successful "));
}

TEST_F(SlpRegistration, RemembersWhatIsRegistered) {
  preferences.set("listening_port", "9443");
  registerServer(true);
  EXPECT_EQ(*Inventory::mRegistrationUrl.load(), kUrl);
  EXPECT_EQ(Inventory::mLocalHost.load()->mAddress, "10.0.0.5");
  EXPECT_EQ(Inventory::mLocalHost.load()->mPort, 9443);
}

TEST_F(SlpRegistration, ReportsThatThereIsNoHandle) {
  slp.answerOpen(SLP_NETWORK_INIT_FAILED);
  EXPECT_EQ(registerServer(), kInitFailed);
  EXPECT_THAT(logged("registerSLPService"),
              ElementsAre(std::string("RemoteServerDiscovery:registerSLPService:strRegUrl=") + kUrl,
                          "RemoteServerDiscovery:registerSLPService:SLPOpen return code = -20",
                          "RemoteServerDiscovery:registerSLPService:SLPOpen failed with return code = -20"));
  EXPECT_THAT(slp.registrations(), IsEmpty());
  EXPECT_THAT(heartBeat.calls(), IsEmpty());
  EXPECT_FALSE(log.containsPart("addDiscoveredHost"));
  EXPECT_EQ(Inventory::mRemoteServerThread, nullptr);
  EXPECT_EQ(*Inventory::mRegistrationUrl.load(), kUrl) << "remembered all the same";
}

TEST_F(SlpRegistration, ReportsThatItWasRefusedAndClosesItsHandle) {
  slp.answerRegister(SLP_INVALID_REGISTRATION);
  EXPECT_EQ(registerServer(), kInvalid);
  EXPECT_THAT(log.texts(utils::LOG_ERROR),
              ElementsAre("RemoteServerDiscovery:slpRegistrationReport:SLP (de)registration failed : error code -3\n",
                          "RemoteServerDiscovery::registerSLPService:SLPRegistration failed with return code = -3"));
  EXPECT_FALSE(log.containsPart("SLPRegistration is successful"));
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_EQ(Inventory::mSlpHandles.current(), nullptr);
  EXPECT_THAT(heartBeat.calls(), IsEmpty());
  EXPECT_FALSE(log.containsPart("addDiscoveredHost"));
  EXPECT_EQ(Inventory::mRemoteServerThread, nullptr);
}

TEST_F(SlpRegistration, LetsTheLockGoWhenItFails) {
  slp.answerOpen(SLP_NETWORK_INIT_FAILED);
  registerServer();
  slp.answerOpen(SLP_OK);
  slp.answerRegister(SLP_INVALID_REGISTRATION);
  registerServer();
  slp.answerRegister(SLP_OK);
  EXPECT_EQ(registerServer(true), 0);
}

TEST_F(SlpRegistration, OfAServerThatSearchesListensJoinsAndRegisters) {
  registerServer();
  const std::string url = kUrl;
  EXPECT_THAT(heartBeat.calls(), ElementsAre("listen", "join " + url, "register " + url));
  for (const auto& announcement : heartBeat.announcements()) {
    EXPECT_EQ(announcement.lifetime, 65535);
    EXPECT_EQ(announcement.attributes, kAttributes);
  }
  EXPECT_EQ(heartBeat.announcements().at(0).kind, -1);
  EXPECT_EQ(heartBeat.announcements().at(1).kind, 0);
}

TEST_F(SlpRegistration, OnceMoreOnlyListensAndJoins) {
  registerServer(true);
  EXPECT_THAT(heartBeat.calls(), ElementsAre("listen", std::string("join ") + kUrl));
}

TEST_F(SlpRegistration, OfAServerThatDoesNotSearchJoinsAndRegistersWithoutListening) {
  preferences.set("installation_type", "1");
  EXPECT_EQ(registerServer(), 0);
  const std::string url = kUrl;
  EXPECT_THAT(heartBeat.calls(), ElementsAre("join " + url, "register " + url));
  EXPECT_EQ(Inventory::mRemoteServerThread, nullptr);
}

TEST_F(SlpRegistration, LooksAtTheLow16BitsOfTheInstallationType) {
  preferences.set("installation_type", "65536");
  registerServer();
  EXPECT_NE(Inventory::mRemoteServerThread, nullptr);
}

TEST_F(SlpRegistration, WithoutMulticastAnnouncesNothingAndSearchesAllTheSame) {
  preferences.set("enable_multicast", "0");
  EXPECT_EQ(registerServer(), 0);
  EXPECT_THAT(heartBeat.calls(), IsEmpty());
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost:entered with strServerIp:10.0.0.5"));
  EXPECT_NE(Inventory::mRemoteServerThread, nullptr);
}

TEST_F(SlpRegistration, AnnouncesWithItsHandleClosed) {
  std::vector<std::size_t> open;
  heartBeat.onCall([&] { open.push_back(slp.openHandles()); });
  registerServer(true);
  EXPECT_THAT(open, ElementsAre(0u, 0u));
}

TEST_F(SlpRegistration, FilesTheLocalServerBetweenJoiningAndRegistering) {
  system.setAddresses({"10.0.0.5"});
  FakeLocalServer local;
  local.plainBody = answerWith(recordNamed("ME"));
  local.refinedBody = local.plainBody;
  std::vector<std::size_t> filed;
  heartBeat.onCall([&] { filed.push_back(Inventory::mPartialDiscoveredHosts.size()); });
  inventory.registerSLPService(R"({"properties":{"displayId":"ME"}})", false, kUrl, "10.0.0.5");
  EXPECT_THAT(filed, ElementsAre(0u, 0u, 1u)) << "when it listens, joins, registers";
  EXPECT_THAT(textOf(Inventory::mPartialDiscoveredHosts, "10.0.0.5"), testing::HasSubstr(R"("isPivot":true)"));
}

TEST_F(SlpRegistration, UnderAnotherAddressIsNotUndoneByThePassThatFoundTheFirst) {
  system.setAddresses({"10.0.0.5"});
  FakeLocalServer local;
  local.plainBody = answerWith(recordNamed("ME"));
  local.refinedBody = local.plainBody;
  const std::string details = R"({"properties":{"displayId":"ME"}})";
  slp.setServices("service:x-mgmt.quorvel:kvt", {kUrl});
  slp.setAttributes(kUrl, "(ip=10.0.0.5))(server=" + details + ")");
  inventory.discoverSLPServers();
  ASSERT_TRUE(support::waitFor([] { return Inventory::m_ThreadPool.load()->getRunningJobCount() == 0; }));
  ASSERT_TRUE(Inventory::mCycleDiscoveredHosts.find("10.0.0.5"));

  system.setAddresses({"10.0.0.6"});
  inventory.deRegisterSLPService(kUrl, false);
  EXPECT_TRUE(inventory.removeSpecificServer("10.0.0.5"));
  inventory.registerSLPService(details, true, "service:x-mgmt.quorvel:kvt://10.0.0.6:8443", "10.0.0.6");
  inventory.clearAutoDiscoveredServers();
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts), std::vector<std::string>{"10.0.0.6"});
  DiscoveryMap::passEnds(*Inventory::mPartialDiscoveredHosts.snapshot());
  EXPECT_EQ(DiscoveryMap::snapshot()->size(), 1u);
  EXPECT_TRUE(DiscoveryMap::snapshot()->contains("10.0.0.6"));
}

TEST_F(SlpRegistration, AnewUnderTheSameAddressKeepsTheServerInTheListThatAPassLeaves) {
  system.setAddresses({"10.0.0.5"});
  FakeLocalServer local;
  local.plainBody = answerWith(recordNamed("ME"));
  local.refinedBody = local.plainBody;
  DiscoveryMap::passBegins();
  DiscoveryMap::updateServerList({{"10.0.0.5", {}}});
  EXPECT_TRUE(inventory.removeSpecificServer("10.0.0.5"));
  inventory.registerSLPService(R"({"properties":{"displayId":"ME"}})", true, kUrl, "10.0.0.5");
  DiscoveryMap::passEnds(*Inventory::mPartialDiscoveredHosts.snapshot());
  EXPECT_TRUE(DiscoveryMap::snapshot()->contains("10.0.0.5"));
}

TEST_F(SlpRegistration, IsASuccessWhateverFailsAfterwardsAndTakesEveryStepAllTheSame) {
  system.setAddresses({"10.0.0.5"});
  FakeLocalServer local;
  local.plainBody = answerWith(recordNamed("ME"));
  local.refinedBody = local.plainBody;
  heartBeat.onCall([] { throw std::runtime_error("broken"); });
  EXPECT_EQ(inventory.registerSLPService(R"({"properties":{"displayId":"ME"}})", false, kUrl, "10.0.0.5"), 0);
  const std::string url = kUrl;
  EXPECT_THAT(heartBeat.calls(), ElementsAre("listen", "join " + url, "register " + url));
  EXPECT_THAT(log.texts(utils::LOG_ERROR), ElementsAre("broken", "broken", "broken"));
  EXPECT_TRUE(Inventory::mPartialDiscoveredHosts.find("10.0.0.5"));
  EXPECT_NE(Inventory::mRemoteServerThread, nullptr);
}

TEST_F(SlpRegistration, OfAServerThatDoesNotSearchIsASuccessWhateverFailsAfterwards) {
  preferences.set("installation_type", "1");
  heartBeat.onCall([] { throw 7; });
  EXPECT_EQ(registerServer(), 0);
  const std::string url = kUrl;
  EXPECT_THAT(heartBeat.calls(), ElementsAre("join " + url, "register " + url));
  EXPECT_THAT(log.texts(utils::LOG_ERROR),
              ElementsAre("unknown exception", "unknown exception",
                          testing::HasSubstr("the attributes of 10.0.0.5 are no document")))
      << "it is filed all the same, as far as that goes";
}

TEST_F(SlpRegistration, LeavesATraceOfItsAttributesAndOfSlpsReport) {
  registerServer(true);
  const auto traces = log.texts(utils::LOG_TRACE);
  const auto count = [&](const std::string& name) {
    return std::count_if(traces.begin(), traces.end(),
                         [&](const std::string& text) { return text.find(name) != std::string::npos; });
  };
  EXPECT_EQ(count("RemoteServerDiscovery::addSlpAttributes"), 4) << "entered and left, for the address and the details";
  EXPECT_EQ(count("RemoteServerDiscovery::slpRegistrationReport"), 2);
}

TEST_F(SlpRegistration, MakesOneDiscoveryThread) {
  registerServer(true);
  EXPECT_EQ(Inventory::mRemoteServerThread, nullptr);
  registerServer();
  const auto* const thread = Inventory::mRemoteServerThread.get();
  ASSERT_NE(thread, nullptr);
  registerServer(true);
  registerServer();
  inventory.startDiscovery();
  EXPECT_EQ(Inventory::mRemoteServerThread.get(), thread);
  EXPECT_TRUE(support::waitFor([&] { return slp.searches().size() >= 2; }));
}

class SlpDeregistration : public RegistrationTest {};

TEST_F(SlpDeregistration, SaysWhatItDoesStepByStep) {
  registerServer(true);
  log.clear();
  EXPECT_EQ(inventory.deRegisterSLPService(kUrl, false), 0);
  EXPECT_THAT(slp.deregistrations(), ElementsAre(kUrl));
  EXPECT_THAT(logged("deRegisterSLPService"),
              ElementsAre("RemoteServerDiscovery:deRegisterSLPService:SLPOpen return code = 0",
                          "RemoteServerDiscovery:deRegisterSLPService:SLPOpen is successful ",
                          "RemoteServerDiscovery:slpRegistrationReport:SLP service is (de)registered."));
  EXPECT_EQ(slp.openHandles(), 0u);
}

TEST_F(SlpDeregistration, AnnouncesThatTheServerHasGoneAndListensNoMore) {
  registerServer(true);
  heartBeat.clear();
  std::vector<std::size_t> deregistered;
  heartBeat.onCall([&] { deregistered.push_back(slp.deregistrations().size()); });
  inventory.deRegisterSLPService(kUrl, false);
  EXPECT_THAT(heartBeat.calls(), ElementsAre(std::string("deregister ") + kUrl, "silence"));
  EXPECT_EQ(heartBeat.announcements().front().kind, 1);
  EXPECT_EQ(heartBeat.announcements().front().lifetime, 0);
  EXPECT_EQ(heartBeat.announcements().front().attributes, "");
  EXPECT_THAT(deregistered, ElementsAre(1u, 1u)) << "SLP comes first";
}

TEST_F(SlpDeregistration, WithoutAHandleStillAnnouncesIt) {
  slp.answerOpen(SLP_NETWORK_INIT_FAILED);
  EXPECT_EQ(inventory.deRegisterSLPService(kUrl, false), kInitFailed);
  EXPECT_THAT(logged("deRegisterSLPService"),
              ElementsAre("RemoteServerDiscovery:deRegisterSLPService:SLPOpen return code = -20",
                          "RemoteServerDiscovery:deRegisterSLPService:SLPDereg failed with error code: -20"));
  EXPECT_THAT(log.texts(utils::LOG_ERROR),
              ElementsAre("RemoteServerDiscovery:deRegisterSLPService:SLPDereg failed with error code: -20"));
  EXPECT_THAT(heartBeat.calls(), ElementsAre(std::string("deregister ") + kUrl, "silence"));
}

TEST_F(SlpDeregistration, ThatFailsLeavesItsHandleOpenUntilTheStop) {
  slp.answerDeregister(SLP_NETWORK_TIMED_OUT);
  EXPECT_EQ(inventory.deRegisterSLPService(kUrl, false), kNetworkTimedOut);
  EXPECT_TRUE(
      log.has(utils::LOG_ERROR, "RemoteServerDiscovery:deRegisterSLPService:SLPDereg failed with error code: -19"));
  EXPECT_THAT(heartBeat.calls(), ElementsAre(std::string("deregister ") + kUrl, "silence"));
  EXPECT_EQ(slp.openHandles(), 1u);

  slp.answerDeregister(SLP_OK);
  inventory.deRegisterSLPService(kUrl, false);
  registerServer(true);
  EXPECT_EQ(slp.openHandles(), 1u) << "each closes its own";
  slp.answerDeregister(SLP_NETWORK_TIMED_OUT);
  inventory.deRegisterSLPService(kUrl, false);
  EXPECT_EQ(slp.openHandles(), 2u);
  EXPECT_EQ(inventory.deRegisterSLPService(kUrl, true), kNetworkTimedOut);
  EXPECT_EQ(slp.openHandles(), 0u);
}

TEST_F(SlpDeregistration, LetsDiscoveryGoOn) {
  registerServer();
  const auto pool = Inventory::m_ThreadPool.load();
  Inventory::mStopDiscovery = true;
  inventory.deRegisterSLPService(kUrl, false);
  EXPECT_FALSE(Inventory::mStopDiscovery) << "an earlier stop is taken back";
  EXPECT_EQ(Inventory::m_ThreadPool.load(), pool);
  EXPECT_NE(Inventory::mRemoteServerThread, nullptr);
}

template <typename Exception>
void throwIt() {
  throw Exception("File.cpp", 7, "broken");
}

TEST_F(SlpDeregistration, LogsExceptionsAndGoesOn) {
  registerServer();
  log.clear();
  heartBeat.onCall(throwIt<utils::PluginException>);
  EXPECT_EQ(inventory.deRegisterSLPService(kUrl, false), 0) << "what SLP answered last";
  heartBeat.onCall(throwIt<utils::InputException>);
  slp.answerDeregister(SLP_NETWORK_TIMED_OUT);
  EXPECT_EQ(inventory.deRegisterSLPService(kUrl, true), kNetworkTimedOut);
  const auto errors = log.texts(utils::LOG_ERROR);
  const auto broken = [](const std::string& text) { return text.find("broken") != std::string::npos; };
  EXPECT_EQ(std::count_if(errors.begin(), errors.end(), broken), 4) << "the announcement and the silence, twice";
  EXPECT_EQ(Inventory::m_ThreadPool.load(), nullptr) << "stopped all the same";
  EXPECT_EQ(Inventory::mRemoteServerThread, nullptr);
  EXPECT_EQ(slp.openHandles(), 0u);
  heartBeat.onCall(nullptr);
}

std::size_t entriesOf(const char* folder) {
  std::size_t count = 0;
  DIR* const directory = opendir(folder);
  while (directory != nullptr && readdir(directory) != nullptr)
    ++count;
  if (directory != nullptr) closedir(directory);
  return count;
}

TEST_F(SlpDeregistration, AThousandTimesInTurnsWithRegistrationLeavesNothingBehind) {
  registerServer();
  inventory.deRegisterSLPService(kUrl, false);
  registerServer(true);
  const auto threads = entriesOf("/proc/self/task");
  const auto descriptors = entriesOf("/proc/self/fd");
  const auto* const thread = Inventory::mRemoteServerThread.get();
  for (int round = 0; round < 1000; ++round) {
    EXPECT_EQ(inventory.deRegisterSLPService(kUrl, false), 0);
    EXPECT_EQ(registerServer(true), 0);
    if (round % 100 == 0) log.clear();
  }
  EXPECT_EQ(entriesOf("/proc/self/task"), threads);
  EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
  EXPECT_EQ(Inventory::mRemoteServerThread.get(), thread);
  EXPECT_EQ(Inventory::mSlpHandles.leftOpen(), 0u);
  stop();
  EXPECT_EQ(slp.openHandles(), 0u);
}

}  // namespace
