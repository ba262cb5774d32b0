#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "slp/config/Properties.h"

namespace slp::config {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

TEST(PropertyTable, NamesEachPropertyOnce) {
  std::set<std::string_view> names;
  for (const auto& property : propertyTable()) {
    EXPECT_TRUE(names.insert(property.name).second) << property.name;
    EXPECT_TRUE(property.name.starts_with("net.slp.")) << property.name;
    EXPECT_FALSE(property.meaning.empty()) << property.name;
    EXPECT_EQ(findProperty(property.name), &property);
  }
  EXPECT_EQ(findProperty("net.slp.unknown"), nullptr);
}

TEST(PropertyTable, HasDefaultsThatCanBeRead) {
  for (const auto& property : propertyTable()) {
    Settings settings;
    EXPECT_EQ(property.read(property.defaultValue, settings), "") << property.name;
    EXPECT_EQ(settings, Settings()) << property.name;
  }
}

TEST(PropertyTable, LetsOnlyTheFileSetThree) {
  std::vector<std::string_view> readOnly;
  for (const auto& property : propertyTable())
    if (property.readOnly) readOnly.push_back(property.name);
  EXPECT_THAT(readOnly, ElementsAre("net.slp.useScopes", "net.slp.DAAddresses", "net.slp.isBroadcastOnly"));
}

TEST(Settings, HaveTheDefaults) {
  const Settings settings;
  EXPECT_EQ(settings.scopes, "DEFAULT");
  EXPECT_THAT(settings.directoryAgents, IsEmpty());
  EXPECT_FALSE(settings.broadcastOnly);
  EXPECT_TRUE(settings.passiveDaDetection);
  EXPECT_EQ(settings.multicastTtl, 255);
  EXPECT_EQ(settings.daActiveDiscoveryInterval, 900s);
  EXPECT_EQ(settings.multicastMaximumWait, 15s);
  EXPECT_THAT(settings.multicastTimeouts, ElementsAre(250ms, 250ms, 250ms, 500ms, 1s, 2s, 4s, 4s));
  EXPECT_THAT(settings.daDiscoveryTimeouts, ElementsAre(500ms, 500ms, 1s, 2s, 4s));
  EXPECT_THAT(settings.datagramTimeouts, ElementsAre(100ms, 150ms, 200ms, 250ms, 300ms, 500ms));
  EXPECT_EQ(settings.randomWaitBound, 1s);
  EXPECT_EQ(settings.mtu, 1400u);
  EXPECT_EQ(settings.maxDatagramMessage(), 1352u);
  EXPECT_THAT(settings.interfaces, IsEmpty());
  EXPECT_EQ(settings.saAttributes, "");
  EXPECT_EQ(settings.locale, "en");
  EXPECT_EQ(settings.maxResults, -1);
  EXPECT_EQ(settings.port, 427);
  EXPECT_TRUE(settings.useIpv4);
  EXPECT_TRUE(settings.useIpv6);
  EXPECT_FALSE(settings.allowRemoteRegistrations);
}

TEST(Settings, AskAPeerWithinTwoSecondsSixTimes) {
  const Settings settings;
  EXPECT_EQ(settings.datagramTimeouts.size(), 6u);
  Milliseconds sum{0};
  for (const auto timeout : settings.datagramTimeouts)
    sum += timeout;
  EXPECT_EQ(sum, 1500ms);
}

struct ValueCase {
  const char* name;
  const char* property;
  const char* value;
  bool good;
};

class PropertyValue : public testing::TestWithParam<ValueCase> {};

TEST_P(PropertyValue, IsTakenOrRefusedWithAReason) {
  const auto* const property = findProperty(GetParam().property);
  ASSERT_NE(property, nullptr);
  Settings settings;
  const auto reason = property->read(GetParam().value, settings);
  EXPECT_EQ(reason.empty(), GetParam().good) << reason;
  if (!GetParam().good) {
    EXPECT_EQ(settings, Settings());
  }
}

const ValueCase kValues[] = {
    {"TtlLeast", "net.slp.multicastTTL", "1", true},
    {"TtlMost", "net.slp.multicastTTL", "255", true},
    {"TtlBelow", "net.slp.multicastTTL", "0", false},
    {"TtlAbove", "net.slp.multicastTTL", "256", false},
    {"NumberEmpty", "net.slp.multicastTTL", "", false},
    {"NumberWithText", "net.slp.multicastTTL", "12x", false},
    {"NumberInHex", "net.slp.multicastTTL", "0x10", false},
    {"NumberWithFraction", "net.slp.multicastTTL", "1.5", false},
    {"NumberBeyondEveryInteger", "net.slp.multicastTTL", "99999999999999999999", false},
    {"MtuLeast", "net.slp.MTU", "576", true},
    {"MtuMost", "net.slp.MTU", "65535", true},
    {"MtuBelow", "net.slp.MTU", "575", false},
    {"MtuAbove", "net.slp.MTU", "65536", false},
    {"MtuNegative", "net.slp.MTU", "-1400", false},
    {"PortLeast", "net.slp.port", "1", true},
    {"PortMost", "net.slp.port", "65535", true},
    {"PortZero", "net.slp.port", "0", false},
    {"PortAbove", "net.slp.port", "65536", false},
    {"NoActiveDiscovery", "net.slp.DAActiveDiscoveryInterval", "0", true},
    {"ActiveDiscoveryAbove", "net.slp.DAActiveDiscoveryInterval", "65536", false},
    {"NoWaitAtAll", "net.slp.multicastMaximumWait", "0", false},
    {"NoRandomWait", "net.slp.randomWaitBound", "0", true},
    {"RandomWaitNegative", "net.slp.randomWaitBound", "-1", false},
    {"AllResults", "net.slp.maxResults", "-1", true},
    {"OneResult", "net.slp.maxResults", "1", true},
    {"MostResults", "net.slp.maxResults", "2147483647", true},
    {"NoResults", "net.slp.maxResults", "0", false},
    {"LessThanNoResults", "net.slp.maxResults", "-2", false},
    {"TooManyResults", "net.slp.maxResults", "2147483648", false},
    {"Flag", "net.slp.useIPv6", "FALSE", true},
    {"FlagAsNumber", "net.slp.useIPv6", "0", false},
    {"FlagEmpty", "net.slp.useIPv6", "", false},
    {"FlagCut", "net.slp.useIPv6", "fals", false},
    {"OneTimeout", "net.slp.multicastTimeouts", "1", true},
    {"NoTimeout", "net.slp.multicastTimeouts", "", false},
    {"OnlyCommas", "net.slp.multicastTimeouts", ",,", false},
    {"TimeoutZero", "net.slp.datagramTimeouts", "100,0", false},
    {"TimeoutAbove", "net.slp.datagramTimeouts", "60001", false},
    {"TimeoutAsText", "net.slp.DADiscoveryTimeouts", "500,soon", false},
    {"Language", "net.slp.locale", "de-AT", true},
    {"LanguageOfOthers", "net.slp.locale", "x-klingon", true},
    {"LanguageWithDigitsBehind", "net.slp.locale", "es-419", true},
    {"LanguageEmpty", "net.slp.locale", "", false},
    {"LanguageWithDigitsFirst", "net.slp.locale", "e1", false},
    {"LanguagePartTooLong", "net.slp.locale", "englishes", false},
    {"LanguagePartEmpty", "net.slp.locale", "en--US", false},
    {"LanguageCut", "net.slp.locale", "en-", false},
    {"LanguageOfManyParts", "net.slp.locale", "a-b-c-d-e", false},
    {"LanguageWithBlank", "net.slp.locale", "en US", false},
    {"Scopes", "net.slp.useScopes", "one, two", true},
    {"ScopeEscaped", "net.slp.useScopes", "a\\2cb", true},
    {"NoScope", "net.slp.useScopes", " , ", false},
    {"ScopeWithParentheses", "net.slp.useScopes", "(one)", false},
    {"ScopeWithCutEscape", "net.slp.useScopes", "a\\2", false},
    {"ScopeWithControlCharacter", "net.slp.useScopes", "a\tb", false},
    {"NoInterfaces", "net.slp.interfaces", "", true},
    {"InterfacesWithBadEscape", "net.slp.interfaces", "a\\zz", false},
    {"AnythingWithoutEffect", "net.slp.isDA", "perhaps", true},
};

INSTANTIATE_TEST_SUITE_P(Values, PropertyValue, testing::ValuesIn(kValues),
                         [](const auto& row) { return row.param.name; });

TEST(PropertyTable, BoundsLists) {
  std::string many = "1";
  for (int i = 0; i < 40; ++i)
    many += ",1";
  Settings settings;
  EXPECT_NE(findProperty("net.slp.multicastTimeouts")->read(many, settings), "");
  for (int i = 0; i < 300; ++i)
    many += ",a";
  EXPECT_NE(findProperty("net.slp.interfaces")->read(many, settings), "");
  EXPECT_NE(findProperty("net.slp.useScopes")->read(many, settings), "");
  EXPECT_EQ(settings, Settings());
}

}  // namespace
}  // namespace slp::config
