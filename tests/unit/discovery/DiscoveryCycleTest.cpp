#include "unit/discovery/DiscoveryCycleTest.h"

#include <ctime>
#include <stdexcept>
#include <thread>
#include <utility>

#include "discovery/DiscoveryMap.h"
#include "framework/utils/Shutdown.h"
#include "unit/discovery/InventoryTest.h"

using discovery::DiscoveryCycle;
using discovery::DiscoveryMap;

namespace {

discovery::ServiceUrls* gUrls = nullptr;
DiscoveryCycle* gRunning = nullptr;

SLPBoolean onUrl(SLPHandle, const char* serviceUrl, unsigned short, SLPError errorCode, void*) {
  static discovery::LogThrottle fullUrls;
  return discovery::collectServiceUrl(*gUrls, fullUrls, serviceUrl, errorCode);
}

class Job : public utils::ThreadPoolJob {
 public:
  explicit Job(std::function<void()> work) : mWork(std::move(work)) {}
  void execute() override { mWork(); }

 private:
  std::function<void()> mWork;
};

}  // namespace

DiscoveryCycleTest::DiscoveryCycleTest()
    : pool(std::make_shared<utils::ThreadPool>(4)), mHold(mHeldJobs, std::defer_lock) {
  gUrls = &urls;
  DiscoveryMap::updateServerList({});
  onJob = [this](const std::string& serviceUrl) { lists.file(serviceUrl, recordNamed(serviceUrl)); };
}

DiscoveryCycleTest::~DiscoveryCycleTest() {
  stop();
  slp.hold(false);
  releaseJobs();
  utils::shutdown::begin();
  if (mThread) mThread->join();
  utils::shutdown::reset();
  pool.store(nullptr);
  DiscoveryMap::updateServerList({});
}

DiscoveryCycle DiscoveryCycleTest::makeCycle(std::chrono::milliseconds maxWaitForJobs) {
  const auto makeJob = [this](const std::string& serviceUrl) {
    return std::make_unique<Job>([this, serviceUrl] {
      ++mBegunJobs;
      { const std::lock_guard released(mHeldJobs); }
      onJob(serviceUrl);
    });
  };
  return DiscoveryCycle(
      {lists, urls, otherUrls, pool, handles, isStopped, status, passMutex, &onUrl, makeJob, [this] { publish(); }},
      maxWaitForJobs);
}

void DiscoveryCycleTest::publish() {
  if (beforePublishing) beforePublishing();
  lists.publishPass(filing);
  ++publishedPasses;
  if (afterPublishing) afterPublishing();
}

void DiscoveryCycleTest::start(std::chrono::milliseconds maxWaitForJobs) {
  gRunning = &mRunning.emplace(makeCycle(maxWaitForJobs));
  mThread = std::make_unique<utils::Thread>("remoteserverthread", [] { gRunning->run(); });
}

void DiscoveryCycleTest::join() {
  mThread->join();
}

void DiscoveryCycleTest::runOnePass() {
  isStopped = false;
  afterPublishing = [this] { isStopped = true; };
  makeCycle().run();
}

void DiscoveryCycleTest::stop() {
  isStopped = true;
  handles.cancelSearches();
  if (const auto running = pool.load()) running->close();
}

void DiscoveryCycleTest::holdJobs() {
  mHold.lock();
}

void DiscoveryCycleTest::releaseJobs() {
  if (mHold.owns_lock()) mHold.unlock();
}

namespace {

using Texts = std::vector<std::string>;
using namespace std::chrono_literals;

using Pass = DiscoveryCycleTest;
using Cycle = DiscoveryCycleTest;

/// All but the traces; a time at the end of a text is written as "T".
Texts logged(const support::LogCapture& log) {
  Texts texts;
  for (const auto& record : log.records()) {
    if (record.level == utils::LOG_TRACE) continue;
    const bool isTime = record.text.find("Time taken") != std::string::npos;
    texts.push_back(isTime ? record.text.substr(0, record.text.rfind('=') + 1) + " T" : record.text);
  }
  return texts;
}

TEST_F(Pass, LogsEachOfItsStepsInTheirOrder) {
  slp.setServices(kKvtType, {"kvt 1", "kvt 2"});
  slp.setServices(kWbemType, {"wbem 1"});
  runOnePass();
  EXPECT_EQ(logged(log),
            (Texts{
                "RemoteServerDiscovery:startRemoteServerThread:Going to start the discoverSLPServers",
                "RemoteServerDiscovery:discoverSLPServers:SLPOpen return code = 0",
                "RemoteServerDiscovery:discoverSLPServers:SLPOpen is successful ",
                "RemoteServerDiscovery:discoverSLPServers:Going to start the discovery of x-mgmt.quorvel:kvt servers",
                "RemoteServerDiscovery:slpUrlCallback:URL that is going to be added to discoveredSLPServers is:kvt 1",
                "RemoteServerDiscovery:slpUrlCallback:URL that is going to be added to discoveredSLPServers is:kvt 2",
                "RemoteServerDiscovery:discoverSLPServers:the size of the KVT servers discovered is:2",
                "RemoteServerDiscovery:slpUrlCallback:URL that is going to be added to discoveredSLPServers is:wbem 1",
                "RemoteServerDiscovery:discoverSLPServers:the size of the Wbem servers discovered is:1",
                "RemoteServerDiscovery:discoverSLPServers:m_ThreadPool->getPendingJobCount():0",
                "RemoteServerDiscovery:discoverSLPServers:the size of the servers discovered is:3",
                "RemoteServerDiscovery:discoverSLPServers:the discovered service url is:kvt 1",
                "RemoteServerDiscovery:discoverSLPServers:the discovered service url is:kvt 2",
                "RemoteServerDiscovery:discoverSLPServers:the discovered service url is:wbem 1",
                "RemoteServerDiscovery:discoverSLPServers:Time taken for x-mgmt.quorvel:kvt servers:  = T",
                "RemoteServerDiscovery:startRemoteServerThread: Time taken for discoverSLPServers:  = T",
                "RemoteServerDiscovery:clearAutoDiscoveredServers:mPartialDiscoveredHosts.size():3",
            }));
  for (const char* name :
       {"RemoteServerDiscovery::startRemoteServerThread", "RemoteServerDiscovery::discoverSLPServers"})
    EXPECT_TRUE(log.has(utils::LOG_TRACE, name)) << name;
}

TEST_F(Pass, SearchesForBothTypesInTheirOrderOnOneHandleAndClosesIt) {
  EXPECT_EQ(makeCycle().discover(), SLP_OK);
  EXPECT_EQ(slp.searches(), (Texts{kKvtType, kWbemType}));
  EXPECT_EQ(slp.opened(), 1u);
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_EQ(handles.current(), nullptr);
}

TEST_F(Pass, MakesNoJobWithoutServices) {
  runOnePass();
  for (const char* size : {"the size of the KVT servers discovered is:0",
                           "the size of the Wbem servers discovered is:0", "the size of the servers discovered is:0"}) {
    EXPECT_TRUE(log.contains(std::string("RemoteServerDiscovery:discoverSLPServers:") + size)) << size;
  }
  EXPECT_EQ(begunJobs(), 0u);
  EXPECT_EQ(status, 0);
}

TEST_F(Pass, BeginsWithoutTheUrlsAndServersOfTheLastOne) {
  urls.add("old");
  otherUrls.add("old");
  lists.mCycleDiscoveredHosts.insertIfAbsent("old", {});
  slp.setServices(kKvtType, {"new"});
  makeCycle().discover();
  EXPECT_EQ(urls.all(), Texts{"new"});
  EXPECT_EQ(otherUrls.size(), 0u);
  EXPECT_FALSE(lists.mCycleDiscoveredHosts.find("old"));
}

TEST_F(Pass, EndsAtAHandleThatCannotBeOpenedAndChangesNothing) {
  slp.answerOpen(SLP_NETWORK_INIT_FAILED);
  lists.mPartialDiscoveredHosts.insertIfAbsent("known", {});
  EXPECT_EQ(makeCycle().discover(), SLP_NETWORK_INIT_FAILED);
  EXPECT_EQ(logged(log),
            (Texts{
                "RemoteServerDiscovery:discoverSLPServers:SLPOpen return code = -20",
                "RemoteServerDiscovery:discoverSLPServers:SLPOpen failed with return code = -20",
                "RemoteServerDiscovery:discoverSLPServers:Time taken for x-mgmt.quorvel:kvt and webm servers:  = T",
                "RemoteServerDiscovery:discoverSLPServers:SLPOpen failed with return code = -20",
            }));
  EXPECT_EQ(log.texts(utils::LOG_ERROR),
            Texts(2, "RemoteServerDiscovery:discoverSLPServers:SLPOpen failed with return code = -20"));
  EXPECT_TRUE(slp.searches().empty());
  EXPECT_EQ(handles.leftOpen(), 0u);
  runOnePass();
  EXPECT_EQ(keysOf(lists.mPartialDiscoveredHosts), Texts{"known"});
}

TEST_F(Pass, IsTriedAgainAfterAHandleThatCouldNotBeOpened) {
  preferences.set("slp_find_service_interval", "10");
  slp.answerOpen(SLP_NETWORK_ERROR);
  slp.setServices(kKvtType, {"a"});
  afterPublishing = [this] {
    slp.answerOpen(SLP_OK);
    isStopped = publishedPasses == 2;
  };
  makeCycle().run();
  EXPECT_EQ(keysOf(lists.mPartialDiscoveredHosts), Texts{"a"});
}

TEST_F(Pass, DoesNotSearchAfterAStopAndLeavesItsHandleToIt) {
  isStopped = true;
  EXPECT_EQ(makeCycle().discover(), SLP_OK);
  EXPECT_TRUE(slp.searches().empty());
  EXPECT_EQ(log.texts(utils::LOG_ERROR),
            Texts(2, "RemoteServerDiscovery:discoverSLPServers:SLPOpen failed with return code = 0"));
  EXPECT_FALSE(log.contains("RemoteServerDiscovery:discoverSLPServers:SLPOpen is successful "));
  EXPECT_EQ(slp.openHandles(), 1u);
  EXPECT_EQ(handles.leftOpen(), 1u);
  handles.closeLeftOpen();
  EXPECT_EQ(slp.openHandles(), 0u);
}

TEST_F(Pass, PassesOverASearchThatFails) {
  slp.setServices(kKvtType, {"kvt"}, SLP_NETWORK_TIMED_OUT);
  slp.setServices(kWbemType, {"wbem"});
  EXPECT_EQ(makeCycle().discover(), SLP_OK);
  EXPECT_EQ(log.texts(utils::LOG_ERROR),
            Texts{"RemoteServerDiscovery:discoverSLPServers:SLPFindSrvs failed : error code -19"});
  EXPECT_EQ(urls.all(), (Texts{"kvt", "wbem"})) << "what a search reports before it fails counts";
}

TEST_F(Pass, AnswersWhatTheLastSearchAnswered) {
  slp.setServices(kWbemType, {}, SLP_NOT_IMPLEMENTED);
  EXPECT_EQ(makeCycle().discover(), SLP_NOT_IMPLEMENTED);
  EXPECT_EQ(log.texts(utils::LOG_ERROR),
            Texts{"RemoteServerDiscovery:discoverSLPServers:SLPFindSrvs failed : error code -17"});
}

TEST_F(Pass, TakesTheLastCallOfASearchForSuccess) {
  slp.setServices(kKvtType, {}, SLP_LAST_CALL);
  slp.setServices(kWbemType, {}, SLP_LAST_CALL);
  EXPECT_EQ(makeCycle().discover(), 1);
  EXPECT_TRUE(log.texts(utils::LOG_ERROR).empty());
}

TEST_F(Pass, OpensAnotherHandleWhenItsOwnWasClosedDuringTheFirstSearch) {
  slp.hold(true);
  start();
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  handles.cancelSearches();
  ASSERT_TRUE(support::waitFor([&] { return slp.searches().size() == 2 && slp.held() == 1; }));
  EXPECT_EQ(slp.opened(), 2u);
  EXPECT_EQ(slp.openHandles(), 1u);
  isStopped = true;
  slp.hold(false);
  join();
  EXPECT_EQ(slp.searches(), (Texts{kKvtType, kWbemType}));
  EXPECT_EQ(slp.openHandles(), 0u);
}

TEST_F(Pass, SkipsTheSecondSearchWhenNoOtherHandleCanBeOpened) {
  slp.hold(true);
  start();
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  slp.answerOpen(SLP_NETWORK_ERROR);
  afterPublishing = [this] { isStopped = true; };
  handles.cancelSearches();
  join();
  EXPECT_EQ(slp.searches(), Texts{kKvtType});
  EXPECT_EQ(log.texts(utils::LOG_ERROR),
            (Texts{"RemoteServerDiscovery:discoverSLPServers:SLPFindSrvs failed : error code -22",
                   "RemoteServerDiscovery:discoverSLPServers:SLPFindSrvs failed : error code -23"}));
}

TEST_F(Pass, MakesNoJobsWithoutAPool) {
  pool.store(nullptr);
  slp.setServices(kKvtType, {"a"});
  runOnePass();
  EXPECT_FALSE(log.containsPart("getPendingJobCount"));
  EXPECT_FALSE(log.containsPart("the discovered service url is"));
  EXPECT_TRUE(log.containsPart("Time taken for x-mgmt.quorvel:kvt servers"));
}

TEST_F(Pass, HoldsTheInventorysMutexFromItsSearchToItsLastJob) {
  slp.setServices(kKvtType, {"a"});
  slp.hold(true);
  start();
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  std::atomic<bool> isTaken = false;
  std::thread other([&] {
    const utils::Lock lock(&passMutex, false);
    EXPECT_TRUE(log.containsPart("Time taken for x-mgmt.quorvel:kvt servers"));
    isTaken = true;
  });
  EXPECT_FALSE(isTaken);
  isStopped = true;
  slp.hold(false);
  other.join();
  join();
}

TEST_F(Pass, HoldsUrlsBackWhileThePoolRunsTooManyJobsAndPicksThemUpLater) {
  preferences.set("max_processing_threads_count", "2");
  Texts services;
  for (int i = 0; i < 10; ++i)
    services.push_back("service " + std::to_string(i));
  slp.setServices(kKvtType, services);
  holdJobs();
  start();
  ASSERT_TRUE(support::waitFor([&] { return begunJobs() == 3; }));
  EXPECT_EQ(pool.load()->getRunningJobCount(), 3);
  EXPECT_FALSE(support::waitFor([&] { return begunJobs() > 3; }, 50ms));
  afterPublishing = [this] { isStopped = true; };
  releaseJobs();
  join();
  EXPECT_EQ(keysOf(lists.mPartialDiscoveredHosts), services);
}

TEST_F(Pass, IsOverWhenSeveralRespondersReportThousandsOfServices) {
  Texts kvt;
  Texts wbem;
  for (int i = 0; i < 2'000; ++i)
    (i % 2 == 0 ? kvt : wbem).push_back("service:test://10.0.0.1:" + std::to_string(i));
  slp.setServices(kKvtType, kvt);
  slp.setServices(kWbemType, wbem);
  runOnePass();
  EXPECT_EQ(lists.mPartialDiscoveredHosts.size(), 2'000u);
}

struct Twice {
  const char* name;
  Texts kvt;
  Texts wbem;
};

void PrintTo(const Twice& row, std::ostream* out) {
  *out << row.name;
}

class RepeatedUrl : public DiscoveryCycleTest, public ::testing::WithParamInterface<Twice> {};

TEST_P(RepeatedUrl, KeepsThePassGoingWithoutFurtherJobsUntilAStop) {
  slp.setServices(kKvtType, GetParam().kvt);
  slp.setServices(kWbemType, GetParam().wbem);
  start();
  ASSERT_TRUE(support::waitFor([&] { return lists.mCycleDiscoveredHosts.size() == 2; }));
  const std::clock_t begun = std::clock();
  EXPECT_FALSE(support::waitFor([&] { return publishedPasses > 0; }, 200ms));
  EXPECT_LT(std::clock() - begun, CLOCKS_PER_SEC / 10) << "it is to sleep, not to spin";
  EXPECT_EQ(status, 1);
  stop();
  join();
  EXPECT_EQ(begunJobs(), 2u);
  EXPECT_EQ(log.count("RemoteServerDiscovery:discoverSLPServers:the size of the servers discovered is:3"), 1u);
}

INSTANTIATE_TEST_SUITE_P(Pass, RepeatedUrl,
                         ::testing::Values(Twice{"of one type", {"a", "b", "a"}, {}},
                                           Twice{"of both types", {"a", "b"}, {"a"}},
                                           Twice{"one after the other", {}, {"a", "a", "b"}}));

TEST_F(Pass, DoesNotPublishAServerThatWasRemovedAfterItsJobFiledIt) {
  slp.setServices(kKvtType, {"stays", "goes"});
  beforePublishing = [this] { EXPECT_TRUE(lists.remove("goes")); };
  runOnePass();
  EXPECT_EQ(keysOf(lists.mPartialDiscoveredHosts), Texts{"stays"});
  EXPECT_EQ(keysOf(lists.mDiscoveredHosts), Texts{"stays"});
  EXPECT_FALSE(DiscoveryMap::snapshot()->contains("goes"));
  EXPECT_TRUE(DiscoveryMap::snapshot()->contains("stays"));
}

TEST_F(Pass, ListsAServerThatNobodyKnewWhenItWasToBeRemoved) {
  slp.setServices(kKvtType, {"comes"});
  onJob = [this](const std::string& serviceUrl) {
    EXPECT_FALSE(lists.remove(serviceUrl));
    lists.file(serviceUrl, recordNamed(serviceUrl));
  };
  runOnePass();
  EXPECT_TRUE(DiscoveryMap::snapshot()->contains("comes"));
}

TEST_F(Pass, DoesNotListAServerThatWasRemovedBeforeItsJobFiledIt) {
  lists.mPartialDiscoveredHosts.insertIfAbsent("goes", recordNamed("goes"));
  slp.setServices(kKvtType, {"stays", "goes"});
  onJob = [this](const std::string& serviceUrl) {
    if (serviceUrl == "goes") lists.remove("goes");
    lists.file(serviceUrl, recordNamed(serviceUrl));
  };
  runOnePass();
  EXPECT_EQ(DiscoveryMap::getDiscoveredHost(), (std::map<std::string, json::Object>{{"stays", recordNamed("stays")}}));
}

TEST_F(Cycle, EndsBeforeItsFirstPassWhenItIsStopped) {
  isStopped = true;
  makeCycle().run();
  EXPECT_EQ(slp.opened(), 0u);
  EXPECT_EQ(publishedPasses, 0);
  EXPECT_EQ(status, 1) << "no pass has ended";
}

TEST_F(Cycle, SaysThatAPassRunsUntilItHasPublished) {
  preferences.set("slp_find_service_interval", "10");
  slp.setServices(kKvtType, {"a"});
  std::atomic<int> inJob = -1;
  onJob = [&](const std::string&) { inJob = status.load(); };
  beforePublishing = [&] { EXPECT_EQ(status, 1); };
  afterPublishing = [&] {
    EXPECT_EQ(status, 1);
    isStopped = publishedPasses == 2;
  };
  status = 0;
  makeCycle().run();
  EXPECT_EQ(inJob, 1);
  EXPECT_EQ(status, 0);
}

TEST_F(Cycle, SaysThatNoPassRunsWhileItWaits) {
  preferences.set("slp_find_service_interval", "60000");
  start();
  EXPECT_TRUE(support::waitFor([&] { return publishedPasses == 1 && status == 0; }));
  EXPECT_FALSE(support::waitFor([&] { return status == 1; }, 50ms));
}

TEST_F(Cycle, WaitsTheWholeIntervalBetweenTwoPasses) {
  preferences.set("slp_find_service_interval", "100");
  std::vector<std::chrono::steady_clock::time_point> ends;
  std::vector<std::chrono::steady_clock::time_point> beginnings;
  beforePublishing = [&] { beginnings.push_back(std::chrono::steady_clock::now()); };
  afterPublishing = [&] {
    ends.push_back(std::chrono::steady_clock::now());
    isStopped = ends.size() == 3;
  };
  makeCycle().run();
  EXPECT_GE(beginnings[1] - ends[0], 100ms);
  EXPECT_GE(beginnings[2] - ends[1], 100ms);
}

TEST_F(Cycle, ReadsItsIntervalOnce) {
  preferences.set("slp_find_service_interval", "10");
  afterPublishing = [&] {
    preferences.set("slp_find_service_interval", "3600000");
    isStopped = publishedPasses == 3;
  };
  makeCycle().run();
  EXPECT_EQ(publishedPasses, 3);
}

TEST_F(Cycle, GoesOnAfterAPassThatEndsByAnException) {
  preferences.set("slp_find_service_interval", "10");
  beforePublishing = [&] {
    if (slp.opened() == 1) throw std::runtime_error("no room");
    if (slp.opened() == 2) throw 2;
  };
  afterPublishing = [&] { isStopped = true; };
  makeCycle().run();
  EXPECT_EQ(slp.opened(), 3u);
  EXPECT_EQ(log.texts(utils::LOG_ERROR),
            (Texts{"RemoteServerDiscovery:startRemoteServerThread:a pass ended by an exception:no room",
                   "RemoteServerDiscovery:startRemoteServerThread:a pass ended by an unknown exception"}));
  EXPECT_EQ(status, 0);
}

TEST(ServiceUrlReports, AreTakenWhenTheyAreSuccessesAndHoldAUrl) {
  discovery::ServiceUrls urls;
  discovery::LogThrottle full;
  for (const SLPError error :
       {SLP_OK, SLP_LAST_CALL, SLP_NETWORK_ERROR, SLP_BUFFER_OVERFLOW, static_cast<SLPError>(2)}) {
    EXPECT_EQ(collectServiceUrl(urls, full, std::to_string(error).c_str(), error), SLP_TRUE);
    EXPECT_EQ(collectServiceUrl(urls, full, nullptr, error), SLP_TRUE);
  }
  EXPECT_EQ(urls.all(), (Texts{"0", "1"}));
}

TEST(ServiceUrlReports, AreDroppedWhenThereIsNoRoomAndTheFirstIsLogged) {
  discovery::ServiceUrls urls(1);
  discovery::LogThrottle full;
  const support::LogCapture log;
  for (const char* url : {"a", "b", "c"})
    EXPECT_EQ(collectServiceUrl(urls, full, url, SLP_OK), SLP_TRUE);
  EXPECT_EQ(urls.all(), Texts{"a"});
  EXPECT_EQ(log.texts(utils::LOG_FAILURE),
            Texts{"RemoteServerDiscovery:slpUrlCallback:there are too many, left out:b"});
}

}  // namespace
