#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "framework/launcher/KVTCrypto.h"
#include "support/Requests.h"

namespace {

std::string digest(const json::Object& object) {
  return launcher::KVTCrypto::get_instance()->jsonObj_to_hashstr(object);
}

std::string digest(std::string_view text) {
  return digest(support::parsed(text));
}

TEST(KVTCrypto, IsSha256InHexOfTheCanonicalText) {
  // As sha256sum says of the text: {}
  EXPECT_EQ(digest("{}"), "44136fa355b3678a1146ad16f7e8649e94fb4fc21fe77e8310c060f61caaff8a");
}

TEST(KVTCrypto, IsEqualForEqualContent) {
  const auto object = support::parsed(R"({"a":[1,true,null,"x"],"b":{"c":"d"}})");
  EXPECT_EQ(digest(object), digest(object));
  EXPECT_EQ(digest(object).size(), 64u);
}

TEST(KVTCrypto, DoesNotDependOnTheOrderOfMembers) {
  EXPECT_EQ(digest(R"({"a":1,"b":{"c":2,"d":3}})"), digest(R"({"b":{"d":3,"c":2},"a":1})"));
}

TEST(KVTCrypto, DependsOnTheOrderOfElements) {
  EXPECT_NE(digest(R"({"a":[1,2]})"), digest(R"({"a":[2,1]})"));
}

TEST(KVTCrypto, LeavesBlanksAndTabsInsideStringsAndNamesOut) {
  EXPECT_EQ(digest(R"({"na me":"Server Room\t1"})"), digest(R"({"name":"ServerRoom1"})"));
  EXPECT_EQ(digest(R"({"b":1," c":2})"), digest(R"({"c":2,"b":1})"));
  EXPECT_NE(digest(R"({"a":"x\ny"})"), digest(R"({"a":"xy"})"));
}

TEST(KVTCrypto, KnowsOneFormOfANumber) {
  EXPECT_EQ(digest(R"({"a":1})"), digest(R"({"a":1.0})"));
  EXPECT_EQ(digest(R"({"a":100})"), digest(R"({"a":1e2})"));
  EXPECT_EQ(digest(R"({"a":0})"), digest(R"({"a":-0.0})"));
}

TEST(KVTCrypto, TellsTypesAndStructuresApart) {
  const char* const texts[] = {
      R"({})",          R"({"a":1})",       R"({"a":"1"})",     R"({"a":true})",    R"({"a":"true"})",
      R"({"a":null})",  R"({"a":[]})",      R"({"a":{}})",      R"({"a":[[]]})",    R"({"a":[1]})",
      R"({"a":["1"]})", R"({"a":{"b":1}})", R"({"a":1,"b":2})", R"({"a":"1,b:2"})", R"({"a":"\",\"b\":\""})",
      R"({"b":1})",     R"({"a":[1,2]})",   R"({"a":[12]})",    R"({"a":"A"})",     R"({"A":1})"};
  for (const char* left : texts) {
    for (const char* right : texts) {
      if (left != right) {
        EXPECT_NE(digest(left), digest(right)) << left << right;
      }
    }
  }
}

TEST(KVTCrypto, SurvivesTheWayThroughARegisteredText) {
  const auto details = support::parsed(R"({"properties":{"displayId":"a","os":{"name":"Debian (GNU/Linux) 12!"}}})");
  std::string text = support::written(details);
  std::erase(text, '\t');
  std::erase(text, ' ');
  EXPECT_EQ(digest(text), digest(details));
}

TEST(KVTCrypto, TakesNumbersThatNoTextCanHold) {
  json::Object object;
  object["a"] = json::Number(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(digest(object), digest(R"({"a":null})"));
}

TEST(KVTCrypto, TakesTextsThatAreNotUtf8) {
  json::Object object;
  object["a"] = json::String("\xFF\xFE");
  EXPECT_EQ(digest(object), digest(object));
}

}  // namespace
