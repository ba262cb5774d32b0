#include <gtest/gtest.h>

#include "FakePeers.h"
#include "slp/agent/DirectoryAgentRegistrar.h"
#include "slp/agent/RegistrationMessages.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;
using wire::ErrorCode;

class DirectoryAgentRegistrarTest : public testing::Test {
 protected:
  static constexpr auto kTimeouts = {100ms, 200ms, 400ms};

  void add(const std::string& url, std::uint16_t lifetime = kLifetimeForever, const std::string& attributes = "(a=1)",
           const std::string& scopes = "DEFAULT") {
    mServices[url] = {url, "service:test", scopes, attributes, "en", lifetime};
  }
  client::DirectoryAgent agent(const std::string& address, std::uint32_t bootTime = 1,
                               const std::string& scopes = "DEFAULT", const std::string& attributes = "") const {
    return {endpoint(address), "service:directory-agent://" + address, scopes, attributes, bootTime, false};
  }
  /// Lets the time pass by `step` and gives what is sent then.
  std::vector<FakePeers::Sent> after(std::chrono::milliseconds step) {
    mNow += step;
    mSilent = mRegistrar.work(mNow);
    return mPeers.take();
  }
  void acknowledge(const FakePeers::Sent& request, ErrorCode error = ErrorCode::kOk) {
    EXPECT_TRUE(mRegistrar.acknowledged(request.to, request.xid(), error, mNow));
  }

  std::map<std::string, Registration> mServices;
  FakePeers mPeers;
  DirectoryAgentRegistrar::TimePoint mNow{1'000s};
  std::vector<net::Endpoint> mSilent;
  DirectoryAgentRegistrar mRegistrar{
      {kTimeouts, 1'000ms, 1'352},
      mPeers,
      {[this](const std::string& url) {
         const auto found = mServices.find(url);
         return found == mServices.end() ? std::vector<Registration>{} : std::vector{found->second};
       },
       [this](const std::string& url) {
         const auto found = mServices.find(url);
         return found == mServices.end() ? std::vector<Variant>{}
                                         : std::vector<Variant>{{found->second.language, found->second.scopes}};
       },
       [this] {
         std::vector<std::string> urls;
         for (const auto& [url, registration] : mServices)
           urls.push_back(url);
         return urls;
       }},
      4'711};
};

TEST_F(DirectoryAgentRegistrarTest, TellsANewAgentEverythingWithinTheRandomWait) {
  add("service:test://a");
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  const auto due = mRegistrar.next();
  ASSERT_TRUE(due);
  EXPECT_LE(*due, mNow + 1'000ms);
  const auto sent = after(1'000ms);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].by, FakePeers::By::kDatagram);
  EXPECT_EQ(sent[0].to, endpoint("10.0.0.9"));
  const auto message = sent[0].message();
  EXPECT_TRUE(message.header.fresh);
  EXPECT_TRUE(message.extensions.empty());
  const auto body = std::get<wire::ServiceRegistration>(message.body);
  EXPECT_EQ(body.entry.url, "service:test://a");
  EXPECT_EQ(body.entry.lifetime, 900);
  EXPECT_EQ(body.attributes, "(a=1)");
  EXPECT_EQ(body.scopes, "DEFAULT");
}

TEST_F(DirectoryAgentRegistrarTest, TellsNothingToOneThatServesNoScopeOfTheService) {
  add("service:test://a", kLifetimeForever, "", "HERE,There");
  mRegistrar.follow({agent("10.0.0.8", 1, "ELSEWHERE"), agent("10.0.0.9", 1, "there,ELSEWHERE")}, mNow);
  const auto sent = after(1'000ms);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].to, endpoint("10.0.0.9"));
  EXPECT_EQ(std::get<wire::ServiceRegistration>(sent[0].message().body).scopes, "There");
}

TEST_F(DirectoryAgentRegistrarTest, RefreshesAtTwoThirdsOfTheLifetimeOnTheWire) {
  add("service:test://a");
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  acknowledge(after(1'000ms).at(0));
  EXPECT_EQ(mRegistrar.next(), mNow + 600s);
  EXPECT_TRUE(mRegistrar.idle(mNow));
  EXPECT_EQ(after(600s).size(), 1U);
}

TEST_F(DirectoryAgentRegistrarTest, SendsAgainUntilTheAgentMustBeTakenForSilent) {
  add("service:test://a");
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  const auto first = after(1'000ms);
  EXPECT_TRUE(after(99ms).empty());
  EXPECT_EQ(after(1ms).at(0).bytes, first.at(0).bytes);
  EXPECT_EQ(after(200ms).at(0).bytes, first.at(0).bytes);
  EXPECT_TRUE(mSilent.empty());
  EXPECT_TRUE(after(400ms).empty());
  EXPECT_EQ(mSilent, std::vector{endpoint("10.0.0.9")});
  EXPECT_FALSE(mRegistrar.next());
  EXPECT_FALSE(mRegistrar.acknowledged(first[0].to, first[0].xid(), ErrorCode::kOk, mNow)) << "forgotten";
}

TEST_F(DirectoryAgentRegistrarTest, TakesALossForALossWhenTheAgentAnswersOthers) {
  add("service:test://a");
  add("service:test://b");
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  const auto sent = after(1'000ms);
  ASSERT_EQ(sent.size(), 2U);
  after(50ms);
  acknowledge(sent[1]);
  for (const auto step : kTimeouts)
    after(step);
  EXPECT_TRUE(mSilent.empty());
  const auto again = after(1'000ms);
  ASSERT_EQ(again.size(), 1U);
  EXPECT_EQ(std::get<wire::ServiceRegistration>(again[0].message().body).entry.url, "service:test://a");
}

TEST_F(DirectoryAgentRegistrarTest, HasAtMostSixteenRequestsUnderWay) {
  for (int i = 0; i < 100; ++i)
    add("service:test://" + std::to_string(i));
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  std::vector<FakePeers::Sent> waiting = after(1'000ms);
  std::size_t total = 0;
  while (!waiting.empty()) {
    EXPECT_LE(waiting.size(), DirectoryAgentRegistrar::kMaxUnderWay);
    total += waiting.size();
    for (const auto& request : waiting)
      acknowledge(request);
    waiting = after(1ms);
  }
  EXPECT_EQ(total, 100U);
  EXPECT_TRUE(mRegistrar.idle(mNow));
}

TEST_F(DirectoryAgentRegistrarTest, TellsOneThatHasRestartedEverythingAgain) {
  add("service:test://a");
  mRegistrar.follow({agent("10.0.0.9", 5)}, mNow);
  acknowledge(after(1'000ms).at(0));
  mRegistrar.follow({agent("10.0.0.9", 5)}, mNow);
  EXPECT_TRUE(after(1'000ms).empty());
  mRegistrar.follow({agent("10.0.0.9", 6)}, mNow);
  EXPECT_EQ(after(1'000ms).size(), 1U);
}

TEST_F(DirectoryAgentRegistrarTest, ForgetsOneThatHasGone) {
  add("service:test://a");
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  acknowledge(after(1'000ms).at(0));
  mRegistrar.follow({}, mNow);
  mRegistrar.changed("service:test://a", mNow);
  EXPECT_TRUE(after(3'600s).empty());
}

TEST_F(DirectoryAgentRegistrarTest, WithdrawsWithTheScopesOfTheRegistration) {
  add("service:test://a", kLifetimeForever, "", "one,two");
  mRegistrar.follow({agent("10.0.0.9", 1, "two,three")}, mNow);
  acknowledge(after(1'000ms).at(0));
  mServices.clear();
  mRegistrar.changed("service:test://a", mNow);
  const auto sent = after(1ms);
  ASSERT_EQ(sent.size(), 1U);
  const auto body = std::get<wire::ServiceDeregistration>(sent[0].message().body);
  EXPECT_EQ(body.entry.url, "service:test://a");
  EXPECT_EQ(body.scopes, "two");
}

TEST_F(DirectoryAgentRegistrarTest, SendsOverTcpWhatIsTooLongForADatagram) {
  add("service:test://a", kLifetimeForever, "(a=" + std::string(4'000, 'x') + ")");
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  const auto sent = after(1'000ms);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].by, FakePeers::By::kStream);
  mRegistrar.streamEnded(sent[0].to, mNow);
  EXPECT_TRUE(after(500ms).empty());
  EXPECT_EQ(after(500ms).size(), 1U) << "tried again after a second";
}

TEST_F(DirectoryAgentRegistrarTest, TellsEverythingAgainThatMayHaveChanged) {
  add("service:test://a");
  add("service:test://b");
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  for (const auto& request : after(1'000ms))
    acknowledge(request);
  mServices.erase("service:test://a");
  add("service:test://c");
  mRegistrar.everythingChanged(mNow);
  const auto sent = after(1ms);
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(std::get<wire::ServiceDeregistration>(sent[0].message().body).entry.url, "service:test://a");
  EXPECT_EQ(std::get<wire::ServiceRegistration>(sent[1].message().body).entry.url, "service:test://b");
  EXPECT_EQ(std::get<wire::ServiceRegistration>(sent[2].message().body).entry.url, "service:test://c");
}

TEST_F(DirectoryAgentRegistrarTest, WithdrawsEverythingAtTheEnd) {
  add("service:test://a");
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  acknowledge(after(1'000ms).at(0));
  mRegistrar.withdrawAll(mNow);
  EXPECT_FALSE(mRegistrar.idle(mNow));
  const auto sent = after(0ms);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].message().body.index(), wire::Body(wire::ServiceDeregistration{}).index());
  acknowledge(sent[0]);
  EXPECT_TRUE(mRegistrar.idle(mNow));
}

TEST_F(DirectoryAgentRegistrarTest, PassesOverWhatNobodyAskedFor) {
  EXPECT_FALSE(mRegistrar.acknowledged(endpoint("10.0.0.9"), 1, ErrorCode::kOk, mNow));
  mRegistrar.follow({agent("10.0.0.9")}, mNow);
  EXPECT_FALSE(mRegistrar.acknowledged(endpoint("10.0.0.9"), 1, ErrorCode::kOk, mNow));
  mRegistrar.streamEnded(endpoint("10.0.0.7"), mNow);
}

struct LifetimeRow {
  std::string name;
  std::uint16_t left;
  std::chrono::seconds minimumRefresh;
  std::chrono::seconds longest;
  WireLifetime expected;
};

class WireLifetimeTest : public testing::TestWithParam<LifetimeRow> {};

TEST_P(WireLifetimeTest, ReachesBeyondItsRefresh) {
  const LifetimeRow& row = GetParam();
  EXPECT_EQ(wireLifetime(row.left, row.minimumRefresh, row.longest), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WireLifetimeTest,
    testing::Values(LifetimeRow{"Forever", kLifetimeForever, 0s, 65'535s, {900, 600s}},
                    LifetimeRow{"ForeverToAnAgentThatWantsRest", kLifetimeForever, 3'600s, 65'535s, {5'400, 3'600s}},
                    LifetimeRow{
                        "ForeverToAnAgentThatWantsSilence", kLifetimeForever, 43'689s, 65'535s, {65'533, 43'689s}},
                    LifetimeRow{"Short", 30, 0s, 65'535s, {30, {}}},
                    LifetimeRow{"Long", 65'534, 0s, 65'535s, {65'534, {}}},
                    LifetimeRow{"LongOverAConnection", 10'800, 0s, 900s, {900, 600s}},
                    LifetimeRow{"JustEndingOverAConnection", 900, 0s, 900s, {900, {}}}),
    [](const auto& row) { return row.param.name; });

TEST(MinimumRefresh, IsReadFromTheAttributesOfTheAgent) {
  EXPECT_EQ(minimumRefreshOf("(x=1),(min-refresh-interval=3600)"), 3'600s);
  EXPECT_EQ(minimumRefreshOf("(min-refresh-interval=soon)"), 0s);
  EXPECT_EQ(minimumRefreshOf("(min-refresh-interval=-5)"), 0s);
  EXPECT_EQ(minimumRefreshOf("(min-refresh-interval=2000000000)"), 43'689s);
  EXPECT_EQ(minimumRefreshOf("min-refresh-interval"), 0s);
  EXPECT_EQ(minimumRefreshOf(""), 0s);
}

}  // namespace
}  // namespace slp::agent
