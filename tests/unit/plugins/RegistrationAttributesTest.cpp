#include <gtest/gtest.h>

#include "framework/launcher/KVTCrypto.h"
#include "json/lookup.h"
#include "plugins/RegistrationAttributes.h"
#include "support/Requests.h"

namespace plugins {
namespace {

using support::parsed;
using support::written;

constexpr const char* kDetails = R"({"properties":{"displayId":"local","agents":[)"
                                 R"({"id":31,"listen":[{"address":"10.0.0.1","port":8443}]},{"id":32}],)"
                                 R"("os":{"name":"Linux","network":{"nics":[{"name":"eth0","ipV4":"10.0.0.1"}]}}}})";

/// The digest that a server which hears of these attributes computes.
std::string digestOfProperties(const json::Object& attributes) {
  json::Object properties;
  properties["properties"] = *json::objectAt(attributes, {"properties"});
  return launcher::KVTCrypto::get_instance()->jsonObj_to_hashstr(properties);
}

TEST(RegistrationAttributes, CarryTheDetailsAndWhatServersLookForFirst) {
  json::Object attributes = makeRegistrationAttributes(parsed(kDetails), 7);
  attributes.Erase(attributes.Find("gid"));
  EXPECT_EQ(written(attributes), R"({"properties":{"displayId":"local","agents":[{"address":"10.0.0.1","port":8443}],)"
                                 R"("os":{"name":"Linux","network":{"nics":[{"name":"eth0","ipV4":"10.0.0.1"}]}},)"
                                 R"("nics":[{"name":"eth0","ipV4":"10.0.0.1"}],"lastUpdatedCounter":7}})");
}

TEST(RegistrationAttributes, ReplaceWhatTheDetailsHoldAlready) {
  const json::Object attributes = makeRegistrationAttributes(
      parsed(R"({"properties":{"displayId":"local","agents":[{"listen":[1]}],"nics":["old"],"lastUpdatedCounter":99,)"
             R"("os":{"network":{"nics":["new"]}}}})"),
      3);
  EXPECT_EQ(json::numberAt(attributes, {"properties", "lastUpdatedCounter"}), 3);
  EXPECT_EQ(*json::arrayAt(attributes, {"properties", "nics"}), *json::arrayAt(parsed(R"({"a":["new"]})"), {"a"}));
  EXPECT_EQ(*json::arrayAt(attributes, {"properties", "agents"}), *json::arrayAt(parsed(R"({"a":[1]})"), {"a"}));
}

TEST(RegistrationAttributes, AreEmptyWhereTheDetailsLackSomething) {
  const char* const incomplete[] = {
      "{}",
      R"({"properties":{}})",
      R"({"properties":"text"})",
      R"({"properties":{"displayId":5,"agents":[],"os":{"network":{"nics":{}}}}})",
      R"({"properties":{"agents":["agent"],"os":{"network":[]}}})",
      R"({"properties":{"agents":{"listen":[1]},"os":"Linux"}})",
      R"({"properties":{"agents":[{"listen":"here"}]}})",
  };
  for (const char* const text : incomplete) {
    const json::Object details = parsed(text);
    const json::Object attributes = makeRegistrationAttributes(details, 0);
    const json::Array* const nics = json::arrayAt(attributes, {"properties", "nics"});
    const json::Array* const agents = json::arrayAt(attributes, {"properties", "agents"});
    ASSERT_TRUE(nics != nullptr && agents != nullptr) << text;
    EXPECT_TRUE(nics->Empty() && agents->Empty()) << text;
    const json::UnknownElement* const displayId = json::find(attributes, {"properties", "displayId"});
    EXPECT_TRUE(displayId != nullptr && *displayId == json::String("")) << text;
    EXPECT_EQ(json::numberAt(attributes, {"properties", "lastUpdatedCounter"}), 0) << text;
    EXPECT_EQ(details, parsed(text)) << "the details are only read";
  }
}

TEST(RegistrationAttributes, CarryTheDigestThatOthersCompute) {
  const json::Object attributes = makeRegistrationAttributes(parsed(kDetails), 7);
  const std::string digest = json::textAt(attributes, {"gid"});
  EXPECT_EQ(digest.size(), 64u);
  EXPECT_EQ(digest, digestOfProperties(attributes));
  EXPECT_NE(digest, json::textAt(makeRegistrationAttributes(parsed(kDetails), 8), {"gid"}));
}

TEST(RegistrationAttributes, KeepTheirDigestWithoutBlanks) {
  const json::Object details = parsed(
      R"({"properties":{"displayId":"my \t server","os":{"name":"A \"B\" (C) [D]! \u00e9","network":{"nics":[]}}}})");
  const json::Object attributes = withoutBlanks(makeRegistrationAttributes(details, 0));
  EXPECT_EQ(json::textAt(attributes, {"properties", "displayId"}), "myserver");
  EXPECT_EQ(json::textAt(attributes, {"gid"}), digestOfProperties(attributes));
}

TEST(RegistrationAttributes, DoNotVerifyWithMoreThanPropertiesInTheDetails) {
  const json::Object attributes =
      makeRegistrationAttributes(parsed(R"({"properties":{"displayId":"local"},"uris":{}})"), 0);
  EXPECT_EQ(json::textAt(attributes, {"gid"}).size(), 64u);
  EXPECT_NE(json::textAt(attributes, {"gid"}), digestOfProperties(attributes));
}

TEST(RegistrationAttributes, LoseTheDigestThatTheDetailsClaim) {
  const json::Object attributes = makeRegistrationAttributes(parsed(R"({"gid":"mine","properties":{}})"), 0);
  EXPECT_NE(json::textAt(attributes, {"gid"}), "mine");
}

TEST(WithoutBlanks, LeavesThemOutOfStringsAndNamesAtEveryLevel) {
  EXPECT_EQ(written(withoutBlanks(parsed(R"({"a b":" x\ty ","c":[" ",{"\td":["e f"]}]})"))),
            R"({"ab":"xy","c":["",{"d":["ef"]}]})");
}

TEST(WithoutBlanks, KeepsEverythingElse) {
  const char* const text = R"({"a":[1,2.5,true,false,null,"\n\\t","\"\u00a0"],"b":{},"c":[]})";
  EXPECT_EQ(withoutBlanks(parsed(text)), parsed(text));
}

TEST(WithoutBlanks, KeepsTheFirstOfMembersWhoseNamesBecomeOne) {
  EXPECT_EQ(written(withoutBlanks(parsed(R"({"a b":1,"ab":2,"a\tb":3,"c":4})"))), R"({"ab":1,"c":4})");
}

}  // namespace
}  // namespace plugins
