#include <gtest/gtest.h>

#include "framework/utils/Shutdown.h"
#include "host/resources/SearchServer.h"
#include "json/lookup.h"
#include "support/Requests.h"
#include "unit/host/AskAnybody.h"
#include "unit/host/ScriptedServer.h"
#include "unit/host/WatchedSightings.h"

namespace {

using host::PeerAnswer;
using host::readSearchAddress;
using host::searchStatus;
using host_test::httpAnswer;
using host_test::ScriptedServer;
using http::HTTPCommand;
using httpclient::ErrorKind;
using support::parsed;

TEST(SearchAddress, IsAnAddressOrAName) {
  const std::pair<const char*, const char*> table[] = {{"10.0.0.5", "10.0.0.5"},
                                                       {"fd00::5", "fd00::5"},
                                                       {"[fd00::5]", "fd00::5"},
                                                       {"fe80::5%eth0", "fe80::5%eth0"},
                                                       {"[fe80::5%eth0]", "fe80::5%eth0"},
                                                       {"server", "server"},
                                                       {"server.example.com", "server.example.com"},
                                                       {"localhost", "localhost"}};
  for (const auto& [text, expected] : table) {
    EXPECT_EQ(readSearchAddress(text), expected) << text;
  }
}

TEST(SearchAddress, IsNothingElse) {
  for (const std::string& text : {std::string(),
                                  std::string(" "),
                                  std::string(" 10.0.0.5"),
                                  std::string("10.0.0.5:8443"),
                                  std::string("10.0.0"),
                                  std::string("[10.0.0.5]"),
                                  std::string("[fd00::5]:8443"),
                                  std::string("[fd00::5"),
                                  std::string("["),
                                  std::string("[]"),
                                  std::string("http://server"),
                                  std::string("server/path"),
                                  std::string("user@server"),
                                  std::string("server:8443"),
                                  std::string("a b"),
                                  std::string("a\r\nb"),
                                  std::string("fe80::5%"),
                                  std::string("fe80::5%a/b"),
                                  std::string(256, 'a'),
                                  "[" + std::string(300, ':') + "]"}) {
    EXPECT_EQ(readSearchAddress(text), std::nullopt) << text;
  }
}

TEST(SearchStatus, SaysWhatHappened) {
  using Kind = PeerAnswer::Kind;
  EXPECT_EQ(searchStatus({Kind::kRecord, {}, "", ErrorKind::kNone}), HTTPCommand::HTTP_OK);
  EXPECT_EQ(searchStatus({Kind::kMayPass, {}, "", ErrorKind::kTimedOut}), HTTPCommand::HTTP_GATEWAY_TIMEOUT);
  EXPECT_EQ(searchStatus({Kind::kMayPass, {}, "", ErrorKind::kUnreachable}), HTTPCommand::HTTP_BAD_GATEWAY);
  EXPECT_EQ(searchStatus({Kind::kMayPass, {}, "", ErrorKind::kResolve}), HTTPCommand::HTTP_BAD_GATEWAY);
  EXPECT_EQ(searchStatus({Kind::kMayPass, {}, "", ErrorKind::kCancelled}), HTTPCommand::HTTP_SERVICE_UNAVAILABLE);
  EXPECT_EQ(searchStatus({Kind::kNoServer, {}, "", ErrorKind::kNone}), HTTPCommand::HTTP_BAD_GATEWAY);
}

json::Object searchFor(const std::string& address) {
  return parsed(R"({"action":"SEARCH","parameters":{"address":")" + address + "\"}}");
}

struct Outcome {
  HTTPCommand::HTTPStatus_ status;
  std::string text;
  json::Object response;
};

Outcome search(const std::string& address, std::uint16_t port) {
  Outcome outcome;
  outcome.status =
      host::searchServer(searchFor(address), outcome.response, host::Endpoint{"", port}, host_test::askAnybody);
  outcome.text = json::textAt(outcome.response, {"status", "desc"});
  return outcome;
}

TEST(SearchServer, AnswersWithTheRecordThatItFound) {
  ScriptedServer server(
      [](const std::string&) { return httpAnswer(200, R"({"value":{"properties":{"displayId":"peer"}}})"); });
  const auto found = search("127.0.0.1", server.port());
  EXPECT_EQ(found.status, HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(found.response),
            R"({"status":{"code":0,"desc":"Success"},"value":{"properties":{"displayId":"peer",)"
            R"("os":{"network":{"lastCommunicatedIp":{"ipV4":"127.0.0.1"}}}}},"isVmware":false})");
}

TEST(SearchServer, FindsAServerByItsName) {
  ScriptedServer server([](const std::string&) { return httpAnswer(200, R"({"value":{"properties":{}}})"); });
  const auto found = search("localhost", server.port());
  EXPECT_EQ(found.status, HTTPCommand::HTTP_OK) << found.text;
  EXPECT_EQ(json::textAt(found.response, {"value", "properties", "os", "network", "lastCommunicatedIp", "ipV4"}),
            "127.0.0.1");
}

TEST(SearchServer, SaysWhatItCannotSearch) {
  json::Object response;
  EXPECT_EQ(host::searchServer(parsed("{}"), response, host::Endpoint(), host_test::askAnybody),
            HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(search("10.0.0.5:80", 1).status, HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(search("a b", 1).text, "The address to search is neither an IP address nor a host name, without port");
}

TEST(SearchServer, SaysThatNobodyListens) {
  const auto port = host_test::deadPort();
  const auto outcome = search("127.0.0.1", port);
  EXPECT_EQ(outcome.status, HTTPCommand::HTTP_BAD_GATEWAY);
  EXPECT_TRUE(outcome.text.starts_with("Nothing was found at 127.0.0.1:" + std::to_string(port) + ": "))
      << outcome.text;
}

TEST(SearchServer, TriesPortAndSchemeOfThisServer) {
  std::vector<host::PeerTarget> asked;
  json::Object response;
  host::searchServer(searchFor("10.0.0.5"), response, host::Endpoint{"::", 9000, "https"},
                     [&](const host::PeerTarget& target, std::chrono::milliseconds) {
                       asked.push_back(target);
                       return PeerAnswer{PeerAnswer::Kind::kNoServer, {}, "no", ErrorKind::kNone};
                     });
  EXPECT_EQ(asked, (std::vector<host::PeerTarget>{{"10.0.0.5", 9000, "https"}}));
}

TEST(SearchServer, SaysWhyAServerIsRefusedAndTellsTheObserver) {
  const host_test::WatchedSightings watched;
  json::Object response;
  const auto refuse = [](const host::PeerTarget&, std::chrono::milliseconds) {
    return PeerAnswer{PeerAnswer::Kind::kRefused, {}, "its certificate has changed", ErrorKind::kCertificate};
  };
  EXPECT_EQ(host::searchServer(searchFor("10.0.0.5"), response, host::Endpoint{"::", 9000, "https"}, refuse),
            HTTPCommand::HTTP_BAD_GATEWAY);
  EXPECT_EQ(json::textAt(response, {"status", "desc"}),
            "The server at 10.0.0.5:9000 was refused: its certificate has changed");
  const auto sightings = watched.all();
  ASSERT_EQ(sightings.size(), 1U);
  EXPECT_EQ(sightings[0].address, "10.0.0.5");
  EXPECT_EQ(sightings[0].source, utils::Sighting::Source::kSearch);
  EXPECT_EQ(sightings[0].reason, "its certificate has changed");
}

TEST(SearchServer, SaysThatSomethingElseListens) {
  ScriptedServer server([](const std::string&) { return httpAnswer(404, ""); });
  const auto outcome = search("127.0.0.1", server.port());
  EXPECT_EQ(outcome.status, HTTPCommand::HTTP_BAD_GATEWAY);
  EXPECT_EQ(outcome.text, "There is no such server at 127.0.0.1:" + std::to_string(server.port()) +
                              ": it answered with HTTP status 404");
}

}  // namespace
