// GET "/1.0/searchedserver/{tentative_id}"

#include "PluginTest.h"
#include "framework/http/Command.h"
#include "framework/utils/Exceptions.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {
namespace {

constexpr const char* kNotFound =
    "Element does not contain the expected parameters, so the requested operation cannot be performed";

class SearchedServer : public PluginTest {
 protected:
  http::Command command;
  ServerDiscoveryPluginProxy proxy{&managerGuard.manager()};
  ServerDiscoveryPlugin plugin{&command, &proxy};
};

TEST_F(SearchedServer, IsShownWithTheNumberNoughtForSuccess) {
  fileSearched("10.0.0.5", support::parsed(R"({"properties":{"displayId":"alpha"}})"));
  const auto answer = get("/1.0/searchedserver/10.0.0.5");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(answer.body), R"({"status":[{"code":0,"desc":"Success"}],)"
                                           R"("value":{"properties":{"displayId":"alpha","isManual":true}}})");
}

TEST_F(SearchedServer, NeedsAnIdentifier) {
  const auto answer = get("/1.0/searchedserver/");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(support::written(answer.body), R"({"status":[{"code":69633,"desc":"Schema validation error"}]})");
}

TEST_F(SearchedServer, NeedsAnIdentifierEvenWithoutAPath) {
  json::Object response;
  EXPECT_EQ(plugin.getSearchedServer({}, {}, response), http::HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(support::written(response), R"({"status":[{"code":69633,"desc":"Schema validation error"}]})");
}

TEST_F(SearchedServer, IsABadRequestWhenNobodySearchedForIt) {
  const auto answer = get("/1.0/searchedserver/10.0.0.5");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_BAD_REQUEST);
  EXPECT_EQ(json::textAt(answer.body, {"status", "desc"}), kNotFound);
}

TEST_F(SearchedServer, LeavesTheReportToItsCaller) {
  json::Object response;
  try {
    plugin.getSearchedServer({{"{tentative_id}", "10.0.0.5"}}, {}, response);
    FAIL() << "nothing was thrown";
  } catch (const utils::InputException& exception) {
    EXPECT_STREQ(exception.getErrorStatusMessage(), kNotFound);
    EXPECT_EQ(exception.getErrorStatusCode(), 400);
    EXPECT_THAT(exception.what(), testing::HasSubstr("SearchedServer.cpp"));
    EXPECT_THAT(exception.what(), testing::Not(testing::HasSubstr("/")));
  }
}

}  // namespace
}  // namespace plugins
