#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/RemoteServerDiscoveryJob.h"
#include "support/FakeHeartBeat.h"
#include "support/FakeObserver.h"
#include "support/FakeSlp.h"
#include "unit/discovery/DiscoveryCycleTest.h"
#include "unit/discovery/RegistrationTest.h"
#include "unit/discovery/VerificationTest.h"

namespace {

using discovery::DiscoveryMap;
using support::parsed;
using Texts = std::vector<std::string>;

class ObservedVerification : public VerificationTest {
 protected:
  support::FakeObserver mObserver;
};

constexpr const char* kAttributes = R"({"properties":{"displayId":"Nine","lastUpdatedCounter":1}})";

TEST_F(ObservedVerification, OfAServerThatGivesItsDetailsIsVerified) {
  peers.answer(kIp, 200, recordNamed("Nine"));
  verify(kAttributes);
  ASSERT_EQ(mObserver.sightings(), Texts{"slp verified 10.0.0.9"});
  EXPECT_EQ(mObserver.wholeSightings().front().displayId, "Nine");
  EXPECT_EQ(mObserver.count("details_fetches", "answered"), 1U);
}

TEST_F(ObservedVerification, OfAServerThatGivesNoDetailsSaysWhy) {
  peers.answer(kIp, 502, parsed(R"({"status":{"code":502,"desc":"The certificate has changed"}})"));
  verify(kAttributes);
  verify(kAttributes);
  EXPECT_EQ(mObserver.sightings(),
            Texts{"slp failed 10.0.0.9 (It did not give its details: The certificate has changed)"});
  EXPECT_EQ(mObserver.count("details_fetches", "failed"), 1U) << "the second time it was not asked";
}

TEST_F(ObservedVerification, OfAnUnchangedServerIsASightOnly) {
  peers.answer(kIp, 200, recordNamed("Nine"));
  verify(kAttributes);
  endPass();
  verify(kAttributes);
  EXPECT_EQ(mObserver.sightings(), (Texts{"slp verified 10.0.0.9", "slp seen 10.0.0.9"}));
}

TEST_F(ObservedVerification, OfUnreadableAttributesSaysSo) {
  verify("{");
  EXPECT_EQ(mObserver.sightings(), Texts{"slp failed 10.0.0.9 (Its attributes are no document, or too long)"});
}

TEST_F(ObservedVerification, OfAWrongDigestSaysSo) {
  preferences.set("slp_find_service_strictness", "2");
  verify(R"({"gid":"0123","properties":{"displayId":"Nine"}})");
  EXPECT_EQ(mObserver.sightings(), Texts{"slp failed 10.0.0.9 (The digest of its attributes does not match them)"});
}

TEST_F(ObservedVerification, OfAProvisionalServerIsASight) {
  verify("", true);
  EXPECT_EQ(mObserver.sightings(), Texts{"slp seen 10.0.0.9"});
}

TEST_F(ObservedVerification, OfNothingIsNoSight) {
  verify("");
  EXPECT_TRUE(mObserver.sightings().empty());
}

TEST_F(ObservedVerification, ChangesTheListAtOnceWhileNobodyIsAnnounced) {
  verify("", true);
  EXPECT_EQ(mObserver.changes(), 1);
  EXPECT_EQ(mObserver.gauge("servers_listed"), 1);
  DiscoveryMap::updateServerList(tableOf(2));
  verify("", true);
  EXPECT_EQ(mObserver.changes(), 1) << "the end of the pass lists it";
}

TEST_F(ObservedVerification, IsToldOfWithoutALock) {
  peers.answer(kIp, 200, recordNamed("Nine"));
  mObserver.whenTold([&] {
    const utils::Lock filing(&inventory.mHostListMutex, false);
    const utils::Lock registration(&inventory.mSlpLock, false);
    const utils::Lock pass(&inventory.mMutex, false);
  });
  verify(kAttributes);
  verify("", true);
  EXPECT_EQ(mObserver.sightings().size(), 2U);
  mObserver.whenTold({});
}

TEST_F(ObservedVerification, AddingAndRemovingChangeTheList) {
  inventory.addHost("10.0.0.5", answerWith(recordNamed("Five")));
  EXPECT_EQ(mObserver.changes(), 1);
  EXPECT_EQ(mObserver.gauge("servers_listed"), 1);
  EXPECT_FALSE(inventory.removeSpecificServer("10.0.0.6"));
  EXPECT_EQ(mObserver.changes(), 1);
  EXPECT_TRUE(inventory.removeSpecificServer("10.0.0.5"));
  EXPECT_EQ(mObserver.changes(), 2);
  EXPECT_EQ(mObserver.gauge("servers_listed"), 0);
}

class ObservedRegistration : public RegistrationTest {
 protected:
  support::FakeObserver mObserver;
};

TEST_F(ObservedRegistration, ChangesTheListAndHoldsNoLockWhenItTells) {
  mObserver.whenTold([&] {
    const utils::Lock registration(&inventory.mSlpLock, false);
    const utils::Lock filing(&inventory.mHostListMutex, false);
  });
  EXPECT_EQ(registerServer(true), 0);
  EXPECT_EQ(mObserver.changes(), 1);
  EXPECT_TRUE(mObserver.sightings().empty()) << "nobody has to be told why this server is here";
  mObserver.whenTold({});
}

TEST_F(ObservedRegistration, ThatFailsChangesNothing) {
  slp.answerRegister(SLP_NETWORK_INIT_FAILED);
  EXPECT_NE(registerServer(true), 0);
  EXPECT_EQ(mObserver.changes(), 0);
}

class ObservedJob : public VerificationTest {
 protected:
  support::FakeSlp slp;
  support::FakeObserver mObserver;
};

TEST_F(ObservedJob, SeesTheServerBeforeItIsVerifiedAndIsCounted) {
  const std::string url = "service:x-mgmt.quorvel:kvt://10.0.0.9:8443";
  peers.answer(kIp, 200, recordNamed("Nine"));
  slp.setAttributes(url, std::string("(ip=10.0.0.9),(server=") + kAttributes + ")");
  {
    discovery::RemoteServerDiscoveryJob job(url);
    job.execute();
    EXPECT_EQ(mObserver.gauge("discovery_jobs_running"), 1);
  }
  EXPECT_EQ(mObserver.gauge("discovery_jobs_running"), 0);
  EXPECT_EQ(mObserver.gauge("discovery_jobs_waiting"), 0);
  EXPECT_EQ(mObserver.sightings(), (Texts{"slp seen 10.0.0.9", "slp verified 10.0.0.9"}));
}

class ObservedPass : public DiscoveryCycleTest {
 protected:
  ~ObservedPass() override { DiscoveryMap::updateServerList({}); }

  support::FakeObserver mObserver;
};

TEST_F(ObservedPass, IsToldOfWithWhatItFoundAndLists) {
  slp.setServices(kKvtType, {"a", "b"});
  runOnePass();
  EXPECT_EQ(mObserver.passesBegun(), 1);
  ASSERT_EQ(mObserver.passes().size(), 1U);
  EXPECT_EQ(mObserver.passes().front().found, 2U);
  EXPECT_EQ(mObserver.passes().front().listed, 2U);
  EXPECT_GE(mObserver.changes(), 1);
}

TEST_F(ObservedPass, SaysWhoIsNoLongerListed) {
  DiscoveryMap::updateServerList({{"gone", json::Object()}});
  slp.setServices(kKvtType, {"a"});
  runOnePass();
  EXPECT_EQ(mObserver.sightings(), Texts{"slp left gone (The last discovery pass did not find it)"});
}

TEST_F(ObservedPass, IsToldOfWithoutALock) {
  slp.setServices(kKvtType, {"a"});
  mObserver.whenTold([&] {
    const utils::Lock pass(&passMutex, false);
    const utils::Lock lock(&filing, false);
    DiscoveryMap::updateServerList(DiscoveryMap::getDiscoveredHost());
  });
  runOnePass();
  EXPECT_EQ(mObserver.passes().size(), 1U);
  mObserver.whenTold({});
}

TEST_F(ObservedPass, EndsForTheObserverThoughItThrows) {
  onJob = [](const std::string&) {};
  beforePublishing = [this] {
    isStopped = true;
    throw std::runtime_error("no memory");
  };
  slp.setServices(kKvtType, {"a"});
  runOnePass();
  EXPECT_EQ(mObserver.passesBegun(), 1);
  EXPECT_EQ(mObserver.passes().size(), 1U);
}

}  // namespace
