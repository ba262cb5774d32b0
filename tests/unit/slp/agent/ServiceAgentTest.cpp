#include <algorithm>
#include <filesystem>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "AgentPeer.h"
#include "slp/agent/AgentLoop.h"
#include "slp/agent/PortHolder.h"
#include "slp/agent/ServiceAgent.h"
#include "slp/config/Log.h"
#include "support/Wait.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

Registration registration(const std::string& url, const std::string& attributes = "(a=1)",
                          std::uint16_t lifetime = kLifetimeForever) {
  return {url, "service:test", "DEFAULT", attributes, "en", lifetime};
}

/// A process of its own, as far as the port is concerned.
struct Process {
  client::DirectoryAgents directoryAgents;
  std::unique_ptr<ServiceAgent> agent = std::make_unique<ServiceAgent>(directoryAgents);
};

class ServiceAgentTest : public testing::Test {
 protected:
  ServiceAgentTest() {
    config::setLogSink([](config::LogLevel, std::string_view) {});
  }
  ~ServiceAgentTest() override { config::setLogSink(nullptr); }

  SLPError add(Process& process, const std::string& url) const {
    return process.agent->add(registration(url), mSettings);
  }
  static bool holdsPort(const Process& process) {
    return support::waitFor([&] { return process.agent->holdsPort(); });
  }
  std::vector<std::string> find(std::string_view type = "service:test") { return UdpPeer(mPort).find(type); }
  bool finds(std::vector<std::string> expected) {
    std::sort(expected.begin(), expected.end());
    return support::waitFor([&] {
      auto found = find();
      std::sort(found.begin(), found.end());
      return found == expected;
    });
  }

  const std::uint16_t mPort = freePort();
  const config::Settings mSettings = loopbackSettings(mPort);
};

using Urls = std::vector<std::string>;

TEST_F(ServiceAgentTest, AnswersOverEachTransportAndFamilyOnceItHasARegistration) {
  Process process;
  EXPECT_FALSE(process.agent->holdsPort());
  ASSERT_EQ(add(process, "service:test://a"), SLP_OK);
  EXPECT_TRUE(process.agent->holdsPort()) << "the first registration has it at once";
  for (const net::Family family : {net::Family::kV4, net::Family::kV6}) {
    EXPECT_EQ(UdpPeer(mPort, family).find("service:test"), Urls{"service:test://a"});
    const auto reply = TcpPeer(mPort, family).ask(attributeRequest("service:test://a"));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->as<wire::AttributeReply>().attributes, "(a=1)");
  }
}

TEST_F(ServiceAgentTest, FindsItsOwnWithoutTheNetwork) {
  Process process;
  ASSERT_EQ(process.agent->add(registration("service:test:x://a", "(a=1),(b=2)"), mSettings), SLP_OK);
  const auto urls = process.agent->findServices({"service:test", "DEFAULT", "", "en"});
  ASSERT_EQ(urls.size(), 1U);
  EXPECT_EQ(urls[0].url, "service:test:x://a");
  EXPECT_EQ(urls[0].lifetime, kLifetimeForever);
  EXPECT_EQ(process.agent->findAttributes({"service:test:x://a", "DEFAULT", "", "en"}), "(a=1),(b=2)");
  EXPECT_EQ(process.agent->findAttributes({"service:test:x://a", "DEFAULT", "b", "en"}), "(b=2)");
  EXPECT_EQ(process.agent->findAttributes({"service:test", "DEFAULT", "", "en"}), "(a=1),(b=2)");
  EXPECT_EQ(process.agent->findAttributes({"service:test:x://b", "DEFAULT", "", "en"}), std::nullopt);
  EXPECT_EQ(process.agent->findAttributes({"service:other", "DEFAULT", "", "en"}), std::nullopt);
  EXPECT_EQ(process.agent->findTypes({std::nullopt, "DEFAULT", "en"}), Urls{"service:test"});
}

TEST_F(ServiceAgentTest, RemovesWhatIsRegisteredOnly) {
  Process process;
  EXPECT_EQ(process.agent->remove("service:test://a"), SLP_INVALID_REGISTRATION);
  ASSERT_EQ(add(process, "service:test://a"), SLP_OK);
  ASSERT_EQ(add(process, "service:test://b"), SLP_OK);
  EXPECT_EQ(process.agent->remove("service:test://a"), SLP_OK);
  EXPECT_EQ(process.agent->remove("service:test://a"), SLP_INVALID_REGISTRATION);
  EXPECT_EQ(find(), Urls{"service:test://b"});
  EXPECT_EQ(process.agent->add(registration(""), mSettings), SLP_INVALID_REGISTRATION);
}

TEST_F(ServiceAgentTest, LetsALifetimeEnd) {
  Process process;
  ASSERT_EQ(process.agent->add(registration("service:test://a", "", 1), mSettings), SLP_OK);
  EXPECT_TRUE(finds({}));
}

TEST_F(ServiceAgentTest, RegistersWithTheProcessThatHasThePort) {
  Process first;
  Process second;
  ASSERT_EQ(add(first, "service:test://first"), SLP_OK);
  ASSERT_EQ(add(second, "service:test://second"), SLP_OK);
  EXPECT_TRUE(finds({"service:test://first", "service:test://second"}));
  EXPECT_FALSE(second.agent->holdsPort());
  const auto reply = UdpPeer(mPort).ask(attributeRequest("service:test://second"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->as<wire::AttributeReply>().attributes, "(a=1)");

  ASSERT_EQ(second.agent->remove("service:test://second"), SLP_OK);
  EXPECT_TRUE(finds({"service:test://first"}));
}

TEST_F(ServiceAgentTest, TellsTheOtherProcessOfChangedAttributes) {
  Process first;
  Process second;
  ASSERT_EQ(add(first, "service:test://first"), SLP_OK);
  ASSERT_EQ(add(second, "service:test://second"), SLP_OK);
  EXPECT_TRUE(finds({"service:test://first", "service:test://second"}));
  ASSERT_EQ(second.agent->add(registration("service:test://second", "(changed=true)"), mSettings), SLP_OK);
  EXPECT_TRUE(support::waitFor([&] {
    const auto reply = UdpPeer(mPort).ask(attributeRequest("service:test://second"));
    return reply && reply->as<wire::AttributeReply>().attributes == "(changed=true)";
  }));
}

TEST_F(ServiceAgentTest, WithdrawsFromTheOtherProcessAtItsEnd) {
  Process first;
  ASSERT_EQ(add(first, "service:test://first"), SLP_OK);
  {
    Process second;
    ASSERT_EQ(add(second, "service:test://second"), SLP_OK);
    EXPECT_TRUE(finds({"service:test://first", "service:test://second"}));
  }
  EXPECT_TRUE(finds({"service:test://first"}));
}

TEST_F(ServiceAgentTest, SucceedsTheProcessThatHadThePort) {
  Process first;
  Process second;
  Process third;
  ASSERT_EQ(add(first, "service:test://first"), SLP_OK);
  ASSERT_EQ(add(second, "service:test://second"), SLP_OK);
  ASSERT_EQ(add(third, "service:test://third"), SLP_OK);
  EXPECT_TRUE(finds({"service:test://first", "service:test://second", "service:test://third"}));
  first.agent.reset();
  EXPECT_TRUE(finds({"service:test://second", "service:test://third"}));
  EXPECT_NE(second.agent->holdsPort(), third.agent->holdsPort());
  Process& heir = second.agent->holdsPort() ? second : third;
  heir.agent.reset();
  EXPECT_TRUE(finds({&heir == &second ? "service:test://third" : "service:test://second"}));
}

TEST_F(ServiceAgentTest, HandsOverTwoThousandRegistrations) {
  Process first;
  Process second;
  ASSERT_EQ(
      first.agent->add({"service:other://first", "service:other", "DEFAULT", "", "en", kLifetimeForever}, mSettings),
      SLP_OK);
  for (int i = 0; i < 2'000; ++i)
    ASSERT_EQ(add(second, "service:test://10.0.0.1:" + std::to_string(i)), SLP_OK);
  const auto count = [&]() -> std::size_t {
    const auto reply = TcpPeer(mPort).ask(serviceRequest("service:test"));
    return reply ? reply->as<wire::ServiceReply>().urls.size() : 0;
  };
  EXPECT_TRUE(support::waitFor([&] { return count() == 2'000; }));
  EXPECT_FALSE(second.agent->holdsPort());
  first.agent.reset();
  ASSERT_TRUE(holdsPort(second));
  EXPECT_EQ(count(), 2'000U);
}

TEST_F(ServiceAgentTest, TakesThePortWhenAStrangerWhoTakesNothingLetsItGo) {
  auto stranger = std::make_unique<net::UdpSocket>();
  ASSERT_EQ(stranger->open(net::Family::kV4, mPort), 0);
  Process process;
  ASSERT_EQ(add(process, "service:test://a"), SLP_OK);
  EXPECT_FALSE(process.agent->holdsPort());
  EXPECT_EQ(process.agent->findServices({"service:test", "DEFAULT", "", "en"}).size(), 1U);
  stranger.reset();
  ASSERT_TRUE(holdsPort(process));
  EXPECT_EQ(find(), Urls{"service:test://a"});
}

TEST_F(ServiceAgentTest, LeavesOneInPeaceWhoClosesAfterEachAnswer) {
  net::UdpSocket stranger;
  ASSERT_EQ(stranger.open(net::Family::kV4, mPort), 0);
  int error = 0;
  const net::Descriptor listener = net::listenTcp(net::Family::kV4, mPort, error);
  ASSERT_EQ(error, 0);
  Process process;
  ASSERT_EQ(add(process, "service:test://a"), SLP_OK);
  ASSERT_EQ(add(process, "service:test://b"), SLP_OK);
  const auto begin = Clock::now();
  for (int connection = 0; connection < 6; ++connection) {
    ASSERT_TRUE(isReady(listener.get(), POLLIN));
    net::Endpoint from;
    net::MessageStream peer(net::acceptTcp(listener.get(), from), limits::kMaxRequest);
    ASSERT_TRUE(support::waitFor([&] {
      peer.ready();
      const auto bytes = peer.next();
      if (!bytes) return false;
      wire::Message answer;
      answer.header.xid = std::get<wire::Message>(wire::decode(*bytes)).header.xid;
      answer.body = wire::ServiceAcknowledge{};
      peer.send(encoded(answer));
      return true;
    }));
  }
  EXPECT_GE(Clock::now() - begin, (1 + 2 + 4 + 8 + 16) * AgentLoop::kFirstRetry) << "the waits between the connections";
}

TEST_F(ServiceAgentTest, HoldsAllSocketsOfThePortOrNone) {
  int error = 0;
  auto stranger = net::listenTcp(net::Family::kV6, mPort, error);
  ASSERT_EQ(error, 0);
  PortHolder holder;
  EXPECT_EQ(holder.bind(mPort, true, true), EADDRINUSE);
  EXPECT_FALSE(holder.held());
  EXPECT_EQ(holder.listener(net::Family::kV4), -1);
  stranger.reset();
  EXPECT_EQ(holder.bind(mPort, true, true), 0);
  EXPECT_TRUE(holder.udp(net::Family::kV4).isOpen() && holder.udp(net::Family::kV6).isOpen());
  PortHolder other;
  EXPECT_EQ(other.bind(mPort, true, false), EADDRINUSE);
  EXPECT_EQ(other.bind(mPort, false, true), EADDRINUSE);
}

TEST_F(ServiceAgentTest, ServesOneFamilyWhenOnlyThatIsAllowed) {
  config::Settings settings = mSettings;
  settings.useIpv4 = false;
  Process process;
  ASSERT_EQ(process.agent->add(registration("service:test://a"), settings), SLP_OK);
  EXPECT_EQ(UdpPeer(mPort, net::Family::kV6).find("service:test"), Urls{"service:test://a"});
  net::UdpSocket other;
  EXPECT_EQ(other.open(net::Family::kV4, mPort), 0) << "the other is free";
}

TEST_F(ServiceAgentTest, LeavesWhatOthersRegisterOverAConnectionWithoutATieWhenItCloses) {
  Process process;
  ASSERT_EQ(add(process, "service:test://a"), SLP_OK);
  wire::Message message;
  message.header.fresh = true;
  wire::ServiceRegistration body;
  body.entry = {100, "service:test://b", {}};
  body.serviceType = "service:test";
  body.scopes = "DEFAULT";
  message.body = body;
  {
    TcpPeer peer(mPort);
    const auto reply = peer.ask(encoded(message));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->as<wire::ServiceAcknowledge>().error, wire::ErrorCode::kOk);
  }
  EXPECT_EQ(find(), (Urls{"service:test://a", "service:test://b"}));
}

TEST_F(ServiceAgentTest, KeepsAnsweringAmongBrokenPeers) {
  Process process;
  ASSERT_EQ(add(process, "service:test://a"), SLP_OK);
  std::vector<TcpPeer> peers;
  for (int i = 0; i < 20; ++i) {
    TcpPeer& peer = peers.emplace_back(mPort);
    if (i % 2 == 0) peer.send(serviceRequest("service:test").substr(0, static_cast<std::size_t>(i)));
  }
  UdpPeer garbage(mPort);
  const std::string request = serviceRequest("service:test");
  for (std::size_t length = 0; length < request.size(); ++length)
    garbage.send(request.substr(0, length));
  EXPECT_EQ(find(), Urls{"service:test://a"});
  TcpPeer broken(mPort);
  broken.send("no message of ours at all");
  EXPECT_TRUE(broken.isClosed());
  const auto reply = TcpPeer(mPort).ask(request);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->as<wire::ServiceReply>().urls.size(), 1U);
}

TEST_F(ServiceAgentTest, AnswersBurstsInWhole) {
  Process process;
  ASSERT_EQ(add(process, "service:test://a"), SLP_OK);
  UdpPeer peer(mPort);
  for (int burst = 0; burst < 50; ++burst) {
    for (std::uint16_t i = 0; i < 16; ++i)
      peer.send(serviceRequest("service:test", i));
    std::set<std::uint16_t> answered;
    while (answered.size() < 16) {
      const auto reply = peer.receive(20s);
      ASSERT_TRUE(reply);
      answered.insert(reply->message().header.xid);
    }
  }
}

TEST_F(ServiceAgentTest, IsSafeForManyThreads) {
  Process process;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 100; ++i) {
        const std::string url = "service:test://" + std::to_string(t) + "/" + std::to_string(i);
        EXPECT_EQ(add(process, url), SLP_OK);
        process.agent->findServices({"service:test", "DEFAULT", "", "en"});
        if (i % 2 == 0) {
          EXPECT_EQ(process.agent->remove(url), SLP_OK);
        }
      }
    });
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(process.agent->findServices({"service:test", "DEFAULT", "", "en"}).size(), 400U);
  const auto reply = TcpPeer(mPort).ask(serviceRequest("service:test"));
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->as<wire::ServiceReply>().urls.size(), 400U);
}

TEST_F(ServiceAgentTest, LeavesNoDescriptorAndNoThread) {
  const auto entries = [](const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
  };
  std::thread([] {}).join();  // a sanitizer's own thread comes with the first
  const auto descriptors = entries("/proc/self/fd");
  const auto threads = entries("/proc/self/task");
  {
    Process first;
    Process second;
    ASSERT_EQ(add(first, "service:test://first"), SLP_OK);
    ASSERT_EQ(add(second, "service:test://second"), SLP_OK);
    EXPECT_TRUE(finds({"service:test://first", "service:test://second"}));
  }
  EXPECT_EQ(entries("/proc/self/fd"), descriptors);
  EXPECT_EQ(entries("/proc/self/task"), threads);
}

}  // namespace
}  // namespace slp::agent
