#include <string>

#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/DoctorServer.h"

namespace cli::doctor {
namespace {

const std::chrono::system_clock::time_point kNow{std::chrono::seconds(1795279800)};

httpclient::Response dated(const std::string& date) {
  httpclient::Response response;
  response.headers = {"Date: " + date};
  return response;
}

TEST(AheadBy, ReadsTheDateOfAnAnswer) {
  EXPECT_EQ(aheadBy(dated("Sat, 21 Nov 2026 16:50:00 GMT"), kNow), Ahead(0));
  EXPECT_EQ(aheadBy(dated("Sat, 21 Nov 2026 16:51:00 GMT"), kNow), Ahead(60));
  EXPECT_EQ(aheadBy(dated("Sat, 21 Nov 2026 16:49:59 GMT"), kNow + std::chrono::milliseconds(999)), Ahead(-1));
  for (const char* date : {"", "now", "Sat, 21 Nov 2026 16:50:00 GMT+1"})
    EXPECT_FALSE(aheadBy(dated(date), kNow)) << date;
}

TEST(LeadsHere, KnowsThisMachine) {
  for (const char* url :
       {"https://127.0.0.1:8443", "http://localhost:1/prefix", "https://[::1]:8443", "https://10.0.0.1:8443/"})
    EXPECT_TRUE(leadsHere(url, {"10.0.0.1"})) << url;
  for (const char* url : {"https://10.0.0.2:8443", "https://one.example:8443", "", "https://[fe80::1]:1"})
    EXPECT_FALSE(leadsHere(url, {"10.0.0.1"})) << url;
}

TEST(ServerFacts, AreThoseThatTheServerTells) {
  FakeServer server;
  server.answer("GET /healthz", 200, "{}", {"Date: Sat, 21 Nov 2026 16:50:00 GMT"});
  server.answer("GET /1.0/status", 200, R"({"value": {"version": "1"}})");
  server.answer("GET /1.0/sightings", 200, R"({"values": [{"address": "10.0.0.2"}]})");
  server.answer("GET /1.0/peers", 200, R"({"values": [{"address": "10.0.0.2:8443"}, 5]})");
  const ServerFacts facts = serverFacts(server.client());
  EXPECT_FALSE(facts.unreachable);
  EXPECT_TRUE(facts.isLoggedIn);
  EXPECT_TRUE(facts.ahead);
  EXPECT_EQ(facts.status, parsed(R"({"version": "1"})"));
  EXPECT_EQ(facts.sightings.size(), 1u);
  EXPECT_EQ(facts.peers.size(), 1u);
}

TEST(ServerFacts, SayThatNobodyIsLoggedIn) {
  FakeServer server;
  server.answer("GET /healthz", 200, "{}");
  server.answer("GET", 401, R"({"status": {"code": 401, "desc": "Log in first"}})");
  const ServerFacts facts = serverFacts(server.client());
  EXPECT_FALSE(facts.unreachable);
  EXPECT_FALSE(facts.isLoggedIn);
  EXPECT_FALSE(facts.untold);
}

TEST(ServerFacts, SayThatTheServerIsNotThere) {
  FakeServer server;
  server.failWith(httpclient::ErrorKind::kUnreachable, "refused");
  ASSERT_TRUE(serverFacts(server.client()).unreachable);
  EXPECT_EQ(server.calls().size(), 1u);
}

TEST(ServerFacts, SayWhyTheServerTellsNothing) {
  FakeServer server;
  server.answer("GET /healthz", 200, "{}");
  server.answer("GET", 500, R"({"status": {"code": 500, "desc": "Internal error"}})");
  const ServerFacts facts = serverFacts(server.client());
  EXPECT_TRUE(facts.isLoggedIn);
  ASSERT_TRUE(facts.untold);
}

TEST(PeersAhead, AsksAFewOthersForTheirTime) {
  std::vector<json::Object> records = {parsed(R"({"properties": {"isPivot": true, "displayId": "one",
      "agents": [{"listen": [{"address": "10.0.0.1", "port": 1, "scheme": "https"}]}]}})")};
  for (int i = 2; i < 40; ++i) {
    const std::string address = "10.0.0." + std::to_string(i);
    records.push_back(
        parsed(R"({"properties": {"agents": [{"address": ")" + address + R"(", "port": 8443, "scheme": "https"}]}})"));
  }
  std::vector<std::string> urls;
  const auto ahead = peersAhead(records, [&urls](const httpclient::Request& request) {
    urls.push_back(request.url);
    EXPECT_TRUE(request.headers.empty());
    EXPECT_FALSE(request.acceptCertificate({"10.0.0.2", "SHA256:aa"}));
    return dated(urls.size() == 1 ? "Sat, 21 Nov 2026 16:50:00 GMT" : "");
  });
  ASSERT_EQ(urls.size(), 8u);
  EXPECT_EQ(urls.front(), "https://10.0.0.2:8443/1.0/servers/self");
  ASSERT_EQ(ahead.size(), 1u);
  EXPECT_EQ(ahead.begin()->first, "10.0.0.2");
}

}  // namespace
}  // namespace cli::doctor
