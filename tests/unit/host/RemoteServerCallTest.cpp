#include <gtest/gtest.h>

#include "host/resources/RemoteServerCall.h"
#include "json/lookup.h"
#include "support/FakeSystem.h"
#include "support/Requests.h"
#include "unit/host/AskAnybody.h"
#include "unit/host/ScriptedServer.h"
#include "unit/host/WatchedSightings.h"

namespace {

using host::callRemoteServer;
using host::chooseTargets;
using host::Endpoint;
using host::Link;
using host::PeerTarget;
using host::readRemoteQuery;
using host::RemoteQuery;
using host_test::askAnybody;
using host_test::httpAnswer;
using host_test::ScriptedServer;
using http::HTTPCommand;
using support::parsed;

constexpr std::uint16_t kOwnPort = 8443;
const Endpoint kOwn{"::", kOwnPort, "http"};

TEST(RemoteQuery, ReadsEndpointsAndAddresses) {
  const auto query = readRemoteQuery(parsed(R"({"properties":{"serverIp":"10.0.0.5","displayId":"peer",
    "agents":[{"address":"::","port":9000,"scheme":"https"}],
    "nics":[{"ipV4":"10.0.0.5","ipV6":"fd00::5"}],
    "os":{"network":{"nics":[{"ipV4":"10.1.0.5","ipV6":""}]}}}})"));
  EXPECT_EQ(query.serverIp, "10.0.0.5");
  EXPECT_EQ(query.displayId, "peer");
  EXPECT_EQ(query.endpoints, (std::vector<PeerTarget>{{"::", 9000, "https"}}));
  EXPECT_EQ(query.addresses, (std::vector<std::string>{"10.0.0.5", "fd00::5", "10.1.0.5", "", "::"}));
}

TEST(RemoteQuery, ReadsAgentsThatHoldTheirEndpoints) {
  const auto query = readRemoteQuery(parsed(R"({"properties":{"agents":[
    {"id":31,"listen":[{"address":"10.0.0.5","port":1},{"address":"fd00::5","port":2,"scheme":"gopher"}]}]}})"));
  EXPECT_EQ(query.endpoints, (std::vector<PeerTarget>{{"10.0.0.5", 1, ""}, {"fd00::5", 2, ""}}));
}

TEST(RemoteQuery, PassesOverWhatMakesNoSense) {
  for (const char* agents : {"{}", "\"x\"", "[1,null,\"x\",[]]", R"([{"port":0}])", R"([{"port":65536}])",
                             R"([{"port":1.5}])", R"([{"port":-1}])", R"([{"port":"80"}])", R"([{"port":1e300}])",
                             R"([{"listen":{}}])", R"([{"listen":[{"listen":[{"port":1}]}]}])"}) {
    const auto query = readRemoteQuery(parsed(R"({"properties":{"agents":)" + std::string(agents) + "}}"));
    EXPECT_TRUE(query.endpoints.empty()) << agents;
  }
  EXPECT_EQ(readRemoteQuery(parsed("{}")).serverIp, "");
  EXPECT_EQ(readRemoteQuery(parsed(R"({"properties":[]})")).serverIp, "");
  EXPECT_EQ(readRemoteQuery(parsed(R"({"properties":{"serverIp":5}})")).serverIp, "");
}

TEST(RemoteQuery, ReadsNoMoreThanIsReasonable) {
  std::string endpoints;
  std::string nics;
  for (int i = 0; i < 1000; ++i) {
    endpoints += std::string(i > 0 ? "," : "") + R"({"address":"10.0.0.5","port":80})";
    nics += std::string(i > 0 ? "," : "") + R"({"ipV4":"10.0.0.5"})";
  }
  const auto query =
      readRemoteQuery(parsed(R"({"properties":{"agents":[)" + endpoints + R"(],"nics":[)" + nics + "]}}"));
  EXPECT_EQ(query.endpoints.size(), 16U);
  EXPECT_LE(query.addresses.size(), 128U + 16U);
}

struct Choice {
  const char* name;
  RemoteQuery query;
  std::vector<PeerTarget> targets;
};

class Choices : public testing::TestWithParam<Choice> {};

TEST_P(Choices, AreTheContactedAddressAndThenThoseOnOurLinks) {
  const std::vector<Link> links = {{"10.0.0.1", 24}, {"fd00::1", 64}, {"fe80::1", 64}};
  EXPECT_EQ(chooseTargets(GetParam().query, kOwn, links), GetParam().targets);
}

const std::vector<PeerTarget> kAny = {{"::", 9000, "http"}};

INSTANTIATE_TEST_SUITE_P(
    RemoteServerCall, Choices,
    testing::Values(
        Choice{"OurPortWithoutEndpoints", {"192.0.2.5", "", {}, {}}, {{"192.0.2.5", kOwnPort, "http"}}},
        Choice{"TheEndpointsPort", {"192.0.2.5", "", kAny, {}}, {{"192.0.2.5", 9000, "http"}}},
        Choice{"TheEndpointsScheme", {"192.0.2.5", "", {{"::", 9000, "https"}}, {}}, {{"192.0.2.5", 9000, "https"}}},
        Choice{"TheFirstOfSeveralEndpoints",
               {"192.0.2.5", "", {{"10.0.0.5", 1, "http"}, {"10.0.0.6", 2, "http"}}, {}},
               {{"192.0.2.5", 1, "http"}}},
        Choice{"TheEndpointOfJustThatAddress",
               {"10.0.0.6", "", {{"10.0.0.5", 1, "http"}, {"10.0.0.6", 2, "http"}}, {"10.0.0.5"}},
               {{"10.0.0.6", 2, "http"}, {"10.0.0.5", 1, "http"}}},
        Choice{"AddressesOnOurLinks",
               {"192.0.2.5", "", kAny, {"10.0.0.5", "10.0.1.5", "fd00::5", "fd01::5"}},
               {{"192.0.2.5", 9000, "http"}, {"10.0.0.5", 9000, "http"}, {"fd00::5", 9000, "http"}}},
        Choice{"NotTheSameTwice",
               {"10.0.0.5", "", kAny, {"10.0.0.5", "10.0.0.6", "10.0.0.6"}},
               {{"10.0.0.5", 9000, "http"}, {"10.0.0.6", 9000, "http"}}},
        Choice{"NotOurselves", {"10.0.0.5", "", kAny, {"10.0.0.1", "fd00::1"}}, {{"10.0.0.5", 9000, "http"}}},
        Choice{"NotWhatIsNoAddress",
               {"10.0.0.5", "", kAny, {"", "name", "127.0.0.1", "::", "fe80::5", "0.0.0.0"}},
               {{"10.0.0.5", 9000, "http"}}},
        Choice{
            "NotTooMany",
            {"10.0.0.5",
             "",
             kAny,
             {"10.0.0.11", "10.0.0.12", "10.0.0.13", "10.0.0.14", "10.0.0.15", "10.0.0.16", "10.0.0.17", "10.0.0.18"}},
            {{"10.0.0.5", 9000, "http"},
             {"10.0.0.11", 9000, "http"},
             {"10.0.0.12", 9000, "http"},
             {"10.0.0.13", 9000, "http"},
             {"10.0.0.14", 9000, "http"},
             {"10.0.0.15", 9000, "http"},
             {"10.0.0.16", 9000, "http"},
             {"10.0.0.17", 9000, "http"}}},
        Choice{"AName", {"peer.example", "", kAny, {}}, {{"peer.example", 9000, "http"}}},
        Choice{"NothingWithoutAnAddress", {"", "", kAny, {"10.0.0.5"}}, {}},
        Choice{"NothingForNonsense", {"a b/c", "", kAny, {"10.0.0.5"}}, {}}),
    [](const auto& tested) { return tested.param.name; });

TEST(RemoteServerCall, UsesOurSchemeWhereTheAttributesNameNone) {
  const std::vector<Link> links = {{"10.0.0.1", 24}};
  const Endpoint own{"::", 8443, "https"};
  EXPECT_EQ(chooseTargets({"10.0.0.5", "", {}, {}}, own, links),
            (std::vector<PeerTarget>{{"10.0.0.5", 8443, "https"}}));
  EXPECT_EQ(chooseTargets({"10.0.0.5", "", {{"::", 9000, ""}}, {}}, own, links),
            (std::vector<PeerTarget>{{"10.0.0.5", 9000, "https"}}));
  EXPECT_EQ(chooseTargets({"10.0.0.5", "", {{"::", 9000, "http"}}, {}}, own, links),
            (std::vector<PeerTarget>{{"10.0.0.5", 9000, "http"}}));
}

/// Refuses whatever it is asked.
host::PeerAnswer refuse(const PeerTarget&, std::chrono::milliseconds) {
  return {host::PeerAnswer::Kind::kRefused, {}, "its certificate has changed", httpclient::ErrorKind::kCertificate};
}

json::Object queryFor(std::uint16_t port) {
  return parsed(R"({"properties":{"serverIp":"127.0.0.1","displayId":"peer","agents":[{"address":"::","port":)" +
                std::to_string(port) + "}]}}");
}

TEST(RemoteServerCall, AnswersWithTheRecordItself) {
  const support::FakeSystem system;
  ScriptedServer server(
      [](const std::string&) { return httpAnswer(200, R"({"value":{"properties":{"displayId":"peer"}}})"); });
  json::Object response;
  EXPECT_EQ(callRemoteServer(queryFor(server.port()), response, Endpoint{"", 1}, askAnybody), HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(response),
            R"({"properties":{"displayId":"peer","os":{"network":{"lastCommunicatedIp":{"ipV4":"127.0.0.1"}}}}})");
}

TEST(RemoteServerCall, UsesOurPortWhenTheAttributesNameNone) {
  const support::FakeSystem system;
  ScriptedServer server([](const std::string&) { return httpAnswer(200, R"({"value":{"properties":{}}})"); });
  json::Object response;
  const auto query = parsed(R"({"properties":{"serverIp":"127.0.0.1"}})");
  EXPECT_EQ(callRemoteServer(query, response, Endpoint{"", server.port()}, askAnybody), HTTPCommand::HTTP_OK);
}

TEST(RemoteServerCall, AnswersWithAStatusThatSaysWhetherItMayPass) {
  const support::FakeSystem system;
  const std::pair<int, HTTPCommand::HTTPStatus_> table[] = {{503, HTTPCommand::HTTP_BAD_REQUEST},
                                                            {404, HTTPCommand::HTTP_BAD_GATEWAY}};
  for (const auto& [status, expected] : table) {
    ScriptedServer server([status = status](const std::string&) { return httpAnswer(status, "{}"); });
    json::Object response;
    EXPECT_EQ(callRemoteServer(queryFor(server.port()), response, Endpoint{"", 1}, askAnybody), expected);
    EXPECT_EQ(json::numberAt(response, {"status", "code"}), expected);
    EXPECT_EQ(json::textAt(response, {"status", "desc"}),
              "The server at 127.0.0.1 was not reached: it answered with HTTP status " + std::to_string(status));
  }
}

TEST(RemoteServerCall, AnswersThatItMayPassWhenNobodyListens) {
  const support::FakeSystem system;
  json::Object response;
  EXPECT_EQ(callRemoteServer(queryFor(host_test::deadPort()), response, Endpoint{"", 1}, askAnybody),
            HTTPCommand::HTTP_BAD_REQUEST);
}

TEST(RemoteServerCall, AnswersThatAServerIsRefusedAndTellsTheObserver) {
  const support::FakeSystem system;
  const host_test::WatchedSightings watched;
  json::Object response;
  EXPECT_EQ(callRemoteServer(queryFor(8443), response, kOwn, refuse), HTTPCommand::HTTP_BAD_GATEWAY);
  const auto sightings = watched.all();
  ASSERT_EQ(sightings.size(), 1U);
  EXPECT_EQ(sightings[0].address, "127.0.0.1");
  EXPECT_EQ(sightings[0].displayId, "peer");
  EXPECT_EQ(sightings[0].outcome, utils::Sighting::Outcome::kFailed);
  EXPECT_EQ(sightings[0].source, utils::Sighting::Source::kSlp);
  EXPECT_EQ(sightings[0].reason, "its certificate has changed");
}

TEST(RemoteServerCall, SaysNothingOfAServerWhenItIsCalledOff) {
  const support::FakeSystem system;
  const host_test::WatchedSightings watched;
  json::Object response;
  const auto callOff = [](const PeerTarget&, std::chrono::milliseconds) {
    return host::PeerAnswer{host::PeerAnswer::Kind::kMayPass, {}, "called off", httpclient::ErrorKind::kCancelled};
  };
  EXPECT_EQ(callRemoteServer(queryFor(8443), response, kOwn, callOff), HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_TRUE(watched.all().empty());
}

TEST(RemoteServerCall, RefusesARequestWithoutAnAddress) {
  const support::FakeSystem system;
  json::Object response;
  EXPECT_EQ(callRemoteServer({}, response, Endpoint{"", 1}, askAnybody), HTTPCommand::HTTP_BAD_GATEWAY);
  EXPECT_EQ(json::numberAt(response, {"status", "code"}), 502);
}

}  // namespace
