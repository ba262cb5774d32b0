#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/Limits.h"
#include "discovery/UnreachableAddresses.h"

namespace {

using discovery::UnreachableAddresses;
using Texts = std::vector<std::string>;

TEST(UnreachableAddresses, KeepTheOrderInWhichTheyFailed) {
  UnreachableAddresses addresses;
  for (const char* address : {"10.0.0.9", "10.0.0.1", "10.0.0.5"})
    addresses.add(address);
  EXPECT_EQ(addresses.all(), (Texts{"10.0.0.9", "10.0.0.1", "10.0.0.5"}));
  EXPECT_TRUE(addresses.contains("10.0.0.1"));
  EXPECT_FALSE(addresses.contains("10.0.0.2"));
}

TEST(UnreachableAddresses, HoldAnAddressOnce) {
  UnreachableAddresses addresses;
  addresses.add("a");
  addresses.add("b");
  addresses.add("a");
  EXPECT_EQ(addresses.all(), (Texts{"a", "b"}));
  EXPECT_EQ(addresses.size(), 2u);
}

TEST(UnreachableAddresses, ForgetAnAddressThatIsRemoved) {
  UnreachableAddresses addresses;
  for (const char* address : {"a", "b", "c"})
    addresses.add(address);
  EXPECT_TRUE(addresses.remove("b"));
  EXPECT_FALSE(addresses.remove("b"));
  EXPECT_EQ(addresses.all(), (Texts{"a", "c"}));
  addresses.add("b");
  EXPECT_EQ(addresses.all(), (Texts{"a", "c", "b"}));
}

TEST(UnreachableAddresses, DropTheOldestWhenFull) {
  UnreachableAddresses addresses(2);
  for (const char* address : {"a", "b", "c"})
    addresses.add(address);
  EXPECT_EQ(addresses.all(), (Texts{"b", "c"}));
  EXPECT_FALSE(addresses.contains("a"));
  addresses.add("b");
  EXPECT_EQ(addresses.all(), (Texts{"b", "c"})) << "an address that is there drops nobody";
}

TEST(UnreachableAddresses, MayBeAllowedNone) {
  UnreachableAddresses addresses(0);
  addresses.add("a");
  EXPECT_EQ(addresses.size(), 0u);
}

TEST(UnreachableAddresses, AreBoundedHoweverManyFail) {
  UnreachableAddresses addresses;
  for (std::size_t i = 0; i < discovery::kMaxUnreachableAddresses + 5; ++i)
    addresses.add(std::to_string(i));
  EXPECT_EQ(addresses.size(), discovery::kMaxUnreachableAddresses);
  EXPECT_FALSE(addresses.contains("4"));
  EXPECT_TRUE(addresses.contains("5"));
}

}  // namespace
