#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "RegistrationTest.h"
#include "framework/utils/Shutdown.h"
#include "framework/utils/StringHelper.h"

namespace plugins {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Clock = std::chrono::steady_clock;

class IpChangeMonitor : public RegistrationTest {
 protected:
  ~IpChangeMonitor() override { utils::shutdown::reset(); }

  /// Started up, registered, and found unchanged.
  void startUpAndSettle() {
    startUp();
    ASSERT_TRUE(waitForUnchanged());
    ASSERT_EQ(log.count(kNotMatching), 0u);
    log.clear();
  }

  double registeredCounter() const {
    return json::numberAt(registeredAttributes(), {"properties", "lastUpdatedCounter"}).value_or(-1);
  }

  /// Where a text first stands in the log.
  std::size_t placeOf(const std::string& text) const {
    const auto texts = log.texts();
    return static_cast<std::size_t>(std::find(texts.begin(), texts.end(), text) - texts.begin());
  }
};

TEST_F(IpChangeMonitor, LeavesAnUnchangedServerAlone) {
  startUpAndSettle();
  for (int i = 0; i < 3; ++i)
    ASSERT_TRUE(waitForUnchanged());
  EXPECT_THAT(slp.registrations(), SizeIs(1));
  EXPECT_THAT(slp.deregistrations(), IsEmpty());
  EXPECT_EQ(state().changeCounter, 0u);
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, kMatching));
  EXPECT_FALSE(log.contains(kNotMatching));
}

TEST_F(IpChangeMonitor, RegistersUnderTheNewAddress) {
  startUpAndSettle();
  announce("10.0.0.1", serverRecord("local", "10.0.0.1"));
  system.setAddresses({"10.0.0.2"});
  setDetails(serverRecord("local", "10.0.0.2"));
  ASSERT_TRUE(waitForRegistrations(2));
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.1"), url("10.0.0.2")));
  EXPECT_THAT(slp.deregistrations(), ElementsAre(url("10.0.0.1")));
  EXPECT_THAT(announcedAddresses(), testing::Not(testing::Contains("10.0.0.1")));
  EXPECT_EQ(registeredCounter(), 1);
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, kNotMatching));
  EXPECT_EQ(log.count(kNotMatching), 1u);

  const auto registration = state().registration();
  EXPECT_EQ(registration->url, url("10.0.0.2"));
  EXPECT_EQ(registration->address, "10.0.0.2");
  EXPECT_EQ(registration->details, serverRecord("local", "10.0.0.2"));
  EXPECT_EQ(registration->text, support::written(serverRecord("local", "10.0.0.2")));
  EXPECT_EQ(registration->hashCode, utils::StringHelper::getStringArrayHashCode(registration->text));
  EXPECT_EQ(state().localServer()->ip, "10.0.0.2") << "by which the list knows the server";
}

TEST_F(IpChangeMonitor, WithdrawsTheLastRegistrationAtTheEnd) {
  startUpAndSettle();
  system.setAddresses({"10.0.0.2"});
  setDetails(serverRecord("local", "10.0.0.2"));
  ASSERT_TRUE(waitForRegistrations(2));
  proxy.shutdown();
  EXPECT_THAT(slp.deregistrations(), ElementsAre(url("10.0.0.1"), url("10.0.0.2")));
}

TEST_F(IpChangeMonitor, SaysWhatItDoesInThisOrder) {
  startUpAndSettle();
  setDetails(serverRecord("renamed", "10.0.0.1"));
  ASSERT_TRUE(waitForRegistrations(2));
  ASSERT_TRUE(waitForUnchanged());
  const std::size_t found = placeOf(kNotMatching);
  const std::size_t withdrawn = placeOf(
      "ServerDiscoveryPl:updateSLPRegistration:deRegisterSLPService is successful with the URL:" + url("10.0.0.1"));
  const std::size_t registered = placeOf("RemoteServerDiscovery:registerSLPService:strRegUrl=" + url("10.0.0.1"));
  EXPECT_LT(found, withdrawn);
  EXPECT_LT(withdrawn, registered);
  EXPECT_LT(registered, log.texts().size());
}

TEST_F(IpChangeMonitor, FollowsAChangeOfTheDisplayIdentifierAlone) {
  startUpAndSettle();
  setDetails(serverRecord("renamed", "10.0.0.1"));
  ASSERT_TRUE(waitForRegistrations(2));
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.1"), url("10.0.0.1")));
  EXPECT_EQ(json::textAt(registeredAttributes(), {"properties", "displayId"}), "renamed");
  EXPECT_EQ(registeredCounter(), 1);
}

TEST_F(IpChangeMonitor, CountsEveryChange) {
  startUpAndSettle();
  for (std::size_t change = 1; change <= 3; ++change) {
    setDetails(serverRecord("server" + std::to_string(change), "10.0.0.1"));
    ASSERT_TRUE(waitForRegistrations(change + 1));
    EXPECT_EQ(registeredCounter(), static_cast<double>(change));
  }
  EXPECT_EQ(state().changeCounter, 3u);
}

TEST_F(IpChangeMonitor, TakesBlanksAndTabsInValuesForNoChange) {
  setDetails(serverRecord("my server", "10.0.0.1"));
  startUpAndSettle();
  for (const char* const same : {"myserver", "my  server", R"(my\tserver)", R"( my \t\t server\t)"}) {
    setDetails(serverRecord(same, "10.0.0.1"));
    ASSERT_TRUE(waitForUnchanged()) << same;
  }
  EXPECT_THAT(slp.registrations(), SizeIs(1));
  EXPECT_FALSE(log.contains(kNotMatching));

  setDetails(serverRecord(R"(my\nserver)", "10.0.0.1"));
  EXPECT_TRUE(waitForRegistrations(2)) << "any other character is a change";
}

TEST_F(IpChangeMonitor, TriesTheNextAddressWhenOneFails) {
  startUpAndSettle();
  system.setAddresses({"10.0.0.2", "10.0.0.3"}, {"2001:db8::1"});
  slp.failRegister(url("10.0.0.2"), SLP_NETWORK_ERROR);
  setDetails(serverRecord("local", "10.0.0.2"));
  ASSERT_TRUE(waitForRegistrations(2));
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.1"), url("10.0.0.3")));
  EXPECT_TRUE(log.has(utils::LOG_FAILURE,
                      "ServerDiscoveryPl::startIPChangeMonitorThread:Registration Failed WIth return code:= 65513 for "
                      "IP:10.0.0.2"));
  EXPECT_THAT(slp.deregistrations(), ElementsAre(url("10.0.0.1"), url("10.0.0.2")))
      << "each attempt withdraws what was stored last";
  EXPECT_EQ(state().registration()->address, "10.0.0.3");
  EXPECT_EQ(state().changeCounter, 1u) << "a change counts once, however many addresses it takes";
}

TEST_F(IpChangeMonitor, RegistersUnderAnIPv6AddressWhenNoOtherIsLeft) {
  startUpAndSettle();
  system.setAddresses({}, {"2001:db8::1"});
  setDetails(serverRecord("local", "", "2001:db8::1"));
  ASSERT_TRUE(waitForRegistrations(2));
  EXPECT_EQ(registeredUrls().back(), "service:x-mgmt.quorvel:kvt://2001:db8::1:8443");
}

TEST_F(IpChangeMonitor, DoesNotRetryAnUnchangedServer) {
  startUpAndSettle();
  system.setAddresses({"10.0.0.2", "10.0.0.3"});
  slp.answerRegister(SLP_NETWORK_ERROR);
  setDetails(serverRecord("local", "10.0.0.2"));
  ASSERT_TRUE(support::waitFor([this] { return log.contains(kNotMatching); }));
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_EQ(state().registration()->url, url("10.0.0.3"));
  EXPECT_EQ(state().registration()->address, "10.0.0.3");
  const std::string failure =
      "ServerDiscoveryPl::startIPChangeMonitorThread:Registration Failed WIth return code:= 65513 for IP:";
  EXPECT_EQ(log.count(failure + "10.0.0.2"), 1u);
  EXPECT_EQ(log.count(failure + "10.0.0.3"), 1u);

  slp.answerRegister(SLP_OK);
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_THAT(slp.registrations(), SizeIs(1)) << "SLP works again, but nothing has changed";
  setDetails(serverRecord("renamed", "10.0.0.2"));
  ASSERT_TRUE(waitForRegistrations(2));
  EXPECT_EQ(registeredUrls().back(), url("10.0.0.2"));
}

TEST_F(IpChangeMonitor, TakesDetailsThatCannotBeHadForAChange) {
  startUpAndSettle();
  host.unregister();
  ASSERT_TRUE(waitForRegistrations(2));
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_EQ(state().registration()->text, "{}");
  EXPECT_EQ(registeredCounter(), 1);
}

TEST_F(IpChangeMonitor, KeepsTheRegistrationOfAMachineThatLosesItsAddresses) {
  startUpAndSettle();
  system.setAddresses({});
  setDetails(support::parsed(R"({"properties":{"displayId":"local","os":{"network":{"nics":[]}}}})"));
  ASSERT_TRUE(support::waitFor([this] { return log.contains(kNotMatching); }));
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_THAT(slp.registrations(), SizeIs(1));
  EXPECT_THAT(slp.deregistrations(), IsEmpty());
  EXPECT_EQ(state().registration()->url, url("10.0.0.1"));
  EXPECT_EQ(state().registration()->address, "10.0.0.1");
  EXPECT_TRUE(state().registration()->isPending);
  EXPECT_EQ(state().changeCounter, 1u);
  proxy.shutdown();
  EXPECT_THAT(slp.deregistrations(), ElementsAre(url("10.0.0.1")));
}

TEST_F(IpChangeMonitor, RegistersAgainUnderAnAddressThatReturns) {
  startUpAndSettle();
  system.setAddresses({});
  setDetails(serverRecord("local", ""));
  ASSERT_TRUE(support::waitFor([this] { return log.contains(kNotMatching); }));
  ASSERT_TRUE(waitForUnchanged());
  system.setAddresses({"10.0.0.1"});
  setDetails(serverRecord("local", "10.0.0.1"));
  ASSERT_TRUE(waitForRegistrations(2));
  EXPECT_THAT(slp.deregistrations(), ElementsAre(url("10.0.0.1")));
  EXPECT_EQ(registeredUrls().back(), url("10.0.0.1"));
}

TEST_F(IpChangeMonitor, RegistersWhenAMachineWithoutAddressesGetsOne) {
  system.setAddresses({});
  setDetails(serverRecord("local", ""));
  startUpAndSettle();
  ASSERT_THAT(slp.registrations(), IsEmpty());
  system.setAddresses({"10.0.0.5"});
  setDetails(serverRecord("local", "10.0.0.5"));
  ASSERT_TRUE(waitForRegistrations(1));
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.5")));
  EXPECT_EQ(registeredCounter(), state().changeCounter);
}

/// The address may appear between the look at the addresses and the look at the details.
TEST_F(IpChangeMonitor, RegistersUnderAnAddressThatTheDetailsKnewFirst) {
  system.setAddresses({});
  startUpAndSettle();
  ASSERT_THAT(slp.registrations(), IsEmpty());
  system.setAddresses({"10.0.0.1"});
  ASSERT_TRUE(waitForRegistrations(1));
  ASSERT_TRUE(waitForUnchanged());
  EXPECT_THAT(registeredUrls(), ElementsAre(url("10.0.0.1"))) << "once";
  EXPECT_EQ(state().changeCounter, 1u);
}

TEST_F(IpChangeMonitor, EndsBeforeItsFirstLookWhenItIsToStopAlready) {
  state().stopMonitor = true;
  startUp();
  ASSERT_NE(state().monitor, nullptr);
  state().monitor->join();
  EXPECT_TRUE(log.contains("plugins::ServerDiscoveryPlugin::startIPChangeMonitorThread"));
  EXPECT_FALSE(log.contains(kMatching));
  EXPECT_FALSE(log.contains(kNotMatching));
}

TEST_F(IpChangeMonitor, EndsAtTheEndOfAWaitAndNotEarlier) {
  constexpr std::chrono::milliseconds kInterval(500);
  preferences.set("ip_change_polling_interval", std::to_string(kInterval.count()));
  const auto begin = Clock::now();  // the wait begins later
  startUp();
  ASSERT_TRUE(support::waitFor([this] { return log.contains(kMatching); }));
  state().stopMonitor = true;
  state().monitor->join();
  EXPECT_GE(Clock::now() - begin, kInterval);
  EXPECT_EQ(log.count(kMatching), 1u);
}

TEST_F(IpChangeMonitor, EndsAtOnceWhenTheHostShutsDown) {
  preferences.set("ip_change_polling_interval", "3600000");
  startUp();
  ASSERT_TRUE(support::waitFor([this] { return log.contains(kMatching); }));
  utils::shutdown::begin();
  proxy.shutdown();
  EXPECT_EQ(state().monitor, nullptr);
  EXPECT_THAT(slp.deregistrations(), ElementsAre(url("10.0.0.1")));
}

TEST_F(IpChangeMonitor, ReadsItsPeriodOnce) {
  startUpAndSettle();
  preferences.set("ip_change_polling_interval", "3600000");
  EXPECT_TRUE(waitForUnchanged());
  EXPECT_TRUE(waitForUnchanged());
}

/// A machine that counts how often its addresses are listed, and can fail otherwise than by its result.
class WatchedSystem : public support::FakeSystem {
 public:
  int getIPAddresses(std::string (&ipv4)[kMaxAddresses], std::string (&ipv6)[kMaxAddresses], int& count4,
                     int& count6) override {
    ++mLooks;
    return FakeSystem::getIPAddresses(ipv4, ipv6, count4, count6);
  }
  std::string getLocalServerId() override {
    if (mThrows) throw std::runtime_error("the machine has failed");
    if (mThrowsANumber) throw 7;
    return FakeSystem::getLocalServerId();
  }
  void throwFromNowOn(bool on) { mThrows = on; }
  void throwANumberFromNowOn(bool on) { mThrowsANumber = on; }
  /// Waits until a look that began after the call has ended.
  bool waitForLook() const {
    const int before = mLooks;
    return support::waitFor([&] { return mLooks >= before + 3; });
  }

 private:
  std::atomic<int> mLooks = 0;
  std::atomic<bool> mThrows = false;
  std::atomic<bool> mThrowsANumber = false;
};

class IpChangeMonitorOnAFailingMachine : public IpChangeMonitor {
 protected:
  ~IpChangeMonitorOnAFailingMachine() override { stopMonitor(); }

  WatchedSystem machine;
};

TEST_F(IpChangeMonitorOnAFailingMachine, PassesOverACycleWhoseAddressesCannotBeListed) {
  startUpAndSettle();
  machine.failGetIPAddresses();
  ASSERT_TRUE(machine.waitForLook());
  log.clear();
  setDetails(serverRecord("renamed", "10.0.0.1"));
  ASSERT_TRUE(machine.waitForLook());
  EXPECT_FALSE(log.contains(kMatching));
  EXPECT_FALSE(log.contains(kNotMatching));
  machine.failGetIPAddresses(false);
  EXPECT_TRUE(waitForRegistrations(2)) << "the change is not lost";
}

TEST_F(IpChangeMonitorOnAFailingMachine, GoesOnAfterACycleThatThrew) {
  startUpAndSettle();
  machine.throwFromNowOn(true);
  ASSERT_TRUE(support::waitFor([this] {
    return log.has(utils::LOG_ERROR,
                   "ServerDiscoveryPl::startIPChangeMonitorThread:exception caught:the machine has failed");
  }));
  setDetails(serverRecord("renamed", "10.0.0.1"));
  machine.throwFromNowOn(false);
  EXPECT_TRUE(waitForRegistrations(2));
}

TEST_F(IpChangeMonitorOnAFailingMachine, GoesOnAfterACycleThatThrewWhatIsNoException) {
  startUpAndSettle();
  machine.throwANumberFromNowOn(true);
  ASSERT_TRUE(support::waitFor([this] {
    return log.has(utils::LOG_ERROR,
                   "ServerDiscoveryPl::startIPChangeMonitorThread:exception caught:unknown exception");
  }));
  setDetails(serverRecord("renamed", "10.0.0.1"));
  machine.throwANumberFromNowOn(false);
  EXPECT_TRUE(waitForRegistrations(2));
}

TEST_F(IpChangeMonitor, WorksWhileTheListIsRead) {
  utils::logging::setMask(utils::LOG_ERROR);
  startUp();
  constexpr int kChanges = 50;
  std::atomic<bool> isDone = false;
  std::thread changing([&] {
    for (int i = 0; i < kChanges; ++i) {
      setDetails(serverRecord("server" + std::to_string(i), "10.0.0.1"));
      utils::Thread::sleep(1);
    }
    isDone = true;
  });
  while (!isDone) {
    const auto registration = state().registration();
    EXPECT_EQ(registration->hashCode, utils::StringHelper::getStringArrayHashCode(registration->text));
    EXPECT_EQ(get("/1.0/servers").status, http::HTTPCommand::HTTP_OK);
  }
  changing.join();
  const json::Object last = serverRecord("server" + std::to_string(kChanges - 1), "10.0.0.1");
  EXPECT_TRUE(support::waitFor([&] { return state().registration()->details == last; }));
}

}  // namespace
}  // namespace plugins
