// GET and POST "/1.0/servers/{server_id}/operations/discovery", whatever the action.

#include "PluginTest.h"
#include "framework/http/Command.h"
#include "framework/utils/Exceptions.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {
namespace {

constexpr const char* kSchemaValidationError = R"([{"code":69633,"desc":"Schema validation error"}])";

class DiscoveryOperations : public PluginTest {
 protected:
  static std::string statusList(const support::Answer& answer) {
    const json::Array* const status = json::arrayAt(answer.body, {"status"});
    if (status == nullptr) return "(no list)";
    json::Object holder;
    holder["status"] = *status;
    const std::string text = support::written(holder);
    return text.substr(10, text.size() - 11);
  }
};

TEST_F(DiscoveryOperations, AreDescribed) {
  preferences.set("uri_prefix", "/kvt");
  const auto answer = get("/1.0/servers/alpha/operations/discovery");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  const json::Object* const value = json::objectAt(answer.body, {"value"});
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(support::written(*value),
            R"({"self":{"uri":"/1.0/servers/alpha/operations/discovery","type":"operation"},)"
            R"("upon":{"uri":"/kvt/1.0/servers/alpha","type":"server"},)"
            R"("properties":{"type":"discovery","subType":"none","state":"none","action":["ADD","REMOVE","SEARCH"],)"
            R"("isAllowed":[true,true,true],"isRebootRequired":[false,false,false],"isProgressAvailable":false}})");
  EXPECT_EQ(statusList(answer), R"([{"code":0,"desc":"Success"}])");
}

TEST_F(DiscoveryOperations, AreDescribedUnderTheUriThatWasAskedFor) {
  const auto answer = get("/1.0/servers/alpha/operations/discovery?x=1");
  EXPECT_EQ(textOrNone(answer.body, {"value", "self", "uri"}), "/1.0/servers/alpha/operations/discovery?x=1");
}

TEST_F(DiscoveryOperations, NameAServerByAUriThatCanBeAskedFor) {
  const auto answer = get("/1.0/servers/fe80::1%25eth0/operations/discovery");
  EXPECT_EQ(textOrNone(answer.body, {"value", "upon", "uri"}), "/1.0/servers/fe80::1%25eth0");
}

TEST_F(DiscoveryOperations, NeedAServerToBeDescribed) {
  const auto answer = get("/1.0/servers//operations/discovery");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(statusList(answer), kSchemaValidationError);
  EXPECT_EQ(answer.body.Size(), 1u);
}

TEST_F(DiscoveryOperations, NeedAServerToBeDescribedEvenWithoutAPath) {
  ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
  http::Command command;
  ServerDiscoveryPlugin plugin(&command, &proxy);
  json::Object response;
  EXPECT_EQ(plugin.manualDiscovery({}, {}, response), http::HTTPCommand::HTTP_BAD_REQUEST);
}

TEST_F(DiscoveryOperations, RefuseAnActionThatDoesNotExist) {
  serveSearch(http::HTTPCommand::HTTP_OK, {});
  announce("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  fileSearched("10.0.0.6", serverRecord("beta", "10.0.0.6"));
  for (const char* const action : {"search", "Search", " SEARCH", "SEARCH ", "add", "remove", "DELETE", ""}) {
    const auto answer =
        post(kOperation, R"({"action":")" + std::string(action) +
                             R"(","parameters":{"address":"10.0.0.7","server":"/1.0/servers/10.0.0.5"}})");
    EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST) << action;
    EXPECT_EQ(statusList(answer), kSchemaValidationError) << action;
    EXPECT_EQ(answer.body.Size(), 1u) << action;
  }
  EXPECT_FALSE(searchBody) << "nothing was searched";
  EXPECT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.5"));
  EXPECT_THAT(searchedKeys(), testing::ElementsAre("10.0.0.6"));
}

TEST_F(DiscoveryOperations, AnswerHostileBodiesWithARefusal) {
  announce("10.0.0.5", serverRecord("alpha", "10.0.0.5"));
  fileSearched("10.0.0.6", serverRecord("beta", "10.0.0.6"));
  const char* const bodies[] = {
      R"({})",
      R"({"action":null})",
      R"({"action":["SEARCH"]})",
      R"({"action":{"SEARCH":1}})",
      R"({"action":7,"parameters":7})",
      R"({"action":"SEARCH"})",
      R"({"action":"SEARCH","parameters":"10.0.0.5"})",
      R"({"action":"SEARCH","parameters":{"address":["10.0.0.5"]}})",
      R"({"action":"ADD"})",
      R"({"action":"ADD","parameters":null})",
      R"({"action":"ADD","parameters":{"server":{"uri":"beta"}}})",
      R"({"action":"ADD","parameters":{"server":""}})",
      R"({"action":"ADD","parameters":{"server":"/1.0/searchedserver/"}})",
      R"({"action":"ADD","parameters":{"server":"/1.0/searchedserver/%"}})",
      R"({"action":"REMOVE"})",
      R"({"action":"REMOVE","parameters":[]})",
      R"({"action":"REMOVE","parameters":{"server":false}})",
      R"({"action":"REMOVE","parameters":{"server":"servers"}})",
      R"({"action":"REMOVE","parameters":{"server":"servers/"}})",
      R"({"action":"REMOVE","parameters":{"server":"/1.0/servers/%00"}})",
      R"({"action":"REMOVE","parameters":{"server":"/1.0/servers/\u0000"}})",
  };
  for (const char* const body : bodies) {
    const auto answer = post(kOperation, body);
    EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST) << body;
    EXPECT_NE(json::find(answer.body, {"status"}), nullptr) << body;
  }
  EXPECT_THAT(announcedAddresses(), testing::ElementsAre("10.0.0.5"));
  EXPECT_THAT(searchedKeys(), testing::ElementsAre("10.0.0.6"));
}

/// A command of a host that cannot run other resources.
class FailingCommand : public http::Command {
 public:
  http::HTTPCommand* createCommand(const http::RestApi*, json::Object, json::Object&) override {
    throw utils::PluginException("host.cpp", 12, "the host is busy", 503);
  }
};

TEST_F(DiscoveryOperations, ReportAFailureInsideThePlugIn) {
  ServerDiscoveryPluginProxy proxy(&managerGuard.manager());
  FailingCommand command;
  ServerDiscoveryPlugin plugin(&command, &proxy);
  json::Object response;
  const json::Object request = support::parsed(R"({"action":"SEARCH","parameters":{"address":"10.0.0.5"}})");
  EXPECT_EQ(plugin.postManualDiscoverySearch({}, request, response), http::HTTPCommand::HTTP_INTERNAL_SERVER_ERROR);
  EXPECT_EQ(support::written(response), R"({"status":{"code":503,"desc":"the host is busy"}})");
  EXPECT_TRUE(log.containsPart("the host is busy"));
  EXPECT_EQ(log.texts(utils::LOG_ERROR).size(), 1u);
}

}  // namespace
}  // namespace plugins
