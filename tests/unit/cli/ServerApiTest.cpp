#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/ServerApi.h"
#include "json/lookup.h"

namespace cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kOperations = "POST /1.0/servers/self/operations/discovery ";
constexpr const char* kList = R"({"count": 2, "values": [
  {"properties": {"displayId": "two", "nics": [{"ipV4": "10.0.0.2"}, {"ipV4": "10.1.0.2"}]}},
  {"properties": {"displayId": "one", "isPivot": true}}]})";
constexpr const char* kDone = R"({"status": [{"code": 0, "desc": "Success"}]})";
constexpr const char* kFailed = R"({"status": [{"code": 1, "desc": "Failure"}]})";

std::string operation(const std::string& body) {
  return kOperations + body;
}

TEST(ServerApi, ListsTheRecordsInTheServersOrder) {
  FakeServer server;
  server.answer("GET /1.0/servers", 200, kList);
  const auto records = server.api().list();
  ASSERT_TRUE(records);
  ASSERT_EQ(records->size(), 2u);
  EXPECT_EQ(json::textAt((*records)[1], {"properties", "displayId"}), "one");
}

TEST(ServerApi, AsksEveryExchangeToEndInTime) {
  FakeServer server;
  (void)server.api().list();
  EXPECT_EQ(server.lastRequest().totalTimeout, std::chrono::seconds(3));
  EXPECT_LE(server.lastRequest().connectTimeout, server.lastRequest().totalTimeout);
}

TEST(ServerApi, TakesAUrlWithASlashAtItsEnd) {
  FakeServer server;
  server.answer("GET /1.0/servers", 200, kList);
  EXPECT_TRUE(server.api("http://server:8443//").list());
}

TEST(ServerApi, SearchesAndReadsBackWhatWasFound) {
  FakeServer server;
  server.answer(kOperations, 200, kDone);
  server.answer("GET /1.0/searchedserver/fe80::2%25eth0", 200, R"({"value": {"properties": {"displayId": "two"}}})");
  const auto record = server.api().search("fe80::2%eth0");
  ASSERT_TRUE(record) << record.failure().message;
  EXPECT_EQ(json::textAt(*record, {"properties", "displayId"}), "two");
  EXPECT_EQ(server.calls().front(), operation(R"({"action":"SEARCH","parameters":{"address":"fe80::2%eth0"}})"));
}

TEST(ServerApi, SaysInWordsThatASearchFoundNothing) {
  FakeServer server;
  server.answer(kOperations, 400, kFailed);
  const auto record = server.api().search("10.0.0.9");
  ASSERT_FALSE(record);
  EXPECT_EQ(record.failure().code, ExitCode::kRefused);
  EXPECT_EQ(record.failure().message, "no server answers at 10.0.0.9");
}

TEST(ServerApi, SaysWhyASearchFoundNothing) {
  FakeServer server;
  server.answer(kOperations, 400, kFailed);
  server.answer("GET /1.0/sightings", 200, R"({"values": [
      {"address": "10.0.0.8", "state": "failed", "reason": "another's"},
      {"address": "fe80::9", "state": "failed", "reason": "It may not be called"},
      {"address": "10.0.0.9", "state": "left", "reason": "It said goodbye"}]})");
  EXPECT_EQ(server.api().search("fe80::9").failure().message, "no server answers at fe80::9: It may not be called");
  EXPECT_EQ(server.api().search("[fe80::9]").failure().message, "no server answers at [fe80::9]: It may not be called");
  EXPECT_EQ(server.api().search("10.0.0.9").failure().message, "no server answers at 10.0.0.9");
}

TEST(ServerApi, AddsByTheAddressOfTheSearch) {
  FakeServer server;
  server.answer("GET /1.0/searchedserver/10.0.0.2", 200, R"({"value": {"properties": {"displayId": "two"}}})");
  server.answer(kOperations, 200, kDone);
  EXPECT_TRUE(server.api().add("10.0.0.2"));
  EXPECT_THAT(server.calls(), ElementsAre("GET /1.0/searchedserver/10.0.0.2",
                                          operation(R"({"action":"ADD","parameters":{"server":"/1.0/servers/two"}})")));
}

TEST(ServerApi, AddsByIdentifierWhatNoSearchHasAsItsAddress) {
  FakeServer server;
  server.answer("GET /1.0/searchedserver/two", 400, R"({"status": {"code": 400, "desc": "no such element"}})");
  server.answer(kOperations, 200, kDone);
  EXPECT_TRUE(server.api().add("two"));
  EXPECT_EQ(server.calls().back(), operation(R"({"action":"ADD","parameters":{"server":"/1.0/servers/two"}})"));
}

TEST(ServerApi, HandsOnWhyAServerWasNotAdded) {
  FakeServer server;
  server.answer(kOperations, 400, R"({"status": {"code": 400, "desc": "Server already discovered"}})");
  const auto answer = server.api().add("two");
  ASSERT_FALSE(answer);
  EXPECT_EQ(answer.failure().code, ExitCode::kRefused);
  EXPECT_EQ(answer.failure().message, "Server already discovered");
}

TEST(ServerApi, AddsNothingThatHasNoIdentifier) {
  FakeServer server;
  server.answer("GET /1.0/searchedserver/10.0.0.2", 200, R"({"value": {"properties": {}}})");
  const auto answer = server.api().add("10.0.0.2");
  ASSERT_FALSE(answer);
  EXPECT_EQ(answer.failure().code, ExitCode::kNonsense);
  EXPECT_EQ(server.calls().size(), 1u);
}

TEST(ServerApi, RemovesWhatTheServerKnowsByThatName) {
  FakeServer server;
  server.answer(kOperations, 200, kDone);
  EXPECT_TRUE(server.api().remove("10.0.0.2"));
  EXPECT_THAT(server.calls(),
              ElementsAre(operation(R"({"action":"REMOVE","parameters":{"server":"/1.0/servers/10.0.0.2"}})")));
}

TEST(ServerApi, RemovesByAnAddressThatOnlyTheRecordTells) {
  FakeServer server;
  server.answer(kOperations + std::string(R"({"action":"REMOVE","parameters":{"server":"/1.0/servers/10.1)"), 400,
                kFailed);
  server.answer(kOperations, 200, kDone);
  server.answer("GET /1.0/servers", 200, kList);
  EXPECT_TRUE(server.api().remove("10.1.0.2"));
  EXPECT_EQ(server.calls().back(), operation(R"({"action":"REMOVE","parameters":{"server":"/1.0/servers/two"}})"));
}

TEST(ServerApi, SaysWhichServerItCouldNotRemove) {
  FakeServer server;
  server.answer(kOperations, 400, kFailed);
  server.answer("GET /1.0/servers", 200, kList);
  const auto answer = server.api().remove("10.0.0.9");
  ASSERT_FALSE(answer);
  EXPECT_EQ(answer.failure().code, ExitCode::kRefused);
  EXPECT_EQ(answer.failure().message, "the inventory has no such server: 10.0.0.9");
}

TEST(ServerApi, ShowsAnotherServersDetailsFromTheInventory) {
  FakeServer server;
  server.answer("GET /1.0/servers/two", 404, R"({"status": {"code": 404, "desc": "Not found"}})");
  server.answer("GET /1.0/servers", 200, kList);
  const auto record = server.api().details("two");
  ASSERT_TRUE(record) << record.failure().message;
  EXPECT_EQ(json::textAt(*record, {"properties", "displayId"}), "two");
}

TEST(ServerApi, FindsNoDetailsOfAStranger) {
  FakeServer server;
  server.answer("GET /1.0/servers/three", 404, R"({"status": {"code": 404, "desc": "No such server"}})");
  server.answer("GET /1.0/servers", 200, kList);
  const auto record = server.api().details("three");
  ASSERT_FALSE(record);
  EXPECT_EQ(record.failure().code, ExitCode::kRefused);
  EXPECT_EQ(record.failure().message, "No such server");
}

struct Answer {
  const char* name;
  int status;
  const char* body;
  ExitCode expected;
};

class StrangeAnswer : public testing::TestWithParam<Answer> {};

TEST_P(StrangeAnswer, EndsInItsExitCode) {
  FakeServer server;
  server.answer("GET /1.0/servers", GetParam().status, GetParam().body);
  const auto records = server.api().list();
  ASSERT_FALSE(records);
  EXPECT_EQ(records.failure().code, GetParam().expected) << records.failure().message;
  EXPECT_FALSE(records.failure().message.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Answers, StrangeAnswer,
    testing::Values(Answer{"Empty", 200, "", ExitCode::kNonsense},
                    Answer{"WebPage", 200, "<html>", ExitCode::kNonsense},
                    Answer{"List", 200, "[]", ExitCode::kNonsense}, Answer{"NoValues", 200, "{}", ExitCode::kNonsense},
                    Answer{"ValuesOfAnotherKind", 200, R"({"values": {}})", ExitCode::kNonsense},
                    Answer{"StrangerAmongTheValues", 200, R"({"values": [{}, 1]})", ExitCode::kNonsense},
                    Answer{"ErrorPageOfAProxy", 502, "<html>", ExitCode::kNonsense},
                    Answer{"ErrorWithoutAWord", 500, R"({"status": []})", ExitCode::kNonsense},
                    Answer{"ErrorOfStrangers", 500, R"({"status": [7]})", ExitCode::kNonsense},
                    Answer{"Redirect", 302, "", ExitCode::kNonsense},
                    Answer{"Busy", 503, R"({"status": {"code": 503, "desc": "Busy"}})", ExitCode::kUnreachable},
                    Answer{"StatusInAList", 400, R"({"status": [{"desc": "No"}]})", ExitCode::kRefused}),
    [](const auto& row) { return row.param.name; });

struct Trouble {
  const char* name;
  httpclient::ErrorKind error;
  ExitCode expected;
};

class FailedExchange : public testing::TestWithParam<Trouble> {};

TEST_P(FailedExchange, EndsInItsExitCodeAndNamesTheServer) {
  FakeServer server;
  server.failWith(GetParam().error, "the reason");
  const auto records = server.api().list();
  ASSERT_FALSE(records);
  EXPECT_EQ(records.failure().code, GetParam().expected);
  EXPECT_THAT(records.failure().message, HasSubstr("http://server:8443"));
}

INSTANTIATE_TEST_SUITE_P(Troubles, FailedExchange,
                         testing::Values(Trouble{"BadUrl", httpclient::ErrorKind::kBadUrl, ExitCode::kUsage},
                                         Trouble{"NoSuchName", httpclient::ErrorKind::kResolve, ExitCode::kUnreachable},
                                         Trouble{"Refused", httpclient::ErrorKind::kUnreachable,
                                                 ExitCode::kUnreachable},
                                         Trouble{"Silent", httpclient::ErrorKind::kTimedOut, ExitCode::kUnreachable},
                                         Trouble{"Endless", httpclient::ErrorKind::kTooLarge, ExitCode::kNonsense},
                                         Trouble{"NoHttp", httpclient::ErrorKind::kMalformed, ExitCode::kNonsense}),
                         [](const auto& row) { return row.param.name; });

TEST(EncodeSegment, LeavesNothingThatWouldEndTheSegment) {
  EXPECT_EQ(encodeSegment("host-1.example_~"), "host-1.example_~");
  EXPECT_EQ(encodeSegment("fe80::1%eth0"), "fe80::1%25eth0");
  EXPECT_EQ(encodeSegment("a/../b?c#d e\xC3\xB6"), "a%2F..%2Fb%3Fc%23d%20e%C3%B6");
}

}  // namespace
}  // namespace cli
