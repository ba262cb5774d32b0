#include <gtest/gtest.h>

#include "slp/api/RecentTexts.h"

namespace slp::api {
namespace {

TEST(RecentTexts, KeepEqualTextsOnce) {
  RecentTexts texts(2);
  const char* const first = texts.keep("one");
  EXPECT_STREQ(first, "one");
  EXPECT_EQ(texts.keep("one"), first);
  EXPECT_NE(texts.keep("two"), first);
}

TEST(RecentTexts, DropTheOneAskedForLongestAgo) {
  RecentTexts texts(2);
  const char* const one = texts.keep("one");
  texts.keep("two");
  EXPECT_EQ(texts.keep("one"), one);
  texts.keep("three");  // in place of two
  EXPECT_EQ(texts.keep("one"), one);
  EXPECT_STREQ(one, "one");
}

}  // namespace
}  // namespace slp::api
