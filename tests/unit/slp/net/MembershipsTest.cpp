#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "slp/net/Memberships.h"
#include "unit/slp/net/Sockets.h"

namespace slp::net {
namespace {

std::set<Membership> groups(Family family, unsigned count, unsigned first = 1) {
  std::set<Membership> all;
  for (unsigned i = first; i < first + count; ++i) {
    const auto text = family == Family::kV4 ? "239.201.7." + std::to_string(i) : "ff02::7:" + std::to_string(i);
    all.insert({*Address::parse(text), loopbackIndex()});
  }
  return all;
}

/// Whether the kernel says that the machine is in the group of IPv4.
bool kernelHas(const Membership& membership) {
  std::ifstream file("/proc/net/igmp");
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const auto& bytes = membership.group.bytes;
  char written[9];
  std::snprintf(written, sizeof(written), "%02X%02X%02X%02X", bytes[3], bytes[2], bytes[1], bytes[0]);
  return text.find(written) != std::string::npos;
}

class MembershipsOf : public testing::TestWithParam<Family> {
 protected:
  void SetUp() override {
    Memberships probe;
    if (probe.set(groups(GetParam(), 1, 250)) != 0) GTEST_SKIP() << "this machine has no such family";
  }
};

INSTANTIATE_TEST_SUITE_P(Families, MembershipsOf, testing::Values(Family::kV4, Family::kV6),
                         [](const auto& row) { return row.param == Family::kV4 ? "V4" : "V6"; });

TEST_P(MembershipsOf, AreAsManyAsWanted) {
  // More than one socket may hold.
  Memberships memberships;
  EXPECT_EQ(memberships.set(groups(GetParam(), 65)), 0u);
  EXPECT_EQ(memberships.held(), 65u);
}

TEST_P(MembershipsOf, FollowWhatIsWanted) {
  Memberships memberships;
  EXPECT_EQ(memberships.set(groups(GetParam(), 45)), 0u);
  EXPECT_EQ(memberships.set(groups(GetParam(), 45, 30)), 0u);
  EXPECT_EQ(memberships.held(), 45u);
  EXPECT_EQ(memberships.set({}), 0u);
  EXPECT_EQ(memberships.held(), 0u);
  EXPECT_EQ(memberships.set(groups(GetParam(), 45)), 0u);
  EXPECT_EQ(memberships.held(), 45u);
}

TEST_P(MembershipsOf, CanBeWantedAgain) {
  Memberships memberships;
  EXPECT_EQ(memberships.set(groups(GetParam(), 3)), 0u);
  EXPECT_EQ(memberships.set(groups(GetParam(), 3)), 0u);
  EXPECT_EQ(memberships.held(), 3u);
}

TEST_P(MembershipsOf, AreMissingOnAnInterfaceThatIsNotThere) {
  auto wanted = groups(GetParam(), 2);
  wanted.insert({wanted.begin()->group, 1'000'000});
  Memberships memberships;
  EXPECT_EQ(memberships.set(wanted), 1u);
  EXPECT_EQ(memberships.held(), 2u);
  EXPECT_EQ(memberships.set(wanted), 1u);
}

TEST(Memberships, AreRealAndEndWithTheirKeeper) {
  const auto wanted = groups(Family::kV4, 21, 100);
  {
    Memberships memberships;
    ASSERT_EQ(memberships.set(wanted), 0u);
    for (const auto& membership : wanted)
      EXPECT_TRUE(kernelHas(membership)) << membership.group.text();
    memberships.set({*wanted.begin()});
    EXPECT_TRUE(kernelHas(*wanted.begin()));
    EXPECT_FALSE(kernelHas(*wanted.rbegin()));
  }
  EXPECT_FALSE(kernelHas(*wanted.begin()));
}

TEST(Memberships, OfBothFamiliesAreKeptTogether) {
  auto wanted = groups(Family::kV4, 25);
  wanted.merge(groups(Family::kV6, 25));
  Memberships memberships;
  const std::size_t missing = memberships.set(wanted);
  if (missing == 25) GTEST_SKIP() << "this machine has one family only";
  EXPECT_EQ(missing, 0u);
  EXPECT_EQ(memberships.held(), 50u);
}

TEST(Memberships, RefuseWhatIsNoGroup) {
  Memberships memberships;
  EXPECT_EQ(memberships.set({{*Address::parse("10.0.0.1"), loopbackIndex()}}), 1u);
  EXPECT_EQ(memberships.held(), 0u);
}

}  // namespace
}  // namespace slp::net
