#include <string>

#include <gtest/gtest.h>

#include "RegistrationTest.h"
#include "discovery/AttributeList.h"
#include "discovery/RemoteServerDiscovery.h"
#include "discovery/RemoteServerDiscoveryJob.h"
#include "framework/constants/JsonConstants.h"
#include "framework/utils/StringHelper.h"
#include "heartbeat/AnnounceSender.h"
#include "heartbeat/IncomingRecord.h"
#include "unit/discovery/FakePeers.h"

// What a server tells of itself goes as text without blanks through an attribute list, and through a record that has
// other quotes, and must still verify where it arrives.
namespace plugins {
namespace {

using Inventory = RemoteServerDiscovery;
using Keys = constants::JsonConstants;

/// Where the other server sees the one that has registered. Its own inventory is the same, and empty again.
constexpr const char* kPeer = "10.0.0.9";

struct NameRow {
  const char* name;
  const char* value;
};

class RegistrationJourney : public RegistrationTest, public testing::WithParamInterface<NameRow> {
 protected:
  RegistrationJourney() {
    preferences.set("enable_multicast", "1");
    preferences.set("slp_find_service_strictness", "2");
    peers.answer(kPeer, 200, support::parsed(R"({"properties":{"agents":[{"build":"008.1"}]}})"));
  }

  /// With the value wherever people choose names.
  static json::Object details(const std::string& value) {
    json::Object details;
    json::UnknownElement& properties = details[Keys::PROPERTIES];
    properties[Keys::DISPLAY_ID] = json::String(value);
    properties[Keys::OS][Keys::NAME] = json::String(value);
    properties[Keys::OS][Keys::NETWORK][Keys::NICS][0u][Keys::NAME] = json::String(value);
    properties[Keys::OS][Keys::NETWORK][Keys::NICS][0u][Keys::IP_V4] = json::String(kPeer);
    properties["of " + value] = json::String("a member's name");
    return details;
  }

  /// The list that a server of that name registers.
  std::string registered(const std::string& value) {
    setDetails(details(value));
    startUp();
    stopMonitor();
    clearInventory();
    const auto registrations = slp.registrations();
    EXPECT_EQ(registrations.size(), 1u);
    return registrations.empty() ? "" : registrations.front().attributes;
  }
  /// The attributes of the record that the same server announces then.
  std::string announced() const {
    for (const auto& announcement : heartBeat.announcements()) {
      if (announcement.kind == heartbeat::AnnounceRecord::kRegister) return announcement.attributes;
    }
    ADD_FAILURE() << "nothing was announced";
    return "";
  }

  void verify(const discovery::AttributeList& list) {
    log.clear();
    Inventory::getInstance()->addDiscoveredHost(kPeer, list.server, list.isVmware);
  }
  /// The name that came through: without its blanks and TABs.
  static void expectName(const json::Object& record) {
    std::string expected = GetParam().value;
    std::erase_if(expected, [](char c) { return c == ' ' || c == '\t'; });
    EXPECT_EQ(textOrNone(record, {Keys::PROPERTIES, Keys::OS, Keys::NAME}), expected);
  }
  void expectVerified(const std::string& server) const {
    EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost: success verification for  strServerIp:10.0.0.9"))
        << server;
    const auto filed = Inventory::mPartialDiscoveredHosts.find(kPeer);
    ASSERT_TRUE(filed) << server;
    expectName(*filed);
  }

  FakePeers peers;
};

TEST_P(RegistrationJourney, EndsWithAServerThatVerifies) {
  const auto list = discovery::parseAttributeList(registered(GetParam().value), "host");
  EXPECT_EQ(list.address, "10.0.0.1");
  verify(list);
  expectVerified(list.server);
}

TEST_P(RegistrationJourney, EndsWellThroughAJob) {
  std::string list = registered(GetParam().value);
  utils::StringHelper::replace(list, "(ip=10.0.0.1)", "(ip=10.0.0.9)");
  slp.setAttributes("service:a://host", list);
  log.clear();
  discovery::RemoteServerDiscoveryJob("service:a://host").execute();
  expectVerified(list);
}

TEST_P(RegistrationJourney, EndsInTheListOfWhoeverHearsTheAnnouncement) {
  const std::string list = registered(GetParam().value);
  EXPECT_EQ(announced(), list);
  const std::string attributes = heartbeat::announcedAttributes(announced());
  ASSERT_LE(attributes.size(), heartbeat::kMaxAnnounceAttributes);
  const auto bytes =
      heartbeat::encodeAnnounceRecord(heartbeat::makeAnnounceRecord(url("10.0.0.1"), 0, 65535, attributes));
  heartbeat::handleAnnounceRecord(heartbeat::decodeAnnounceRecord(bytes));
  const auto hosts = discovery::DiscoveryMap::getDiscoveredHost();
  ASSERT_EQ(hosts.size(), 1u);
  EXPECT_EQ(hosts.begin()->first, "10.0.0.1");
  EXPECT_EQ(hosts.begin()->second, registeredAttributes());
  expectName(hosts.begin()->second);
  // Nothing that its digest covers was changed on the way.
  discovery::AttributeList heard;
  heard.server = support::written(hosts.begin()->second);
  verify(heard);
  expectVerified(heard.server);
}

INSTANTIATE_TEST_SUITE_P(
    Names, RegistrationJourney,
    testing::Values(NameRow{"Plain", "eth0"}, NameRow{"Blanks", " Debian  GNU/Linux 12 "},
                    NameRow{"Tabs", "Ethernet\tadapter\t"}, NameRow{"Brackets", "Network (tm) (2) )("},
                    NameRow{"AttributeTerms", ")(ip=10.6.6.6))(Namespace=root/qmxmr13"},
                    NameRow{"Quotes", "the \"fast\" one"}, NameRow{"ExclamationMarks", "fast!! \"!\" !"},
                    NameRow{"Backslashes", "a\\ t\\\\ \\\" \\u0021 \\"}, NameRow{"Controls", "a\nb\rc\x01\x7f"},
                    NameRow{"Umlauts", "Büro Größe «é»"}, NameRow{"OtherScripts", "サーバー Ωμέγα Привет"},
                    NameRow{"Pictures", "rack \xF0\x9F\x96\xA5 1"}, NameRow{"WideBlank", "a\xC2\xA0\xE3\x80\x80z"},
                    NameRow{"AllAtOnce", "Ü (\"x\")!\t\\ [y]{z},=;<~*"}, NameRow{"Empty", ""}),
    [](const auto& row) { return row.param.name; });

TEST_F(RegistrationJourney, EndsWithARefusalWhenSomethingWasChangedOnTheWay) {
  std::string list = registered("eth0");
  utils::StringHelper::replace(list, "eth0", "eth1");
  verify(discovery::parseAttributeList(list, "host"));
  EXPECT_FALSE(Inventory::mPartialDiscoveredHosts.find(kPeer));
  EXPECT_TRUE(log.contains("RemoteServerDiscovery:addDiscoveredHost: Failed to verify strServerIp:10.0.0.9"));
}

}  // namespace
}  // namespace plugins
