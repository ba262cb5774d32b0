#include <string>

#include <gtest/gtest.h>

#include "discovery/Limits.h"
#include "discovery/RecordSize.h"
#include "support/Requests.h"

namespace {

TEST(RecordSize, IsThatOfTheText) {
  json::Object record;
  record["a"] = json::String(std::string(discovery::kMaxRecordLength - 8, 'x'));
  EXPECT_EQ(support::written(record).size(), discovery::kMaxRecordLength);
  EXPECT_FALSE(discovery::isTooLarge(record));
  record["b"] = json::Null();
  EXPECT_TRUE(discovery::isTooLarge(record));
  EXPECT_FALSE(discovery::isTooLarge({}));
}

}  // namespace
