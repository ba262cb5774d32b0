#include <gtest/gtest.h>

#include "FakeDirectoryAgent.h"
#include "slp/agent/DirectoryAgentService.h"
#include "slp/agent/ServiceAgent.h"
#include "slp/config/Log.h"
#include "support/Wait.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;
using support::waitFor;
using Urls = std::set<std::string>;

/// A whole service agent, and a directory agent on the same machine.
class DirectoryAgentServiceTest : public testing::Test {
 protected:
  DirectoryAgentServiceTest() {
    config::setLogSink([](config::LogLevel, std::string_view) {});
    mSettings.datagramTimeouts = {50ms, 50ms, 50ms, 50ms};
  }
  ~DirectoryAgentServiceTest() override { config::setLogSink(nullptr); }

  SLPError add(const std::string& url, const std::string& attributes = "(a=1)",
               std::uint16_t lifetime = kLifetimeForever) {
    return mAgent->add({url, "service:test", "DEFAULT", attributes, "en", lifetime}, mSettings);
  }
  void announce() { UdpPeer(mPort).send(mDirectoryAgent.advert()); }
  bool has(const Urls& urls) {
    return waitFor([&] { return mDirectoryAgent.urls() == urls; });
  }

  const std::uint16_t mPort = freePort();
  config::Settings mSettings = loopbackSettings(mPort);
  FakeDirectoryAgent mDirectoryAgent{freePort()};
  client::DirectoryAgents mDirectoryAgents;
  std::unique_ptr<ServiceAgent> mAgent = std::make_unique<ServiceAgent>(mDirectoryAgents);
};

TEST_F(DirectoryAgentServiceTest, RegistersWithOneThatAnnouncesItself) {
  ASSERT_EQ(add("service:test://a", "(name=x)"), SLP_OK);
  announce();
  ASSERT_TRUE(has({"service:test://a"}));
  EXPECT_EQ(mDirectoryAgent.attributes().at("service:test://a"), "(name=x)");
  EXPECT_EQ(mDirectoryAgent.lifetime(), 900);
  EXPECT_EQ(mDirectoryAgent.overTcp(), 0U);
}

TEST_F(DirectoryAgentServiceTest, TellsNothingToOneThatDoesNotAnswerForItself) {
  for (int i = 0; i < 20; ++i)
    ASSERT_EQ(add("service:test://" + std::to_string(i)), SLP_OK);
  mDirectoryAgent.setSilent(true);
  announce();
  ASSERT_TRUE(waitFor([&] { return mDirectoryAgent.heard() > 0; }));
  announce();
  EXPECT_EQ(UdpPeer(mPort).find("service:test").size(), 20U) << "both adverts were before this";
  EXPECT_TRUE(mDirectoryAgents.all().empty());
  mAgent.reset();
  // All that was sent to it has arrived by the time that it hears this.
  mDirectoryAgent.setSilent(false);
  ASSERT_TRUE(UdpPeer(mDirectoryAgent.endpoint().port).ask(serviceRequest("service:directory-agent")));
  EXPECT_EQ(mDirectoryAgent.registrations(), 0U);
  EXPECT_LE(mDirectoryAgent.heard(), 2 * DirectoryAgentFinder::kRumourTries + 1);
}

TEST_F(DirectoryAgentServiceTest, BelievesNoFarewellThatTheAgentHasNotSaid) {
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  announce();
  ASSERT_TRUE(has({"service:test://a"}));
  const std::size_t questions = mDirectoryAgent.questions();
  UdpPeer(mPort).send(mDirectoryAgent.farewell());
  ASSERT_TRUE(waitFor([&] { return mDirectoryAgent.questions() > questions; }));
  ASSERT_EQ(add("service:test://b"), SLP_OK);
  EXPECT_TRUE(has({"service:test://a", "service:test://b"}));
  EXPECT_EQ(mDirectoryAgent.registrations(), 2U);
}

TEST_F(DirectoryAgentServiceTest, KeepsNoneThatServesNoScopeOfOurs) {
  mDirectoryAgent.serveOtherScopes();
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  ASSERT_TRUE(waitFor([&] {
    announce();
    return mDirectoryAgent.questions() >= 3;
  })) << "it becomes known";
  EXPECT_TRUE(mDirectoryAgents.all().empty());
}

TEST_F(DirectoryAgentServiceTest, LearnsOfNoneThatAnnouncesItselfWhenThatIsNotWanted) {
  mSettings.passiveDaDetection = false;
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  announce();
  EXPECT_EQ(UdpPeer(mPort).find("service:test").size(), 1U) << "the advert was before this";
  EXPECT_TRUE(mDirectoryAgents.all().empty());
}

TEST_F(DirectoryAgentServiceTest, RegistersWhileAStrangerWhoTakesNothingHasThePort) {
  net::UdpSocket stranger;
  ASSERT_EQ(stranger.open(net::Family::kV4, mPort), 0);
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  EXPECT_TRUE(has({"service:test://a"}));
  EXPECT_FALSE(mAgent->holdsPort());
  mAgent.reset();
  EXPECT_TRUE(has({}));
}

TEST_F(DirectoryAgentServiceTest, AsksAConfiguredOneForItsAdvert) {
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  EXPECT_TRUE(has({"service:test://a"}));
}

TEST_F(DirectoryAgentServiceTest, FollowsChanges) {
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  ASSERT_TRUE(has({"service:test://a"}));
  ASSERT_EQ(add("service:test://b"), SLP_OK);
  ASSERT_TRUE(has({"service:test://a", "service:test://b"}));
  ASSERT_EQ(add("service:test://b", "(changed=1)"), SLP_OK);
  EXPECT_TRUE(waitFor([&] { return mDirectoryAgent.attributes()["service:test://b"] == "(changed=1)"; }));
  ASSERT_EQ(mAgent->remove("service:test://a"), SLP_OK);
  EXPECT_TRUE(has({"service:test://b"}));
}

TEST_F(DirectoryAgentServiceTest, PassesOnWhatAnotherProcessHasRegisteredHere) {
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  {
    client::DirectoryAgents none;
    ServiceAgent other(none);
    ASSERT_EQ(other.add({"service:test://b", "service:test", "DEFAULT", "", "en", kLifetimeForever}, mSettings),
              SLP_OK);
    EXPECT_TRUE(has({"service:test://a", "service:test://b"}));
  }
  EXPECT_TRUE(has({"service:test://a"}));
}

TEST_F(DirectoryAgentServiceTest, RegistersOverTcpWhatIsTooLongForADatagram) {
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  const std::string attributes = "(a=" + std::string(20'000, 'x') + ")";
  ASSERT_EQ(add("service:test://a", attributes), SLP_OK);
  ASSERT_EQ(add("service:test://b", attributes), SLP_OK);
  ASSERT_TRUE(has({"service:test://a", "service:test://b"}));
  EXPECT_EQ(mDirectoryAgent.attributes()["service:test://a"], attributes);
  EXPECT_EQ(mDirectoryAgent.overTcp(), 2U);
}

TEST_F(DirectoryAgentServiceTest, RegistersManyInSpiteOfLosses) {
  mDirectoryAgent.loseHalf();
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  Urls urls;
  for (int i = 0; i < 100; ++i) {
    urls.insert("service:test://" + std::to_string(i));
    ASSERT_EQ(add("service:test://" + std::to_string(i)), SLP_OK);
  }
  EXPECT_TRUE(has(urls));
}

TEST_F(DirectoryAgentServiceTest, RegistersAgainWithOneThatHasRestarted) {
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  announce();
  ASSERT_TRUE(has({"service:test://a"}));
  mDirectoryAgent.forget();
  mDirectoryAgent.setBootTime(2'000);
  announce();
  EXPECT_TRUE(has({"service:test://a"}));
}

TEST_F(DirectoryAgentServiceTest, ForgetsOneThatGoes) {
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  announce();
  ASSERT_TRUE(has({"service:test://a"}));
  mDirectoryAgent.setBootTime(0);
  announce();
  ASSERT_TRUE(waitFor([&] { return mDirectoryAgents.all().empty(); }));
  const auto registrations = mDirectoryAgent.registrations();
  ASSERT_EQ(add("service:test://b"), SLP_OK);
  EXPECT_EQ(UdpPeer(mPort).find("service:test").size(), 2U);
  EXPECT_EQ(mDirectoryAgent.registrations(), registrations);
}

TEST_F(DirectoryAgentServiceTest, DropsOneThatFallsSilentAndReturnsWhenItIsHeard) {
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  announce();
  ASSERT_TRUE(has({"service:test://a"}));
  mDirectoryAgent.setSilent(true);
  ASSERT_EQ(add("service:test://b"), SLP_OK);
  ASSERT_TRUE(waitFor([&] { return mDirectoryAgents.all().empty(); }));
  mDirectoryAgent.setSilent(false);
  announce();
  EXPECT_TRUE(has({"service:test://a", "service:test://b"}));
}

TEST_F(DirectoryAgentServiceTest, LeavesOneAloneThatRefuses) {
  mDirectoryAgent.setError(wire::ErrorCode::kScopeNotSupported);
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  ASSERT_TRUE(waitFor([&] { return mDirectoryAgent.registrations() == 1; }));
  mDirectoryAgent.setError(wire::ErrorCode::kOk);
  ASSERT_EQ(add("service:test://b"), SLP_OK);
  EXPECT_TRUE(has({"service:test://b"}));
  EXPECT_EQ(mDirectoryAgent.registrations(), 2U);
}

TEST_F(DirectoryAgentServiceTest, WithdrawsEverythingAtTheEnd) {
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  ASSERT_EQ(add("service:test://b", "(a=" + std::string(4'000, 'x') + ")"), SLP_OK);
  ASSERT_TRUE(has({"service:test://a", "service:test://b"}));
  mAgent.reset();
  EXPECT_EQ(mDirectoryAgent.urls(), Urls{});
}

TEST_F(DirectoryAgentServiceTest, EndsInTimeWithADeadOne) {
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  for (int i = 0; i < 100; ++i)
    ASSERT_EQ(add("service:test://" + std::to_string(i)), SLP_OK);
  ASSERT_TRUE(waitFor([&] { return mDirectoryAgent.urls().size() == 100; }));
  mDirectoryAgent.setSilent(true);
  // The agent's own bound is a quarter of a second; the rest is for a machine that has other things to do.
  const auto before = std::chrono::steady_clock::now();
  mAgent.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - before, 2s);
}

TEST_F(DirectoryAgentServiceTest, EndsInTimeUnderLoad) {
  for (int i = 0; i < 1'000; ++i)
    ASSERT_EQ(add("service:test://" + std::to_string(i), "(a=" + std::string(2'000, 'x') + ")"), SLP_OK);
  // Costly ones, whose answers are so short that they need no reader.
  wire::Message request;
  request.header.xid = 1;
  wire::ServiceRequest search;
  search.serviceType = "service:test";
  search.scopes = "DEFAULT";
  search.predicate = "(a=*y*z)";
  request.body = search;
  std::string requests;
  for (int i = 0; i < 4'000; ++i)
    requests += encoded(request);
  std::vector<TcpPeer> peers;
  for (int i = 0; i < 8; ++i) {
    peers.emplace_back(mPort).send(requests);
    ASSERT_TRUE(peers.back().receive()) << "the others wait behind this one";
  }
  ASSERT_FALSE(UdpPeer(mPort).find("service:test").empty()) << "others are served, too";
  const auto before = std::chrono::steady_clock::now();
  mAgent.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - before, 2s);
  std::size_t answered = 1;
  while (peers.back().receive())
    ++answered;
  EXPECT_LT(answered, 4'000U) << "there was no load any more";
}

TEST_F(DirectoryAgentServiceTest, RegistersAgainWhatAnotherHolderOfThePortMayHaveWithdrawn) {
  auto stranger = std::make_unique<net::UdpSocket>();
  ASSERT_EQ(stranger->open(net::Family::kV4, mPort), 0);
  mDirectoryAgents.configure({mDirectoryAgent.endpoint()}, "DEFAULT");
  ASSERT_EQ(add("service:test://a"), SLP_OK);
  ASSERT_TRUE(has({"service:test://a"}));
  mDirectoryAgent.forget();
  stranger.reset();
  EXPECT_TRUE(has({"service:test://a"}));
  EXPECT_TRUE(mAgent->holdsPort());
}

TEST(HostLookup, KnowsNumericAddressesAtOnce) {
  HostLookup lookup({"10.0.0.9", "2001:db8::9"}, 427);
  ASSERT_TRUE(lookup.ready());
  EXPECT_EQ(lookup.found().size(), 2U);
}

TEST(HostLookup, FindsTheAddressesOfAName) {
  HostLookup lookup({"localhost"}, 427);
  ASSERT_TRUE(waitFor([&] { return lookup.ready(); }));
  ASSERT_FALSE(lookup.found().empty());
  EXPECT_TRUE(lookup.found().front().address.isLoopback());
  EXPECT_EQ(lookup.found().front().port, 427);
}

TEST(HostLookup, CanBeGivenUp) {
  const HostLookup lookup({"localhost", "localhost", "localhost", "localhost"}, 427);
}

}  // namespace
}  // namespace slp::agent
