// SEARCH, and GET of what it found.

#include "PluginTest.h"

namespace plugins {
namespace {

class DiscoverySearch : public PluginTest {
 protected:
  static json::Object found(const json::Object& record, bool isVmware = false) {
    json::Object reply;
    reply["value"] = record;
    reply["isVmware"] = json::Boolean(isVmware);
    return reply;
  }
  static json::Object foundAt(const std::string& family, const std::string& address) {
    return found(support::parsed(R"({"properties":{"displayId":"alpha","os":{"network":{"lastCommunicatedIp":{")" +
                                 family + R"(":")" + address + R"("}}}}})"));
  }
};

TEST_F(DiscoverySearch, TellsWhereToReadWhatItFound) {
  serveSearch(http::HTTPCommand::HTTP_OK, found(serverRecord("alpha", "10.0.0.5")));
  preferences.set("uri_prefix", "/kvt");
  const auto answer = search("10.0.0.5");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(answer.body),
            R"({"status":[{"code":0,"desc":"Success"}],)"
            R"("value":{"self":{"type":"server","uri":"/1.0/servers/local/operations/discovery"},)"
            R"("properties":{"isReachable":true},"uris":{"server":"/kvt/1.0/searchedserver/10.0.0.5"}}})");
}

TEST_F(DiscoverySearch, HandsTheRequestOnUnchanged) {
  serveSearch(http::HTTPCommand::HTTP_OK, {});
  const std::string body = R"({"action":"SEARCH","parameters":{"address":"10.0.0.5","more":[1]},"else":true})";
  post(kOperation, body);
  ASSERT_TRUE(searchBody);
  EXPECT_EQ(support::written(*searchBody), body);
}

TEST_F(DiscoverySearch, KeepsWhatItFound) {
  serveSearch(http::HTTPCommand::HTTP_OK, found(serverRecord("alpha", "10.0.0.5")));
  search("10.0.0.5");
  const auto answer = get("/1.0/searchedserver/10.0.0.5");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(textOrNone(answer.body, {"value", "properties", "displayId"}), "alpha");
  EXPECT_TRUE(json::flagAt(answer.body, {"value", "properties", "isManual"}));
}

TEST_F(DiscoverySearch, KeepsAVmwareHostAsAProvisionalRecord) {
  serveSearch(http::HTTPCommand::HTTP_OK, found(serverRecord("alpha", "10.0.0.9"), true));
  const auto answer = search("10.0.0.5");
  EXPECT_EQ(json::find(answer.body, {"isVmware"}), nullptr);
  EXPECT_EQ(textOrNone(get("/1.0/searchedserver/10.0.0.5").body, {"value", "properties", "displayId"}), "10.0.0.5");
}

TEST_F(DiscoverySearch, TakesAFlagOfAnotherTypeForNone) {
  json::Object reply = found(serverRecord("alpha", "10.0.0.5"));
  reply["isVmware"] = json::String("true");
  serveSearch(http::HTTPCommand::HTTP_OK, reply);
  search("10.0.0.5");
  EXPECT_EQ(textOrNone(get("/1.0/searchedserver/10.0.0.5").body, {"value", "properties", "displayId"}), "alpha");
}

TEST_F(DiscoverySearch, FindsAgainWhatNeedsEncodingInAUri) {
  serveSearch(http::HTTPCommand::HTTP_OK, found(serverRecord("alpha", "10.0.0.5")));
  for (const std::string address : {"fe80::1%eth0", "a b", "a/b", "a%2Fb", "2001:db8::5", "\xC3\xA4"}) {
    const std::string uri = textOrNone(search(address).body, {"value", "uris", "server"});
    EXPECT_EQ(get(uri).status, http::HTTPCommand::HTTP_OK) << uri;
    EXPECT_THAT(searchedKeys(), testing::Contains(address));
  }
  EXPECT_EQ(textOrNone(search("fe80::1%eth0").body, {"value", "uris", "server"}), "/1.0/searchedserver/fe80::1%25eth0");
}

TEST_F(DiscoverySearch, LeavesNothingBehindWhenItFails) {
  serveSearch(http::HTTPCommand::HTTP_NOT_FOUND, found(serverRecord("alpha", "10.0.0.5")));
  inventory().mapUnreachableIP.add("10.0.0.5");
  const auto answer = search("10.0.0.5");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(support::written(answer.body),
            R"({"status":[{"code":1,"desc":"Failure"}],)"
            R"("value":{"self":{"type":"server","uri":"/1.0/servers/local/operations/discovery"},)"
            R"("properties":{"isReachable":false}}})");
  EXPECT_THAT(searchedKeys(), testing::IsEmpty());
  EXPECT_TRUE(inventory().mapUnreachableIP.contains("10.0.0.5"));
  inventory().clearUnreachable("10.0.0.5");
}

TEST_F(DiscoverySearch, FailsWithEveryStatusButOk) {
  for (const auto status : {http::HTTPCommand::HTTP_NO_CONTENT, http::HTTPCommand::HTTP_BAD_GATEWAY,
                            http::HTTPCommand::HTTP_INTERNAL_SERVER_ERROR}) {
    support::FakePlugin resource;
    resource.post("/1.0/searchserver_", [status](const support::Request&, json::Object&) { return status; });
    EXPECT_EQ(search("10.0.0.5").status, http::HTTPCommand::HTTP_BAD_REQUEST) << status;
  }
  EXPECT_THAT(searchedKeys(), testing::IsEmpty());
}

TEST_F(DiscoverySearch, FailsWhenTheHostHasNoSearch) {
  EXPECT_EQ(search("10.0.0.5").status, http::HTTPCommand::HTTP_BAD_REQUEST);
}

TEST_F(DiscoverySearch, LetsAnAddressThatAnsweredBeAskedAgain) {
  serveSearch(http::HTTPCommand::HTTP_OK, {});
  inventory().mapUnreachableIP.add("10.0.0.5");
  inventory().mapUnreachableIP.add("10.0.0.6");
  search("10.0.0.5");
  EXPECT_FALSE(inventory().mapUnreachableIP.contains("10.0.0.5"));
  EXPECT_TRUE(inventory().mapUnreachableIP.contains("10.0.0.6"));
  inventory().clearUnreachable("10.0.0.6");
}

TEST_F(DiscoverySearch, LetsTheAddressBehindANameBeAskedAgain) {
  inventory().mapUnreachableIP.add("10.0.0.5");
  inventory().mapUnreachableIP.add("2001:db8::5");
  {
    support::FakePlugin resource;
    resource.post("/1.0/searchserver_", [](const support::Request&, json::Object& response) {
      response = foundAt("ipV4", "10.0.0.5");
      return http::HTTPCommand::HTTP_OK;
    });
    search("alpha");
  }
  EXPECT_FALSE(inventory().mapUnreachableIP.contains("10.0.0.5"));
  EXPECT_TRUE(inventory().mapUnreachableIP.contains("2001:db8::5"));
  serveSearch(http::HTTPCommand::HTTP_OK, foundAt("ipV6", "2001:db8::5"));
  search("alpha");
  EXPECT_FALSE(inventory().mapUnreachableIP.contains("2001:db8::5"));
}

}  // namespace
}  // namespace plugins
