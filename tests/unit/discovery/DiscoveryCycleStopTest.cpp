#include <set>
#include <thread>

#include "discovery/DiscoveryMap.h"
#include "framework/utils/Shutdown.h"
#include "unit/discovery/DiscoveryCycleTest.h"
#include "unit/discovery/InventoryTest.h"

namespace {

using namespace std::chrono_literals;
using discovery::DiscoveryMap;
using Texts = std::vector<std::string>;
using Map = discovery::HostTable::Map;

using Stop = DiscoveryCycleTest;
using EndOfPass = DiscoveryCycleTest;

Texts servicesNamed(int count) {
  Texts services;
  for (int i = 0; i < count; ++i)
    services.push_back("service " + std::to_string(i));
  return services;
}

TEST_F(Stop, EndsASearchAndDoesNotBeginTheNext) {
  slp.hold(true);
  start();
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  stop();
  join();
  EXPECT_EQ(slp.searches(), Texts{kKvtType});
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_EQ(handles.leftOpen(), 0u);
  EXPECT_EQ(publishedPasses, 1);
}

TEST_F(Stop, EndsADispatchThatIsHeldBackWithoutWaitingForItsJobs) {
  preferences.set("max_processing_threads_count", "1");
  slp.setServices(kKvtType, servicesNamed(10));
  holdJobs();
  start();
  ASSERT_TRUE(support::waitFor([&] { return begunJobs() == 2; }));
  isStopped = true;
  join();
  EXPECT_EQ(pool.load()->getRunningJobCount(), 2);
}

TEST_F(Stop, EndsTheWaitForTheLastJobs) {
  slp.setServices(kKvtType, {"slow"});
  holdJobs();
  start(24h);
  ASSERT_TRUE(support::waitFor([&] { return log.containsPart("Time taken for discoverSLPServers"); }));
  EXPECT_FALSE(support::waitFor([&] { return publishedPasses > 0; }, 50ms));
  isStopped = true;
  join();
  EXPECT_EQ(pool.load()->getRunningJobCount(), 1);
}

TEST_F(Stop, MakesTheCurrentWaitTheLast) {
  preferences.set("slp_find_service_interval", "50");
  start();
  ASSERT_TRUE(support::waitFor([&] { return publishedPasses == 1 && status == 0; }));
  isStopped = true;
  join();
  EXPECT_LE(publishedPasses, 2) << "the wait may have ended before the stop";
}

TEST_F(Stop, EndsTheWaitAtOnceWhileTheHostShutsDown) {
  preferences.set("slp_find_service_interval", "3600000");
  start();
  ASSERT_TRUE(support::waitFor([&] { return publishedPasses == 1 && status == 0; }));
  isStopped = true;
  utils::shutdown::begin();
  join();
  utils::shutdown::reset();
  EXPECT_EQ(publishedPasses, 1);
}

TEST_F(Stop, MayCloseThePoolAndLetGoOfItInTheMiddleOfADispatch) {
  preferences.set("max_processing_threads_count", "1");
  slp.setServices(kKvtType, servicesNamed(100));
  holdJobs();
  afterPublishing = [this] { isStopped = true; };
  start();
  ASSERT_TRUE(support::waitFor([&] { return begunJobs() == 2; }));
  pool.load()->close();
  pool.store(nullptr);
  releaseJobs();
  join();
  EXPECT_EQ(begunJobs(), 2u) << "a closed pool drops what it is given";
  EXPECT_EQ(publishedPasses, 1);
}

TEST_F(Stop, MayCloseThePoolWhileAPassWaitsForItsJobs) {
  slp.setServices(kKvtType, servicesNamed(10));
  holdJobs();
  afterPublishing = [this] { isStopped = true; };
  start(24h);
  ASSERT_TRUE(support::waitFor([&] { return log.containsPart("Time taken for discoverSLPServers"); }));
  pool.load()->close();
  releaseJobs();
  join();
  EXPECT_EQ(lists.mPartialDiscoveredHosts.size(), begunJobs());
}

TEST_F(EndOfPass, WaitsForTheJobsThatStillRun) {
  slp.setServices(kKvtType, servicesNamed(8));
  onJob = [this](const std::string& url) {
    std::this_thread::sleep_for(30ms);
    lists.file(url, recordNamed(url));
  };
  beforePublishing = [this] { EXPECT_EQ(pool.load()->getRunningJobCount(), 0); };
  runOnePass();
  EXPECT_EQ(lists.mPartialDiscoveredHosts.size(), 8u);
}

TEST_F(EndOfPass, DoesNotWaitForAJobThatTakesTooLong) {
  slp.setServices(kKvtType, {"quick", "slow"});
  std::atomic<bool> isReleased = false;
  onJob = [&](const std::string& url) {
    if (url == "slow") support::waitFor([&] { return isReleased.load(); });
    lists.file(url, recordNamed(url));
  };
  afterPublishing = [this] { isStopped = true; };
  makeCycle(50ms).run();
  EXPECT_EQ(keysOf(lists.mPartialDiscoveredHosts), Texts{"quick"});
  EXPECT_EQ(log.texts(utils::LOG_FAILURE),
            Texts{"RemoteServerDiscovery:startRemoteServerThread:published with jobs still running:1"});
  isReleased = true;
  EXPECT_TRUE(support::waitFor([&] { return pool.load()->getRunningJobCount() == 0; }));
}

TEST_F(EndOfPass, MakesThePublishedListTheDiscoveryMap) {
  slp.setServices(kKvtType, {"a", "b"});
  DiscoveryMap::updateServerList({{"announced before", {}}});
  runOnePass();
  const Map expected = {{"a", recordNamed("a")}, {"b", recordNamed("b")}};
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), expected);
  EXPECT_EQ(*lists.mDiscoveredHosts.snapshot(), expected);
}

TEST_F(EndOfPass, LeavesTheDiscoveryMapWhenNothingIsPublished) {
  DiscoveryMap::updateServerList({{"announced before", {}}});
  runOnePass();
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Map{{"announced before", {}}}));
}

TEST_F(EndOfPass, LeavesTheDiscoveryMapOfAnInstallationThatIsOnlyFound) {
  preferences.set("installation_type", "1");
  slp.setServices(kKvtType, {"a"});
  lists.mDiscoveredHosts.insertIfAbsent("old", {});
  DiscoveryMap::updateServerList({{"announced before", {}}});
  runOnePass();
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Map{{"announced before", {}}}));
  EXPECT_EQ(lists.mDiscoveredHosts.size(), 0u);
  EXPECT_EQ(keysOf(lists.mPartialDiscoveredHosts), Texts{"a"});
}

TEST_F(EndOfPass, KeepsWhatIsAnnouncedWhileThePassRuns) {
  slp.setServices(kKvtType, {"found"});
  DiscoveryMap::updateServerList({{"announced before", {}}});
  onJob = [this](const std::string& url) {
    lists.file(url, recordNamed(url));
    DiscoveryMap::addDiscoveredHost("announced", "{}", false);
    DiscoveryMap::addDiscoveredHost("found", R"({"announced":true})", false);
  };
  runOnePass();
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Map{{"announced", {}}, {"found", recordNamed("found")}}));
}

TEST_F(EndOfPass, KeepsWhatIsAnnouncedDuringItsSearch) {
  slp.setServices(kKvtType, {"found"});
  slp.hold(true);
  afterPublishing = [this] { isStopped = true; };
  start();
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  DiscoveryMap::addDiscoveredHost("announced", "{}", false);
  slp.hold(false);
  join();
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Map{{"announced", {}}, {"found", recordNamed("found")}}));
}

TEST_F(EndOfPass, DoesNotBringBackWhatIsDeregisteredWhileThePassRuns) {
  slp.setServices(kKvtType, {"goes", "stays"});
  onJob = [this](const std::string& url) {
    lists.file(url, recordNamed(url));
    if (url == "goes") DiscoveryMap::withdraw(url);
  };
  runOnePass();
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Map{{"stays", recordNamed("stays")}}));
}

TEST_F(EndOfPass, TakesOutWhatIsDeregisteredWhilePublishing) {
  slp.setServices(kKvtType, {"goes", "stays"});
  beforePublishing = [] { DiscoveryMap::withdraw("goes"); };
  runOnePass();
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Map{{"stays", recordNamed("stays")}}));
}

TEST_F(EndOfPass, DropsWhatWasOnlyAnnouncedBeforeThePassThatDidNotFindIt) {
  slp.setServices(kKvtType, {"found"});
  runOnePass();
  DiscoveryMap::addDiscoveredHost("announced between", "{}", false);
  EXPECT_TRUE(DiscoveryMap::getDiscoveredHost().contains("announced between"));
  runOnePass();
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Map{{"found", recordNamed("found")}}));
}

TEST_F(EndOfPass, DropsAServerThatThePassDidNotFind) {
  slp.setServices(kKvtType, {"a", "b"});
  runOnePass();
  slp.setServices(kKvtType, {"b"});
  runOnePass();
  EXPECT_EQ(keysOf(lists.mPartialDiscoveredHosts), Texts{"b"});
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (Map{{"b", recordNamed("b")}}));
}

TEST_F(EndOfPass, ForgetsTheCountersOfServersThatLeft) {
  slp.setServices(kKvtType, {"a", "b"});
  onJob = [this](const std::string& url) { lists.file(url, recordNamed(url), 1, ""); };
  runOnePass();
  EXPECT_EQ(lists.mUpdatedCounters.size(), 2u);
  slp.setServices(kKvtType, {"b"});
  runOnePass();
  EXPECT_TRUE(lists.mUpdatedCounters.find("b"));
  EXPECT_FALSE(lists.mUpdatedCounters.find("a"));
}

TEST_F(EndOfPass, DoesNotLetTheListsFlickerOverManyPassesWithSlowJobs) {
  constexpr int kServers = 50;
  constexpr int kPasses = 20;
  preferences.set("slp_find_service_interval", "10");
  slp.setServices(kKvtType, servicesNamed(kServers));
  onJob = [this](const std::string& url) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5 + url.back() % 10));
    lists.file(url, recordNamed(url));
  };
  afterPublishing = [this] { isStopped = publishedPasses == kPasses; };
  start();
  ASSERT_TRUE(support::waitFor([&] { return status == 0 && DiscoveryMap::snapshot()->size() == kServers; }, 60s));
  std::set<std::size_t> published;
  std::set<std::size_t> mapped;
  std::set<std::size_t> served;
  long samples = 0;
  while (publishedPasses < kPasses) {
    published.insert(lists.mPartialDiscoveredHosts.size());
    mapped.insert(DiscoveryMap::snapshot()->size());
    json::Array records;
    lists.copyDiscovered(records);
    served.insert(records.Size());
    ++samples;
    std::this_thread::sleep_for(200us);
  }
  join();
  const std::set<std::size_t> steady = {kServers};
  EXPECT_EQ(published, steady);
  EXPECT_EQ(mapped, steady);
  EXPECT_EQ(served, steady);
  EXPECT_GT(samples, kPasses);
}

}  // namespace
