#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/launcher/Preferences.h"

namespace {

using launcher::parseMilliseconds;
using launcher::Preferences;
using testing::AllOf;
using testing::HasSubstr;
using testing::Optional;

TEST(Preferences, HaveDefaults) {
  const Preferences preferences;
  EXPECT_EQ(preferences.get_listening_port(), "8443");
  EXPECT_EQ(preferences.get_uri_prefix(), "");
  EXPECT_EQ(preferences.getNATDetails(), "");
  EXPECT_EQ(preferences.get_installation_oem_type(), 0u);
  EXPECT_EQ(preferences.getInstallationType(), 0u);
  EXPECT_EQ(preferences.getIPChangePollingInterval(), 10'000u);
  EXPECT_EQ(preferences.get_slp_find_service_interval(), 30'000u);
  EXPECT_EQ(preferences.get_slp_find_service_strictness(), 1u);
  EXPECT_EQ(preferences.get_max_processing_threads_count(), 16u);
  EXPECT_EQ(preferences.get_enable_multicast(), 1u);
}

TEST(Preferences, AreSetByTheGettersNamesWithoutGet) {
  Preferences preferences;
  const std::pair<const char*, const char*> values[] = {
      {"listening_port", "9443"},          {"uri_prefix", "https://host"},       {"nat_details", "192.0.2.1,192.0.2.2"},
      {"installation_oem_type", "3"},      {"installation_type", "1"},           {"ip_change_polling_interval", "20s"},
      {"slp_find_service_interval", "5m"}, {"slp_find_service_strictness", "2"}, {"max_processing_threads_count", "4"},
      {"enable_multicast", "false"}};
  ASSERT_EQ(std::size(values), Preferences::settings().size());
  for (const auto& [name, value] : values)
    EXPECT_EQ(preferences.set(name, value), std::nullopt) << name;
  EXPECT_EQ(preferences.get_listening_port(), "9443");
  EXPECT_EQ(preferences.get_uri_prefix(), "https://host");
  EXPECT_EQ(preferences.getNATDetails(), "192.0.2.1,192.0.2.2");
  EXPECT_EQ(preferences.get_installation_oem_type(), 3u);
  EXPECT_EQ(preferences.getInstallationType(), 1u);
  EXPECT_EQ(preferences.getIPChangePollingInterval(), 20'000u);
  EXPECT_EQ(preferences.get_slp_find_service_interval(), 300'000u);
  EXPECT_EQ(preferences.get_slp_find_service_strictness(), 2u);
  EXPECT_EQ(preferences.get_max_processing_threads_count(), 4u);
  EXPECT_EQ(preferences.get_enable_multicast(), 0u);
}

TEST(Preferences, RefuseWhatIsOutOfRangeAndKeepTheirValue) {
  Preferences preferences;
  for (const auto& [name, value] :
       std::initializer_list<std::pair<const char*, const char*>>{{"slp_find_service_strictness", "3"},
                                                                  {"slp_find_service_strictness", "-1"},
                                                                  {"slp_find_service_strictness", ""},
                                                                  {"slp_find_service_strictness", "1 "},
                                                                  {"slp_find_service_strictness", "1x"},
                                                                  {"max_processing_threads_count", "0"},
                                                                  {"max_processing_threads_count", "257"},
                                                                  {"listening_port", "65536"},
                                                                  {"listening_port", "https"},
                                                                  {"enable_multicast", "2"},
                                                                  {"enable_multicast", "maybe"},
                                                                  {"ip_change_polling_interval", "0"},
                                                                  {"ip_change_polling_interval", "-5s"},
                                                                  {"ip_change_polling_interval", "8000h"},
                                                                  {"installation_type", "4294967296"},
                                                                  {"uri_prefix", "a\nb"}}) {
    const std::string before = preferences.get(name);
    EXPECT_NE(preferences.set(name, value), std::nullopt) << name << ' ' << value;
    EXPECT_EQ(preferences.get(name), before) << name << ' ' << value;
  }
  EXPECT_NE(preferences.set("uri_prefix", std::string(1025, 'a')), std::nullopt);
}

TEST(Preferences, SayWhatIsWrong) {
  Preferences preferences;
  EXPECT_THAT(preferences.set("slp_find_service_strictness", "7"),
              Optional(AllOf(HasSubstr("slp_find_service_strictness"), HasSubstr("\"7\""), HasSubstr("0 to 2"))));
  EXPECT_THAT(
      preferences.set("ip_change_polling_interval", "soon"),
      Optional(AllOf(HasSubstr("ip_change_polling_interval"), HasSubstr("\"soon\""), HasSubstr("milliseconds"))));
  EXPECT_THAT(preferences.set("strictness", "1"), Optional(HasSubstr("no setting \"strictness\"")));
}

TEST(Preferences, GoBackToTheirDefaults) {
  Preferences preferences;
  EXPECT_EQ(preferences.set("listening_port", "1"), std::nullopt);
  preferences.reset();
  EXPECT_EQ(preferences.get_listening_port(), "8443");
}

TEST(Preferences, KnowNoOtherName) {
  EXPECT_EQ(Preferences().get("nothing"), "");
}

TEST(Preferences, TableHoldsDefaultsThatItWouldTake) {
  Preferences preferences;
  for (const auto& setting : Preferences::settings()) {
    EXPECT_EQ(preferences.set(setting.name, setting.defaultValue), std::nullopt) << setting.name;
    EXPECT_EQ(preferences.get(setting.name), setting.defaultValue) << setting.name;
    EXPECT_FALSE(setting.meaning.empty()) << setting.name;
  }
}

TEST(Preferences, AreOneTableOfTheProcess) {
  EXPECT_EQ(Preferences::get_instance(), Preferences::get_instance());
}

TEST(Preferences, MayBeReadWhileTheyAreSet) {
  Preferences preferences;
  std::thread writer([&] {
    for (int i = 0; i < 200; ++i)
      preferences.set("uri_prefix", std::string(static_cast<std::size_t>(i), 'a'));
  });
  for (int i = 0; i < 200; ++i)
    EXPECT_LT(preferences.get_uri_prefix().size(), 200u);
  writer.join();
}

TEST(ParseMilliseconds, KnowsItsUnits) {
  EXPECT_EQ(parseMilliseconds("1500"), 1500u);
  EXPECT_EQ(parseMilliseconds("1500ms"), 1500u);
  EXPECT_EQ(parseMilliseconds("30s"), 30'000u);
  EXPECT_EQ(parseMilliseconds("5m"), 300'000u);
  EXPECT_EQ(parseMilliseconds("2h"), 7'200'000u);
  EXPECT_EQ(parseMilliseconds("0"), 0u);
  EXPECT_EQ(parseMilliseconds("4294967295"), 4294967295u);
}

TEST(ParseMilliseconds, RefusesTheRest) {
  for (const char* text : {"", "s", "ms", "1.5s", "-1s", "+1", " 1", "1 s", "1d", "1sm", "4294967296", "4294968s",
                           "1194h", "99999999999999999999"}) {
    EXPECT_EQ(parseMilliseconds(text), std::nullopt) << text;
  }
}

TEST(Preferences, KeepTheUriPrefixWithoutATrailingSlash) {
  launcher::Preferences preferences;
  EXPECT_EQ(preferences.set("uri_prefix", "/kvt//"), std::nullopt);
  EXPECT_EQ(preferences.get_uri_prefix(), "/kvt");
  EXPECT_EQ(preferences.set("uri_prefix", "/"), std::nullopt);
  EXPECT_EQ(preferences.get_uri_prefix(), "");
}

}  // namespace
