#include "PluginTest.h"
#include "plugins/LocalServerMatch.h"

namespace plugins {
namespace {

struct Case {
  const char* name;
  LocalAddresses addresses;
  std::vector<json::Object> records;
  std::vector<bool> matches;
  bool isFound;
};

std::ostream& operator<<(std::ostream& output, const Case& row) {
  return output << row.name;
}

json::Object twoNics(const std::string& second4, const std::string& second6) {
  return support::parsed(R"({"properties":{"os":{"network":{"nics":[{"ipV4":"10.0.0.7","ipV6":"2001:db8::7"},)"
                         R"({"ipV4":")" +
                         second4 + R"(","ipV6":")" + second6 + R"("}]}}}})");
}

class LocalServerMatchTable : public testing::TestWithParam<Case> {};

TEST_P(LocalServerMatchTable, FindsTheLocalServer) {
  const Case& row = GetParam();
  LocalServerMatch match(row.addresses);
  std::vector<bool> matches;
  for (const json::Object& record : row.records)
    matches.push_back(match.matches(record));
  EXPECT_EQ(matches, row.matches);
  EXPECT_EQ(match.isLocalServerFound(), row.isFound);
}

const json::Object kHost = serverRecord("a", "10.0.0.1", "2001:db8::1");
const json::Object kOther = serverRecord("b", "10.0.0.2", "2001:db8::2");
const json::Object kEmpty;

// Each: the machine's address, whether it lists its addresses, the local server's address, the addresses of its NAT.
INSTANTIATE_TEST_SUITE_P(
    All, LocalServerMatchTable,
    testing::Values(
        Case{"AnIPv4AddressOfAnInterface", {"", true, "10.0.0.2", ""}, {kHost, kOther}, {false, true}, true},
        Case{"AnIPv4AddressOfTheSecondInterface", {"", true, "10.0.0.8", ""}, {twoNics("10.0.0.8", "")}, {true}, true},
        Case{"AnIPv6AddressOfAnInterface", {"", true, "2001:db8::2", ""}, {kHost, kOther}, {false, true}, true},
        Case{"AnIPv6AddressOfTheSecondInterface",
             {"", true, "2001:db8::8", ""},
             {twoNics("", "2001:db8::8")},
             {true},
             true},
        Case{"BothOfTwoWithTheIPv4Address", {"", true, "10.0.0.1", ""}, {kHost, kHost}, {true, true}, true},
        Case{"OnlyTheFirstOfTwoWithTheIPv6Address", {"", true, "2001:db8::1", ""}, {kHost, kHost}, {true, false}, true},
        Case{"TheMachinesAddressWhenNothingElseIsKnown",
             {"10.0.0.1", true, "", ""},
             {kOther, kHost},
             {false, true},
             true},
        Case{
            "OnlyTheFirstOfTwoWithTheMachinesAddress", {"10.0.0.1", true, "", ""}, {kHost, kHost}, {true, false}, true},
        Case{"TheMachinesAddressOnlyOfTheFirstInterface",
             {"10.0.0.8", true, "", ""},
             {twoNics("10.0.0.8", "")},
             {false},
             false},
        Case{"NoFallBackOnceTheLocalServerIsFound",
             {"10.0.0.1", true, "10.0.0.2", ""},
             {kOther, kHost},
             {true, false},
             true},
        Case{"TheFallBackBeforeTheLocalServerIsFound",
             {"10.0.0.1", true, "10.0.0.2", ""},
             {kHost, kOther},
             {true, true},
             true},
        Case{"AnAddressOfTheNatThatNoOtherAddressEquals",
             {"10.0.0.9", true, "10.0.0.9", "203.0.113.1,10.0.0.2,203.0.113.2"},
             {kHost, kOther},
             {false, true},
             true},
        Case{"TheNatAddressOnlyOfTheFirstInterface",
             {"", true, "", "10.0.0.8"},
             {twoNics("10.0.0.8", "")},
             {false},
             false},
        Case{"NoFallBackBehindANat", {"10.0.0.1", true, "", "203.0.113.1"}, {kHost}, {false}, false},
        Case{"BothOfTwoWithTheNatAddress", {"", true, "", "10.0.0.1"}, {kHost, kHost}, {true, true}, true},
        Case{"AnInterfaceBehindANat", {"", true, "2001:db8::1", "203.0.113.1"}, {kHost}, {true}, true},
        Case{"PiecesOfTheNatAsTheyStand", {"", true, "", "10.0.0.2, 10.0.0.1"}, {kHost, kOther}, {false, true}, true},
        Case{"TheMachinesAddressOfAMachineThatListsNone",
             {"10.0.0.1", false, "10.0.0.2", ""},
             {kHost, kOther, kHost},
             {true, false, true},
             true},
        Case{"TheMachinesAddressBehindANatWhichProvesNothing",
             {"10.0.0.1", false, "", "203.0.113.1"},
             {kHost},
             {true},
             false},
        Case{"NothingInAnEmptyList", {"10.0.0.1", true, "10.0.0.1", "10.0.0.1"}, {}, {}, false}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    EmptyTextsNeverMatch, LocalServerMatchTable,
    testing::Values(
        Case{"ARecordOfNothing", {"10.0.0.1", true, "10.0.0.1", "10.0.0.1"}, {kEmpty}, {false}, false},
        Case{"NothingKnownAndARecordOfNothing", {"", true, "", ""}, {kEmpty}, {false}, false},
        Case{"NothingListedAndARecordOfNothing", {"", false, "", ""}, {kEmpty}, {false}, false},
        Case{"NothingKnownAndEmptyAddresses", {"", true, "", ""}, {serverRecord("a", "", "")}, {false}, false},
        Case{"EmptyPiecesOfTheNat", {"", true, "", ",,203.0.113.1,"}, {serverRecord("a", "", "")}, {false}, false},
        Case{"AnInterfaceWithoutIPv6", {"", true, "", ""}, {serverRecord("a", "10.0.0.1")}, {false}, false}),
    [](const auto& row) { return row.param.name; });

TEST(LocalServerMatch, SurvivesRecordsOfEveryShape) {
  const char* const shapes[] = {
      R"({})",
      R"({"properties":1})",
      R"({"properties":{"os":[]}})",
      R"({"properties":{"os":{"network":"10.0.0.1"}}})",
      R"({"properties":{"os":{"network":{"nics":{"ipV4":"10.0.0.1"}}}}})",
      R"({"properties":{"os":{"network":{"nics":[]}}}})",
      R"({"properties":{"os":{"network":{"nics":["10.0.0.1"]}}}})",
      R"({"properties":{"os":{"network":{"nics":[{"ipV4":["10.0.0.1"]},null,7]}}}})",
  };
  for (const char* const shape : shapes) {
    const json::Object record = support::parsed(shape);
    LocalServerMatch match({"10.0.0.1", true, "10.0.0.1", "10.0.0.1"});
    EXPECT_FALSE(match.matches(record)) << shape;
    EXPECT_EQ(support::written(record), shape) << "reading must leave no trace";
  }
}

}  // namespace
}  // namespace plugins
