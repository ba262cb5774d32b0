#include <gtest/gtest.h>

#include "framework/utils/Conversion.h"
#include "support/PreferencesGuard.h"

namespace {

using utils::Conversion;

TEST(TrimPrefixURI, TakesTheHostsPrefixAway) {
  support::PreferencesGuard preferences;
  preferences.set("uri_prefix", "https://host:8443");
  EXPECT_EQ(Conversion::trimPrefixURI("https://host:8443/1.0/servers/a"), "/1.0/servers/a");
  EXPECT_EQ(Conversion::trimPrefixURI("https://host:8443"), "");
}

TEST(TrimPrefixURI, LeavesOtherUrisAsTheyAre) {
  support::PreferencesGuard preferences;
  preferences.set("uri_prefix", "/kvt");
  EXPECT_EQ(Conversion::trimPrefixURI("/1.0/servers/a"), "/1.0/servers/a");
  EXPECT_EQ(Conversion::trimPrefixURI("/kvtx/1.0"), "/kvtx/1.0");
  EXPECT_EQ(Conversion::trimPrefixURI("/1.0/kvt/1.0"), "/1.0/kvt/1.0");
  EXPECT_EQ(Conversion::trimPrefixURI(""), "");
}

TEST(TrimPrefixURI, DoesNothingWithoutAPrefix) {
  const support::PreferencesGuard preferences;
  EXPECT_EQ(Conversion::trimPrefixURI("/1.0/servers/a"), "/1.0/servers/a");
}

}  // namespace
