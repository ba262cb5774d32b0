#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "discovery/AttributeList.h"
#include "support/AttributeLists.h"

namespace {

using discovery::AttributeList;

constexpr const char* kPeer = "10.0.0.9";

struct ListRow {
  const char* name;
  const char* text;
  const char* address;
  const char* server;
  bool isVmware = false;
};

class AttributeLists : public testing::TestWithParam<ListRow> {
 protected:
  static void expect(const std::optional<std::string_view>& peerHost) {
    const AttributeList list = discovery::parseAttributeList(GetParam().text, peerHost);
    EXPECT_EQ(list.address, GetParam().address);
    EXPECT_EQ(list.server, GetParam().server);
    EXPECT_EQ(list.isVmware, GetParam().isVmware);
  }
};

/// Read for a service URL with the host 10.0.0.9.
class AttributeListOfAService : public AttributeLists {};

TEST_P(AttributeListOfAService, IsReadAs) {
  expect(kPeer);
}

INSTANTIATE_TEST_SUITE_P(
    Terms, AttributeListOfAService,
    testing::Values(ListRow{"OurOwn", "(ip=10.1.1.2))(server=S1)", "10.1.1.2", "S1"},
                    ListRow{"Standard", "(ip=10.1.1.2),(server=S1)", "10.1.1.2", "S1"},
                    ListRow{"StandardWithBlanksIsNotOurs", "(ip=10.1.1.2), (server=S1)", "10.1.1.2", ""},
                    ListRow{"OtherOrder", "(server=S1))(ip=10.1.1.2)", "10.1.1.2", "S1"},
                    ListRow{"Document", R"x((ip=10.1.1.2))(server={"a":[1,{"b":"c"}],"d":"\u0028\u0029\u0021"}))x",
                            "10.1.1.2", R"x({"a":[1,{"b":"c"}],"d":"\u0028\u0029\u0021"})x"},
                    ListRow{"ValueWithOpeningBracket", "(ip=10.1.1.2))(server=S(1)", "10.1.1.2", "S(1"},
                    ListRow{"ValueWithClosingBracketEndsThere", "(ip=10.1.1.2))(server=S)1)", "10.1.1.2", "S"},
                    ListRow{"ValueWithEqualsSigns", "(server=a=b=c)", "", "a=b=c"},
                    ListRow{"ValueWithComma", "(ip=1,2),(server=S,(T)", "1,2", "S,(T"},
                    ListRow{"IPv6", "(ip=fd00::9))(server=S1)", "fd00::9", "S1"}, ListRow{"Empty", "", "", ""},
                    ListRow{"OnlyBrackets", "()(()))((", "", ""}, ListRow{"EmptyValues", "(ip=))(server=)", "", ""},
                    ListRow{"Unknown", "(colour=red),(size=12),speed", "", ""},
                    ListRow{"UnknownAroundKnown", "(a=1))(ip=10.1.1.2))(b=2),(server=S1),(c=3)", "10.1.1.2", "S1"},
                    ListRow{"WithoutBrackets", "ip=10.1.1.2)server=S1", "10.1.1.2", "S1"},
                    ListRow{"Unclosed", "(ip=10.1.1.2))(server=S1", "10.1.1.2", "S1"},
                    ListRow{"OneBracketOnlyIsDropped", "((ip=10.1.1.2)", "", ""},
                    ListRow{"BracketThenCommaAndBracketAreDropped", "(,(ip=10.1.1.2)", "10.1.1.2", ""},
                    ListRow{"CommaWithoutBracketIsNotDropped", ",ip=10.1.1.2)", "", ""},
                    ListRow{"KeysAreCaseSensitive", "(IP=10.1.1.2))(Server=S1),(namespace=root/qmxmr13)", "", ""},
                    ListRow{"KeyMustBeginTheTerm", "(zip=10.1.1.2),(my-server=S1)", "", ""},
                    ListRow{"RepeatedAddress", "(ip=10.1.1.2))(ip=10.1.1.3)", "10.1.1.3", ""},
                    ListRow{"RepeatedServer", "(server=S1))(server=S2)", "", "S2"},
                    ListRow{"LaterEmptyValueHolds", "(ip=10.1.1.2))(ip=)", "", ""}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Vmware, AttributeListOfAService,
    testing::Values(ListRow{"RootThirteen", "(Namespace=root/qmxmr13)", kPeer, "", true},
                    ListRow{"QmxThirteen", "(Namespace=qmx/qmxmr13)", kPeer, "", true},
                    ListRow{"RootTwelve", "(Namespace=root/qmxmr12)", kPeer, "", true},
                    ListRow{"QmxTwelve", "(Namespace=qmx/qmxmr12)", kPeer, "", true},
                    ListRow{"AnyCase", "(Namespace=ROOT/QmxMR13)", kPeer, "", true},
                    ListRow{"AmongOthers", "(Namespace=root/interop,root/QMXMR12,root/cimv2)", kPeer, "", true},
                    ListRow{"OtherNamespaces",
                            "(Namespace=root/cimv2,root/qmxmr1,qmx/qmxmr1,root/qmxmr14,qmx/qmxmr11,qmxmr13)", "", ""},
                    ListRow{"NamespaceOfOtherKey", "(InteropNamespace=root/qmxmr13)", "", ""},
                    ListRow{"SecondNamespaceTerm", "(Namespace=root/cimv2),(Namespace=root/qmxmr13)", kPeer, "", true},
                    ListRow{"MarkStays", "(Namespace=root/qmxmr13),(Namespace=root/cimv2)", kPeer, "", true},
                    ListRow{"ReplacesTheAddress", "(ip=10.1.1.2),(Namespace=root/qmxmr13)", kPeer, "", true},
                    ListRow{"IsReplacedByALaterAddress", "(Namespace=root/qmxmr13),(ip=10.1.1.2)", "10.1.1.2", "",
                            true},
                    ListRow{"WithServer", "(Namespace=root/qmxmr13),(server=S1)", kPeer, "S1", true}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Template, AttributeListOfAService,
    testing::Values(ListRow{"NamesTheHost", "(template-url-syntax=https://10.0.0.9:5989)", kPeer, ""},
                    ListRow{"NamesAnother", "(template-url-syntax=https://10.0.0.8:5989)", "", ""},
                    ListRow{"NamingAnotherLeavesTheAddress", "(ip=10.1.1.2),(template-url-syntax=https://10.0.0.8)",
                            "10.1.1.2", ""},
                    ListRow{"ReplacesTheAddress", "(ip=10.1.1.2),(template-url-syntax=https://10.0.0.9)", kPeer, ""},
                    ListRow{"OfAWbemService",
                            "(template-type=wbem),(template-url-syntax=https://10.0.0.9:5989),(Namespace=root/cimv2)",
                            kPeer, ""},
                    ListRow{"OfAVmwareHost", "(template-url-syntax=https://10.0.0.9:5989),(Namespace=root/qmxmr13)",
                            kPeer, "", true}),
    [](const auto& row) { return row.param.name; });

/// Read without a service URL, as announcements are.
class AttributeListOfAnAnnouncement : public AttributeLists {};

TEST_P(AttributeListOfAnAnnouncement, IsReadAs) {
  expect(std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AttributeListOfAnAnnouncement,
    testing::Values(ListRow{"OurOwn", "(ip=10.0.0.7))(server=P7)", "10.0.0.7", "P7"},
                    ListRow{"VmwareLeavesTheAddress", "(ip=10.0.0.7),(Namespace=root/qmxmr13)", "10.0.0.7", "", true},
                    ListRow{"VmwareWithoutAddress", "(Namespace=root/qmxmr13)", "", "", true},
                    ListRow{"TemplateEmptiesTheAddress", "(ip=10.0.0.7))(server=P7),(template-url-syntax=x)", "", "P7"},
                    ListRow{"EmptyTemplateDoes", "(ip=10.0.0.7),(template-url-syntax=)", "", ""},
                    ListRow{"AddressAfterTheTemplateHolds", "(template-url-syntax=x),(ip=10.0.0.7)", "10.0.0.7", ""}),
    [](const auto& row) { return row.param.name; });

TEST(AttributeList, OfAServiceWithoutHostTakesEveryNamespaceAndTemplateForAnEmptyAddress) {
  for (const char* term : {"(Namespace=root/qmxmr13)", "(template-url-syntax=x)"})
    EXPECT_EQ(discovery::parseAttributeList(std::string("(ip=10.1.1.2))") + term, "").address, "") << term;
}

TEST(AttributeList, KeepsEveryByteOfAValue) {
  const std::string value("a\0b\x80\xff\n\"!", 8);
  EXPECT_EQ(discovery::parseAttributeList(support::attributeListOf("1", value), kPeer).server, value);
}

TEST(AttributeList, OfOurOwnIsWrittenWithASecondBracketBetweenItsTerms) {
  EXPECT_EQ(support::attributeListOf("10.1.1.2", "S1"), "(ip=10.1.1.2))(server=S1)");
  EXPECT_EQ(support::attributeListOf("", ""), "(ip=))(server=)");
}

TEST(AttributeList, GrowsTermByTerm) {
  std::string attributes;
  discovery::appendAttribute("a=", "1", attributes);
  EXPECT_EQ(attributes, "(a=1)");
  discovery::appendAttribute("b=", "2", attributes);
  EXPECT_EQ(attributes, "(a=1))(b=2)");
  discovery::appendAttribute("c=", "", attributes);
  EXPECT_EQ(attributes, "(a=1))(b=2))(c=)");
  discovery::appendAttribute("", "d", attributes);
  EXPECT_EQ(attributes, "(a=1))(b=2))(c=))(d)");
}

/// `part` as often as it takes to make a text of 1 MiB, 16 times what one reply holds.
std::string manyTimes(std::string_view part) {
  constexpr std::size_t kSize = std::size_t{1} << 20;
  std::string text;
  text.reserve(kSize + part.size());
  while (text.size() < kSize)
    text += part;
  return text;
}

TEST(AttributeList, TakesTimeInProportionToHostileText) {
  // Anything that looks at the text once per byte or term would take hours.
  const auto begin = std::chrono::steady_clock::now();
  for (const char* part : {")", "(", ",(", "))(", "(ip=)", "(server=x))", "(Namespace=)", "(Namespace=root/qmxmr1)",
                           "(template-url-syntax=10.0.0.)", "Namespace=", "root/qmxmr", "10.0.0."}) {
    for (const char* beginning : {"", "(server=", "(Namespace=", "(template-url-syntax="}) {
      const AttributeList list = discovery::parseAttributeList(beginning + manyTimes(part), kPeer);
      EXPECT_FALSE(list.isVmware);
      EXPECT_EQ(list.address, "");
    }
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::minutes(1));
}

}  // namespace
