#include <set>

#include <gtest/gtest.h>

#include "AgentPeer.h"
#include "slp/agent/PortClient.h"
#include "support/Wait.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;

/// A client, and whoever has the port, in one thread.
class PortClientTest : public testing::Test {
 protected:
  PortClientTest() { mListener = net::listenTcp(net::Family::kV4, mPort, mError); }

  /// Lets the client work until the condition holds.
  template <class Condition>
  bool until(Condition holds) {
    return support::waitFor([&] {
      const auto now = std::chrono::steady_clock::now();
      mClient.work(now);
      mLoop.run(now + 5ms);
      return holds();
    });
  }
  bool accept() {
    return until([&] {
      net::Endpoint from;
      net::Descriptor socket = net::acceptTcp(mListener.get(), from);
      if (!socket) return false;
      mPeer.emplace(std::move(socket), limits::kMaxRequest);
      return true;
    });
  }
  /// Answers the next registration; its URL.
  std::string answerOne() {
    std::string url;
    until([&] {
      mPeer->ready();
      const auto bytes = mPeer->next();
      if (!bytes) return false;
      const auto message = std::get<wire::Message>(wire::decode(*bytes));
      url = std::get<wire::ServiceRegistration>(message.body).entry.url;
      wire::Message answer;
      answer.header.xid = message.header.xid;
      answer.body = wire::ServiceAcknowledge{};
      mPeer->send(encoded(answer));
      return true;
    });
    return url;
  }
  bool ended() {
    return until([&] { return !mEnds.empty(); });
  }

  int mError = 0;
  const std::uint16_t mPort = freePort();
  net::Descriptor mListener;
  std::optional<net::MessageStream> mPeer;
  EventLoop mLoop;
  std::vector<PortClient::End> mEnds;
  PortClient mClient{
      mLoop,
      {{net::Address::loopback(net::Family::kV4), mPort}},
      PortClient::Services{
          [](const std::string& url) {
            return std::vector<Registration>{{url, "service:test", "DEFAULT", "", "en", kLifetimeForever}};
          },
          [](const std::string&) {
            return std::vector<Variant>{{"en", "DEFAULT"}};
          }},
      [this](PortClient::End end) { mEnds.push_back(end); }};
};

using Ends = std::vector<PortClient::End>;

TEST_F(PortClientTest, SaysThatNothingWasAskedWhenAnIdleConnectionEnds) {
  ASSERT_EQ(mError, 0);
  mClient.connect({}, std::chrono::steady_clock::now());
  ASSERT_TRUE(accept());
  ASSERT_TRUE(until([&] { return mClient.connected(); }));
  mPeer.reset();
  ASSERT_TRUE(ended());
  EXPECT_EQ(mEnds, Ends{PortClient::End::kNotAsked});
}

TEST_F(PortClientTest, SaysThatNobodyHasAnsweredWhenARequestWasLost) {
  mClient.connect({"service:test://a"}, std::chrono::steady_clock::now());
  ASSERT_TRUE(accept());
  ASSERT_TRUE(until([&] {
    mPeer->ready();
    return mPeer->next().has_value();
  }));
  mPeer.reset();
  ASSERT_TRUE(ended());
  EXPECT_EQ(mEnds, Ends{PortClient::End::kSilent});
}

TEST_F(PortClientTest, TellsEverythingToOneWhoClosesAfterEachAnswer) {
  const std::vector<std::string> urls{"service:test://a", "service:test://b", "service:test://c"};
  std::vector<std::string> told;
  for (int connection = 0; connection < 6; ++connection) {
    mEnds.clear();
    mClient.connect(urls, std::chrono::steady_clock::now());
    ASSERT_TRUE(accept());
    told.push_back(answerOne());
    ASSERT_TRUE(until([&] { return mClient.accepted(); }));
    mPeer.reset();
    ASSERT_TRUE(ended());
    EXPECT_EQ(mEnds, Ends{PortClient::End::kAnswered});
  }
  std::vector<std::string> twice = urls;
  twice.insert(twice.end(), urls.begin(), urls.end());
  EXPECT_EQ(told, twice);
}

TEST_F(PortClientTest, TellsASuccessorEverythingAgain) {
  const std::vector<std::string> urls{"service:test://a", "service:test://b"};
  for (int connection = 0; connection < 2; ++connection) {
    mEnds.clear();
    mClient.connect(urls, std::chrono::steady_clock::now());
    ASSERT_TRUE(accept());
    EXPECT_EQ((std::set<std::string>{answerOne(), answerOne()}), (std::set<std::string>{urls.begin(), urls.end()}));
    ASSERT_TRUE(until([&] { return mClient.idle(std::chrono::steady_clock::now()); }));
    mPeer.reset();
    ASSERT_TRUE(ended());
  }
}

}  // namespace
}  // namespace slp::agent
