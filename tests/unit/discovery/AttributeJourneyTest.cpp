#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "discovery/AttributeList.h"
#include "discovery/RemoteServerDiscoveryJob.h"
#include "framework/constants/JsonConstants.h"
#include "framework/launcher/KVTCrypto.h"
#include "framework/utils/StringHelper.h"
#include "json/lookup.h"
#include "json/writer.h"
#include "support/FakeSlp.h"
#include "unit/discovery/VerificationTest.h"

// What a server tells of itself goes as text without blanks through an attribute list, and through a record that has
// other quotes, and must still verify where it arrives.
namespace {

using Keys = constants::JsonConstants;

struct NameRow {
  const char* name;
  const char* value;
};

class AttributeJourney : public VerificationTest, public testing::WithParamInterface<NameRow> {
 protected:
  AttributeJourney() {
    preferences.set("slp_find_service_strictness", "2");
    peers.answer(kIp, 200, support::parsed(R"({"properties":{"agents":[{"build":"008.1"}]}})"));
  }

  /// With the value wherever people choose names.
  static json::Object details(const std::string& value) {
    json::Object details;
    json::UnknownElement& properties = details[Keys::PROPERTIES];
    properties[Keys::DISPLAY_ID] = json::String(value);
    properties[Keys::LAST_UPDATED_COUNTER] = json::Number(3);
    properties[Keys::OS][Keys::NAME] = json::String(value);
    properties[Keys::OS][Keys::NETWORK][Keys::NICS][0u][Keys::NAME] = json::String(value);
    properties[Keys::OS][Keys::NETWORK][Keys::NICS][0u][Keys::IP_V4] = json::String(kIp);
    properties["of " + value] = json::String("a member's name");
    return details;
  }

  /// What its server registers: the details with their digest, as text, without blanks and TABs.
  static std::string registered(const std::string& value) {
    json::Object record = details(value);
    record[Keys::GID] = json::String(launcher::KVTCrypto::get_instance()->jsonObj_to_hashstr(details(value)));
    std::string text;
    json::Writer::Write(record, text);
    std::erase_if(text, [](char c) { return c == ' ' || c == '\t'; });
    return discovery::makeAttributeList(kIp, text);
  }

  void expectAccepted(const discovery::AttributeList& list) {
    EXPECT_EQ(list.address, kIp);
    inventory.addDiscoveredHost(list.address, list.server, list.isVmware);
    EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost: success verification for  strServerIp:10.0.0.9"))
        << list.server;
    // The names, too, but for the blanks, which the text lost; a TAB in it is an escape and stays.
    std::string expected = GetParam().value;
    std::erase(expected, ' ');
    EXPECT_EQ(json::textAt(filed(), {Keys::PROPERTIES, Keys::OS, Keys::NAME}), expected);
  }
};

TEST_P(AttributeJourney, EndsWithAServerThatVerifies) {
  expectAccepted(discovery::parseAttributeList(registered(GetParam().value), "host"));
}

TEST_P(AttributeJourney, EndsWellThroughAJob) {
  support::FakeSlp slp;
  slp.setAttributes("service:a://host", registered(GetParam().value));
  discovery::RemoteServerDiscoveryJob("service:a://host").execute();
  EXPECT_TRUE(isFiled());
}

TEST_P(AttributeJourney, EndsWellThroughTheOtherQuotesOfAnAnnouncement) {
  std::string attributes = registered(GetParam().value);
  utils::StringHelper::replace(attributes, "\"", "!");
  EXPECT_EQ(attributes.find('"'), std::string::npos);
  utils::StringHelper::replace(attributes, "!", "\"");
  EXPECT_EQ(attributes, registered(GetParam().value));
  expectAccepted(discovery::parseAttributeList(attributes, std::nullopt));
}

INSTANTIATE_TEST_SUITE_P(
    Names, AttributeJourney,
    testing::Values(NameRow{"Plain", "eth0"}, NameRow{"Blanks", " Debian  GNU/Linux 12 "},
                    NameRow{"Tabs", "Ethernet\tadapter\t"}, NameRow{"Brackets", "Network (tm) (2) )("},
                    NameRow{"AttributeTerms", ")(ip=10.6.6.6))(Namespace=root/qmxmr13"},
                    NameRow{"Quotes", "the \"fast\" one"}, NameRow{"ExclamationMarks", "fast!! \"!\" !"},
                    NameRow{"Backslashes", "a\\ t\\\\ \\\" \\u0021 \\"}, NameRow{"Controls", "a\nb\rc\x01\x7f"},
                    NameRow{"Umlauts", "Büro Größe «é»"}, NameRow{"OtherScripts", "サーバー Ωμέγα Привет"},
                    NameRow{"Pictures", "rack \xF0\x9F\x96\xA5 1"}, NameRow{"WideBlank", "a\xC2\xA0\xE3\x80\x80z"},
                    NameRow{"AllAtOnce", "Ü (\"x\")!\t\\ [y]{z},=;<~*"}, NameRow{"Empty", ""}),
    [](const auto& row) { return row.param.name; });

TEST_F(AttributeJourney, EndsWithARefusalWhenSomethingWasChangedOnTheWay) {
  std::string attributes = registered("eth0");
  utils::StringHelper::replace(attributes, "eth0", "eth1");
  const auto list = discovery::parseAttributeList(attributes, "host");
  inventory.addDiscoveredHost(list.address, list.server, list.isVmware);
  EXPECT_TRUE(isNowhere());
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost: Failed to verify strServerIp:10.0.0.9"));
}

}  // namespace
