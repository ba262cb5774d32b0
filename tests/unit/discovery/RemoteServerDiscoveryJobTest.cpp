#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/AttributeList.h"
#include "discovery/Limits.h"
#include "discovery/RemoteServerDiscoveryJob.h"
#include "framework/utils/Thread.h"
#include "framework/utils/ThreadPool.h"
#include "json/lookup.h"
#include "support/AttributeLists.h"
#include "support/FakeSlp.h"
#include "support/Wait.h"
#include "unit/discovery/VerificationTest.h"

namespace {

using Job = discovery::RemoteServerDiscoveryJob;

constexpr const char* kUrl = "service:x-mgmt.quorvel:kvt://10.0.0.9:8443";
constexpr const char* kWbemUrl = "service:wbem:https://10.0.0.9:5989";

/// What a server registers of itself; `build` is that of its answer.
json::Object details(const std::string& build) {
  return support::parsed(R"({"properties":{"displayId":"peer","agents":[{"build":")" + build + R"("}]}})");
}

class RemoteServerDiscoveryJob : public VerificationTest {
 protected:
  RemoteServerDiscoveryJob() { peers.answer(kIp, 200, details("009.1")); }
  ~RemoteServerDiscoveryJob() override { Job::mJobThreadUrls.erase(thisThread(), urlOfThisThread()); }

  static std::string thisThread() { return utils::Thread::get_id(); }
  static std::string urlOfThisThread() { return Job::mJobThreadUrls.find(thisThread()); }

  static void run(const std::string& url) { Job(url).execute(); }
  /// The service has these attributes and is asked for them.
  void ask(const std::string& url, const std::string& attributes) {
    slp.setAttributes(url, attributes);
    run(url);
  }
  static std::string ownAttributes(const std::string& address = kIp) {
    return support::attributeListOf(address, R"({"gid":"","properties":{"displayId":"peer"}})");
  }
  bool hasError(const std::string& text) const { return log.has(utils::LOG_ERROR, text); }

  support::FakeSlp slp;
};

TEST_F(RemoteServerDiscoveryJob, HasTheServerFiledThatTheAttributesDescribe) {
  ask(kUrl, ownAttributes());
  EXPECT_EQ(json::textAt(filed(), {"properties", "displayId"}), "peer");
  EXPECT_EQ(peers.callsTo(kIp), 1);
}

TEST_F(RemoteServerDiscoveryJob, FilesTheServerUnderTheAddressThatItTells) {
  peers.answer("10.1.1.2", 200, details("009.1"));
  ask(kUrl, ownAttributes("10.1.1.2"));
  EXPECT_TRUE(isFiled("10.1.1.2"));
  EXPECT_TRUE(isNowhere(kIp));
}

TEST_F(RemoteServerDiscoveryJob, LogsWhatItAsks) {
  ask(kUrl, ownAttributes());
  EXPECT_EQ(log.count(std::string("RemoteServerDiscoveryJob:execute called for the strServerAttributeURL:") + kUrl +
                      " the strThreadID :" + thisThread()),
            1u);
  EXPECT_EQ(log.count(std::string("RemoteServerDiscoveryJob:getAttributes: service url: ") + kUrl), 1u);
}

TEST_F(RemoteServerDiscoveryJob, AsksWithAHandleOfItsOwnAndClosesIt) {
  run(kUrl);
  run(kUrl);
  EXPECT_EQ(slp.inquiries(), (std::vector<std::string>{kUrl, kUrl}));
  EXPECT_EQ(slp.opened(), 2u);
  EXPECT_EQ(slp.openHandles(), 0u);
}

TEST_F(RemoteServerDiscoveryJob, LogsTheEndOfTheAnswersAsAFailureThatChangesNothing) {
  run(kUrl);
  EXPECT_TRUE(hasError("RemoteServerDiscoveryJob::slpAttributeCallback failed with error code: 1, for IP="));
  EXPECT_EQ(log.texts(utils::LOG_ERROR).size(), 1u);
  EXPECT_TRUE(keysOf(Inventory::mPartialDiscoveredHosts).empty());
  EXPECT_EQ(peers.calls(), 0);
  EXPECT_EQ(urlOfThisThread(), kUrl) << "left for the next job of the thread to overwrite";
}

TEST_F(RemoteServerDiscoveryJob, LogsAFailedInquiryTwice) {
  slp.failAttributes(kUrl, SLP_NETWORK_TIMED_OUT);
  run(kUrl);
  EXPECT_TRUE(hasError("RemoteServerDiscoveryJob::slpAttributeCallback failed with error code: -19, for IP="));
  EXPECT_TRUE(hasError("RemoteServerDiscoveryJob:getAttributes :SLPFindSrvs failed : error code -19"));
  EXPECT_EQ(log.texts(utils::LOG_ERROR).size(), 2u);
  EXPECT_EQ(slp.openHandles(), 0u);
}

TEST_F(RemoteServerDiscoveryJob, LogsThatNoHandleOpens) {
  slp.answerOpen(SLP_NETWORK_INIT_FAILED);
  run(kUrl);
  EXPECT_TRUE(hasError("RemoteServerDiscoveryJob:getAttributes:SLPOpen failed:error code -20"));
  EXPECT_TRUE(slp.inquiries().empty());
}

TEST_F(RemoteServerDiscoveryJob, AsksNothingWithoutAUrl) {
  run("");
  EXPECT_EQ(slp.opened(), 0u);
  EXPECT_EQ(Job("").getAttributes(nullptr), 1);
  EXPECT_TRUE(hasError("RemoteServerDiscoveryJob:getAttributes: failed : service url is empty"));
  EXPECT_EQ(slp.opened(), 0u);
}

TEST_F(RemoteServerDiscoveryJob, AnswersOneWhateverComesOfIt) {
  Job job(kUrl);
  EXPECT_EQ(job.getAttributes(kUrl), 1);
  slp.failAttributes(kUrl, SLP_NETWORK_ERROR);
  EXPECT_EQ(job.getAttributes(kUrl), 1);
  slp.answerOpen(SLP_NETWORK_INIT_FAILED);
  EXPECT_EQ(job.getAttributes(kUrl), 1);
}

TEST_F(RemoteServerDiscoveryJob, KeepsTheUrlOfItsThreadUntilTheAttributesAreRead) {
  slp.setAttributes(kUrl, ownAttributes());
  slp.hold(true);
  std::string threadId;
  std::thread thread([&] {
    threadId = utils::Thread::get_id();
    run(kUrl);
  });
  EXPECT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  EXPECT_EQ(Job::mJobThreadUrls.find(threadId), kUrl);
  slp.hold(false);
  thread.join();
  EXPECT_EQ(Job::mJobThreadUrls.find(threadId), "");
  EXPECT_TRUE(isFiled());
}

TEST_F(RemoteServerDiscoveryJob, OverwritesTheUrlThatAFailedOneLeftBehind) {
  slp.failAttributes("service:a://other", SLP_NETWORK_ERROR);
  run("service:a://other");
  EXPECT_EQ(urlOfThisThread(), "service:a://other");
  ask(kWbemUrl, "(Namespace=root/qmxmr13)");
  EXPECT_TRUE(isFiled());
  EXPECT_EQ(urlOfThisThread(), "");
}

TEST_F(RemoteServerDiscoveryJob, FilesAVmwareHostAtOnceUnderTheHostOfItsUrl) {
  ask(kWbemUrl, "(template-type=wbem),(Namespace=root/interop,ROOT/QMXMR13)");
  json::Object answer;
  inventory.formDummyServerJson(answer, kIp);
  EXPECT_EQ(filed(), static_cast<const json::Object&>(std::as_const(answer)["value"]));
  EXPECT_EQ(peers.calls(), 0);
  EXPECT_EQ(log.count("RemoteServerDiscoveryJob:slpAttributeCallback:VMWare server is discovered and the IP is : : "
                      "10.0.0.9"),
            1u);
}

TEST_F(RemoteServerDiscoveryJob, HandsOnTheHostThatATemplateNames) {
  ask(kWbemUrl, "(template-url-syntax=https://10.0.0.9:5989),(Namespace=root/cimv2)");
  EXPECT_TRUE(
      log.contains("RemoteServerDiscovery:addDiscoveredHost:no address or no attributes, strServerIp:10.0.0.9"));
  EXPECT_TRUE(isNowhere());
  EXPECT_FALSE(log.containsPart("VMWare"));
}

TEST_F(RemoteServerDiscoveryJob, HandsOnAnEmptyAddressWhenTheAttributesTellNone) {
  for (const char* attributes : {"", "(colour=red)", "(((", ")))"}) {
    log.clear();
    ask(kUrl, attributes);
    EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost:entered with strServerIp:")) << attributes;
  }
  EXPECT_TRUE(keysOf(Inventory::mPartialDiscoveredHosts).empty());
}

TEST_F(RemoteServerDiscoveryJob, FilesALegacyPeerOfTheRightBuildByItsAttributes) {
  peers.answer(kIp, 405, details("008.5.1"));
  ask(kUrl, support::attributeListOf(kIp, R"({"properties":{"displayId":"old","os":{"name":"Linux"}}})"));
  EXPECT_EQ(json::textAt(filed(), {"properties", "displayId"}), "old");
  EXPECT_EQ(json::textAt(filed(), {"properties", "os", "name"}), "Linux");
}

TEST_F(RemoteServerDiscoveryJob, LeavesOutALegacyPeerOfAnotherBuild) {
  peers.answer(kIp, 200, details("009.1"));
  ask(kUrl, support::attributeListOf(kIp, R"({"properties":{"displayId":"old","os":{"name":"Linux"}}})"));
  EXPECT_TRUE(isNowhere());
}

TEST_F(RemoteServerDiscoveryJob, AsksNothingOnceDiscoveryIsToStop) {
  Inventory::mStopDiscovery = true;
  slp.setAttributes(kUrl, ownAttributes());
  run(kUrl);
  EXPECT_TRUE(slp.inquiries().empty());
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_TRUE(isNowhere());
}

TEST_F(RemoteServerDiscoveryJob, EndsWhenSearchesAreCancelled) {
  slp.setAttributes(kUrl, ownAttributes());
  slp.hold(true);
  std::thread thread([] {
    run(kUrl);
    Job::mJobThreadUrls.erase(thisThread(), kUrl);
  });
  EXPECT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  Inventory::mSlpHandles.cancelSearches();
  thread.join();
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_TRUE(hasError("RemoteServerDiscoveryJob:getAttributes :SLPFindSrvs failed : error code -22"));
  EXPECT_TRUE(isNowhere());
}

TEST_F(RemoteServerDiscoveryJob, BearsMissingAttributes) {
  Job::mJobThreadUrls.set(thisThread(), kUrl);
  EXPECT_EQ(Job::slpAttributeCallback(nullptr, nullptr, SLP_OK), SLP_TRUE);
  EXPECT_TRUE(keysOf(Inventory::mPartialDiscoveredHosts).empty());
  EXPECT_EQ(urlOfThisThread(), "");
}

TEST_F(RemoteServerDiscoveryJob, PassesOverAttributesLongerThanAnyReply) {
  const std::string attributes = ownAttributes();
  const std::string longest = attributes + std::string(discovery::kMaxAttributesLength - attributes.size(), ' ');
  ask(kUrl, longest + " ");
  EXPECT_TRUE(isNowhere());
  EXPECT_EQ(log.count(std::string("RemoteServerDiscoveryJob:slpAttributeCallback:the attributes of ") + kUrl +
                      " are too long and passed over"),
            1u);
  ask(kUrl, longest);
  EXPECT_TRUE(isFiled());
}

TEST_F(RemoteServerDiscoveryJob, BearsAUrlThatIsNone) {
  ask("nonsense", "(ip=10.0.0.9))(Namespace=root/qmxmr13),(template-url-syntax=nonsense)");
  EXPECT_TRUE(keysOf(Inventory::mPartialDiscoveredHosts).empty());
  EXPECT_EQ(urlOfThisThread(), "");
}

TEST_F(RemoteServerDiscoveryJob, ReadsAnAnswerThatNobodyAskedForOnThisThread) {
  EXPECT_EQ(Job::slpAttributeCallback(nullptr, ownAttributes().c_str(), SLP_OK), SLP_TRUE);
  EXPECT_TRUE(isFiled());
}

/// A machine that cannot even be asked for its addresses.
class ThrowingSystem : public support::FakeSystem {
 public:
  int getIPAddresses(std::string (&)[kMaxAddresses], std::string (&)[kMaxAddresses], int&, int&) override {
    throw std::runtime_error("no system");
  }
};

TEST_F(RemoteServerDiscoveryJob, LetsNoExceptionIntoTheSlpLibrary) {
  const ThrowingSystem throwing;
  slp.setAttributes(kUrl, ownAttributes());
  EXPECT_NO_THROW(run(kUrl));
  EXPECT_TRUE(hasError("RemoteServerDiscoveryJob:slpAttributeCallback: ended by an exception:no system"));
  EXPECT_TRUE(hasError("RemoteServerDiscoveryJob::slpAttributeCallback failed with error code: 1, for IP="))
      << "the library went on to the end of the answers";
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_TRUE(isNowhere());
}

TEST_F(RemoteServerDiscoveryJob, RunsBesideOthersEachForItsOwnServer) {
  constexpr int kThreads = 4;
  constexpr int kJobs = 10;
  const std::size_t leftBehind = Job::mJobThreadUrls.size();
  slp.hold(true);
  utils::ThreadPool pool(kThreads);
  for (int i = 0; i < kJobs; ++i) {
    // Half of them are known by the host of the URL of their thread alone.
    const std::string address = "10.0.1." + std::to_string(i);
    const std::string url = "service:any://" + address + ":1";
    peers.answer(address, 200, details("009.1"));
    slp.setAttributes(url, i % 2 == 0 ? ownAttributes(address) : "(Namespace=qmx/qmxmr12)");
    pool.addJob(std::make_unique<Job>(url).release());
  }
  ASSERT_TRUE(support::waitFor([&] { return slp.held() == kThreads; }));
  EXPECT_EQ(Job::mJobThreadUrls.size(), leftBehind + kThreads);
  EXPECT_EQ(slp.openHandles(), static_cast<std::size_t>(kThreads));
  slp.hold(false);
  ASSERT_TRUE(support::waitFor([&] { return pool.getRunningJobCount() == 0; }));
  for (int i = 0; i < kJobs; ++i)
    EXPECT_TRUE(isFiled("10.0.1." + std::to_string(i))) << i;
  EXPECT_EQ(keysOf(Inventory::mPartialDiscoveredHosts).size(), static_cast<std::size_t>(kJobs));
  EXPECT_EQ(slp.opened(), static_cast<std::size_t>(kJobs));
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_EQ(Job::mJobThreadUrls.size(), leftBehind);
}

}  // namespace
