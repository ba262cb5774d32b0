#include <set>

#include <gtest/gtest.h>

#include "framework/http/RestApi.h"

namespace {

using http::RestApi;

TEST(RestApi, IsItsVerbAndTemplateAsText) {
  const RestApi api(RestApi::GET, "/1.0/servers", false);
  EXPECT_EQ(api.to_string(), "GET /1.0/servers");
  EXPECT_EQ(static_cast<std::string>(api), "GET /1.0/servers");
  EXPECT_EQ(RestApi(RestApi::DELETE, "/", true).to_string(), "DELETE /");
}

TEST(RestApi, IsOrderedByVerbThenTemplateThenFlag) {
  const std::set<RestApi> ordered{{RestApi::POST, "/a", false},
                                  {RestApi::GET, "/b", false},
                                  {RestApi::GET, "/a", true},
                                  {RestApi::GET, "/a", false}};
  const std::vector<RestApi> expected{{RestApi::GET, "/a", false},
                                      {RestApi::GET, "/a", true},
                                      {RestApi::GET, "/b", false},
                                      {RestApi::POST, "/a", false}};
  EXPECT_TRUE(std::equal(ordered.begin(), ordered.end(), expected.begin(), expected.end()));
}

TEST(RestApi, CopiesAreEqual) {
  const RestApi api(RestApi::POST, "/a", true);
  RestApi copy(RestApi::GET, "", false);
  copy = api;
  EXPECT_EQ(copy, api);
  EXPECT_FALSE(copy < api || api < copy);
}

}  // namespace
