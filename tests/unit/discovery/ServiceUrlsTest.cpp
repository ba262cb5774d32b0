#include <gtest/gtest.h>

#include "discovery/ServiceUrls.h"

namespace {

using discovery::ServiceUrls;

TEST(ServiceUrls, KeepOrderAndRepetitions) {
  ServiceUrls urls;
  for (const char* url : {"b", "a", "b"})
    EXPECT_TRUE(urls.add(url));
  EXPECT_EQ(urls.all(), (std::vector<std::string>{"b", "a", "b"}));
  urls.clear();
  EXPECT_EQ(urls.size(), 0u);
}

TEST(ServiceUrls, TakeNoMoreThanTheirLimit) {
  ServiceUrls urls(1);
  EXPECT_TRUE(urls.add("a"));
  EXPECT_FALSE(urls.add("b"));
  EXPECT_EQ(urls.size(), 1u);
}

}  // namespace
