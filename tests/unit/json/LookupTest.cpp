#include <gtest/gtest.h>

#include "json/lookup.h"
#include "unit/json/Documents.h"

namespace {

const std::string kText =
    R"({"name":"n","flag":true,"off":false,"number":2.5,"none":null,"list":[1],"inner":{"deep":{"name":"d"},"list":[]}})";

class JsonLookup : public testing::Test {
 protected:
  // Every look-up must leave the document as it was.
  void TearDown() override { EXPECT_EQ(written(mObject), kText); }

  json::Object mObject = parsed(kText);
};

TEST_F(JsonLookup, FollowsAPathOfNames) {
  ASSERT_NE(json::find(mObject, {"inner", "deep", "name"}), nullptr);
  EXPECT_TRUE(*json::find(mObject, {"inner", "deep", "name"}) == json::String("d"));
  EXPECT_TRUE(*json::find(mObject, {"none"}) == json::Null());
}

TEST_F(JsonLookup, LeadsNowhereWhenAStepIsAbsentOrNoObject) {
  EXPECT_EQ(json::find(mObject, {"absent"}), nullptr);
  EXPECT_EQ(json::find(mObject, {"inner", "absent", "name"}), nullptr);
  EXPECT_EQ(json::find(mObject, {"name", "name"}), nullptr);
  EXPECT_EQ(json::find(mObject, {"list", "0"}), nullptr);
  EXPECT_EQ(json::find(mObject, {"none", "name"}), nullptr);
  EXPECT_EQ(json::find(mObject, {}), nullptr);
}

TEST_F(JsonLookup, ReadsTexts) {
  EXPECT_EQ(json::textAt(mObject, {"name"}), "n");
  EXPECT_EQ(json::textAt(mObject, {"inner", "deep", "name"}), "d");
  EXPECT_EQ(json::textAt(mObject, {"number"}), "");
  EXPECT_EQ(json::textAt(mObject, {"absent", "name"}), "");
}

TEST_F(JsonLookup, ReadsFlags) {
  EXPECT_TRUE(json::flagAt(mObject, {"flag"}));
  EXPECT_FALSE(json::flagAt(mObject, {"off"}));
  EXPECT_FALSE(json::flagAt(mObject, {"number"}));
  EXPECT_FALSE(json::flagAt(mObject, {"absent"}));
}

TEST_F(JsonLookup, ReadsNumbers) {
  EXPECT_EQ(json::numberAt(mObject, {"number"}), 2.5);
  EXPECT_EQ(json::numberAt(mObject, {"name"}), std::nullopt);
  EXPECT_EQ(json::numberAt(mObject, {"absent"}), std::nullopt);
}

TEST_F(JsonLookup, ReadsArraysAndObjects) {
  ASSERT_NE(json::arrayAt(mObject, {"list"}), nullptr);
  EXPECT_EQ(json::arrayAt(mObject, {"list"})->Size(), 1u);
  EXPECT_TRUE(json::arrayAt(mObject, {"inner", "list"})->Empty());
  EXPECT_EQ(json::arrayAt(mObject, {"inner"}), nullptr);
  ASSERT_NE(json::objectAt(mObject, {"inner", "deep"}), nullptr);
  EXPECT_EQ(json::objectAt(mObject, {"inner", "deep"})->Size(), 1u);
  EXPECT_EQ(json::objectAt(mObject, {"list"}), nullptr);
  EXPECT_EQ(json::objectAt(mObject, {"absent"}), nullptr);
}

}  // namespace
