#include <gtest/gtest.h>

#include "AgentPeer.h"
#include "slp/agent/ClientExtension.h"
#include "slp/agent/PortServer.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;
using Urls = std::vector<std::string>;

wire::ServiceRegistration registrationOf(std::string_view url, std::string_view scopes = "DEFAULT") {
  wire::ServiceRegistration body;
  body.entry = {900, url, {}};
  body.serviceType = "service:test";
  body.scopes = scopes;
  return body;
}

std::string freshly(const wire::ServiceRegistration& body, bool tied = false) {
  wire::Message message;
  message.header.xid = 1;
  message.header.fresh = true;
  message.body = body;
  if (tied) message.extensions.push_back({kEndsWithConnection, {}});
  return encoded(message);
}

/// A server that works in the thread of the test.
class PortServerTest : public testing::Test {
 protected:
  PortServerTest() { mView.set(net::listInterfaces()); }

  PortServer::Events events() {
    return {[this](const std::string& url) { mChanged.push_back(url); },
            [](const wire::DirectoryAgentAdvert&, const net::Endpoint&) {}};
  }
  PortHolder& bound() {
    EXPECT_EQ(mPort.bind(mSettings.port, true, true), 0);
    return mPort;
  }
  template <typename Condition>
  bool serveUntil(Condition condition, std::chrono::steady_clock::duration longest = kTestDeadline) {
    const auto end = std::chrono::steady_clock::now() + longest;
    while (!condition()) {
      const auto now = std::chrono::steady_clock::now();
      if (now > end) return false;
      mLoop.run(std::min(now + 5ms, mServer.next().value_or(now + 5ms)));
      mServer.work(std::chrono::steady_clock::now());
    }
    return true;
  }
  wire::ErrorCode acknowledged(UdpPeer& peer, const std::string& message) {
    peer.send(message);
    std::optional<Reply> reply;
    serveUntil([&] { return (reply = peer.receive(0ms)).has_value(); });
    return reply ? reply->as<wire::ServiceAcknowledge>().error : wire::ErrorCode::kInternalError;
  }

  const config::Settings mSettings = loopbackSettings(freePort());
  EventLoop mLoop;
  PortHolder mPort;
  Registry mRegistry;
  NetworkView mView{{}};
  Urls mChanged;
  PortServer mServer{mLoop, bound(), mRegistry, mView, mSettings, events()};
};

TEST_F(PortServerTest, TellsOfRegistrationsThatWereGranted) {
  UdpPeer peer(mSettings.port);
  EXPECT_EQ(acknowledged(peer, freshly(registrationOf("service:test://a"))), wire::ErrorCode::kOk);
  EXPECT_EQ(mChanged, Urls{"service:test://a"});
}

TEST_F(PortServerTest, TellsNobodyOfRegistrationsThatWereRefused) {
  UdpPeer peer(mSettings.port);
  EXPECT_EQ(acknowledged(peer, freshly(registrationOf("service:test://a", "ELSEWHERE"))),
            wire::ErrorCode::kScopeNotSupported);
  EXPECT_EQ(mChanged, Urls{});
}

TEST_F(PortServerTest, AnswersCostlyRequestsInSeveralTurnsAndAllOfThem) {
  // More than is kept parsed, so that each request parses a part of it anew.
  for (int i = 0; i < 900; ++i)
    mRegistry.add({"service:test://" + std::to_string(i), "service:test", "DEFAULT",
                   "(text=" + std::string(60'000, 'x') + ")", "en", kLifetimeForever},
                  kThisProcess, std::chrono::steady_clock::now());
  UdpPeer peer(mSettings.port);
  wire::Message message;
  wire::ServiceRequest body;
  body.serviceType = "service:test";
  body.scopes = "DEFAULT";
  body.predicate = "(text=y)";
  message.body = body;
  constexpr std::uint16_t kRequests = 4;
  for (message.header.xid = 1; message.header.xid <= kRequests; ++message.header.xid)
    peer.send(encoded(message));
  bool rested = false;
  std::uint16_t answered = 0;
  const auto isAnswered = [&] {
    rested = rested || mServer.next() == PortServer::TimePoint{};
    while (const auto reply = peer.receive(0ms))
      EXPECT_EQ(reply->message().header.xid, ++answered);
    return answered == kRequests;
  };
  EXPECT_TRUE(serveUntil(isAnswered, 4 * kTestDeadline));  // a sanitizer makes it ten times as costly
  EXPECT_TRUE(rested);
}

TEST_F(PortServerTest, TellsOfWhatEndsWithItsConnection) {
  {
    auto peer = net::MessageStream::connect({net::Address::loopback(net::Family::kV4), mSettings.port}, 10'000);
    peer.send(freshly(registrationOf("service:test://a"), true));
    ASSERT_TRUE(serveUntil([&] { return peer.ready(), peer.next().has_value(); }));
    EXPECT_EQ(mRegistry.size(), 1U);
    mChanged.clear();
  }
  EXPECT_TRUE(serveUntil([&] { return mRegistry.size() == 0; }));
  EXPECT_EQ(mChanged, Urls{"service:test://a"});
}

}  // namespace
}  // namespace slp::agent
