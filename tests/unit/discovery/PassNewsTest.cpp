#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/PassNews.h"
#include "support/FakeObserver.h"

namespace {

discovery::HostTable::Map servers(const std::vector<std::string>& addresses) {
  discovery::HostTable::Map map;
  for (const std::string& address : addresses)
    map.emplace(address, json::Object());
  return map;
}

std::vector<std::string> gone(const std::vector<std::string>& before, const std::vector<std::string>& after) {
  const support::FakeObserver observer;
  discovery::tellOfPass(servers(before), servers(after));
  EXPECT_EQ(observer.changes(), 1);
  std::vector<std::string> addresses;
  for (const auto& sighting : observer.wholeSightings()) {
    EXPECT_EQ(sighting.outcome, utils::Sighting::Outcome::kLeft);
    addresses.push_back(sighting.address);
  }
  return addresses;
}

using Addresses = std::vector<std::string>;

TEST(PassNews, NamesThoseThatAreNoLongerListed) {
  EXPECT_EQ(gone({"a", "c", "e"}, {"b", "c", "d"}), (Addresses{"a", "e"}));
  EXPECT_EQ(gone({"a", "b"}, {}), (Addresses{"a", "b"}));
}

TEST(PassNews, NamesNobodyWhoStaysOrComes) {
  EXPECT_EQ(gone({}, {}), Addresses{});
  EXPECT_EQ(gone({}, {"a"}), Addresses{});
  EXPECT_EQ(gone({"b"}, {"a", "b", "c"}), Addresses{});
}

}  // namespace
