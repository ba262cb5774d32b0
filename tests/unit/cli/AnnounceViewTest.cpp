#include <chrono>
#include <limits>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/AnnounceView.h"

namespace cli {
namespace {

using heartbeat::AnnounceRecord;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kStart = "2009-02-13T23:31:30.007Z  10.0.0.2         ";

AnnounceDatagram datagramOf(std::size_t size) {
  AnnounceDatagram datagram;
  datagram.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1'234'567'890'007));
  datagram.source = "10.0.0.2";
  datagram.size = size;
  return datagram;
}

AnnounceDatagram datagramOf(AnnounceRecord record) {
  AnnounceDatagram datagram = datagramOf(heartbeat::kAnnounceRecordSize);
  datagram.record = std::move(record);
  return datagram;
}

AnnounceRecord registration(std::string_view attributes) {
  AnnounceRecord record;
  record.kind = AnnounceRecord::kRegister;
  record.address = "10.0.0.9";
  record.url = "service:x-mgmt.quorvel:kvt://10.0.0.9:8443";
  record.attributes = attributes;
  record.lifetime = 65535;
  return record;
}

AnnounceRecord recordOf(std::int32_t kind) {
  AnnounceRecord record;
  record.kind = static_cast<AnnounceRecord::Kind>(kind);
  return record;
}

/// The last column.
std::string identifierOf(const std::string& attributes) {
  const std::string line = announceLine(datagramOf(registration(attributes)));
  const std::size_t begin = line.rfind("65535     ") + 10;
  return line.substr(begin, line.size() - begin - 1);
}

TEST(AnnounceTitle, StandsAboveTheColumns) {
  const std::string title = announceTitle();
  const std::string line = announceLine(datagramOf(registration("(server={!properties!:{!displayId!:!one!}})")));
  const std::pair<const char*, const char*> columns[] = {
      {"TIME", "2009-"},    {"FROM", "10.0.0.2"},  {"KIND", "register"}, {"ADDRESS", "10.0.0.9 "},
      {"URL", "service:x"}, {"LIFETIME", "65535"}, {"ID\n", "one\n"},
  };
  for (const auto& [heading, text] : columns)
    EXPECT_EQ(title.find(heading), line.find(text)) << heading;
}

TEST(AnnounceLine, HoldsAllThereIsToKnowOfARegistration) {
  EXPECT_EQ(
      announceLine(datagramOf(registration("(ip=10.0.0.9))(server={!gid!:!0!,!properties!:{!displayId!:!one!}})"))),
      std::string(kStart) +
          "register    10.0.0.9         service:x-mgmt.quorvel:kvt://10.0.0.9:8443         65535     one\n");
}

TEST(AnnounceLine, HasADashForWhatIsMissing) {
  EXPECT_EQ(announceLine(datagramOf(recordOf(-1))),
            std::string(kStart) +
                "join        -                -                                                  0         -\n");
}

TEST(AnnounceLine, NamesEveryKind) {
  constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
  const std::pair<std::int32_t, const char*> rows[] = {
      {-1, "join  "},     {0, "register  "},   {1, "deregister  "},
      {2, "unknown 2  "}, {-2, "unknown -2 "}, {kLowest, "unknown -2147483648  "},
  };
  for (const auto& [kind, words] : rows)
    EXPECT_THAT(announceLine(datagramOf(recordOf(kind))), HasSubstr(kStart + std::string(words))) << kind;
}

TEST(AnnounceLine, SaysWhenADatagramIsNoRecord) {
  EXPECT_EQ(announceLine(datagramOf(12)), std::string(kStart) + "not a record, 12 bytes\n");
  EXPECT_EQ(announceLine(datagramOf(0)), std::string(kStart) + "not a record, 0 bytes\n");
}

TEST(AnnounceLine, TellsDetailsThatAreCutFromThoseWithoutAnIdentifier) {
  EXPECT_EQ(identifierOf(""), "-");
  EXPECT_EQ(identifierOf("(ip=10.0.0.9)"), "-");
  EXPECT_EQ(identifierOf("(server={})"), "-");
  EXPECT_EQ(identifierOf("(server={!properties!:{!displayId!:7}})"), "-");
  EXPECT_EQ(identifierOf("(server={!properties!:{!displayId!:!cut!}})"), "cut") << "a server's name";
  EXPECT_EQ(identifierOf("(server={!properties!:{!displayId!:!one!}}"), "one") << "but for the bracket it is whole";
}

TEST(AnnounceLine, TellsDetailsThatAreCutFromThoseThatAreNoDocument) {
  const auto details = [](std::size_t length) { return identifierOf("(server=" + std::string(length - 8, '[')); };
  EXPECT_EQ(details(1'534), "(unreadable)");
  EXPECT_EQ(details(1'535), "(cut)");
  EXPECT_EQ(details(1'540), "(cut)");
  EXPECT_EQ(identifierOf("(server=)"), "(unreadable)");
  EXPECT_EQ(identifierOf("(ip=10.0.0.9))(server={!properties!:{!displayId!:!one!,!os!:"), "(unreadable)");
}

TEST(AnnounceLine, LetsNobodyDrawOnTheTerminal) {
  AnnounceRecord record = registration("(server={!properties!:{!displayId!:!a\\u001b[2Jb!}})");
  record.address = "1\x1b[2J";
  record.url = "a\nb\xff";
  const std::string line = announceLine(datagramOf(record));
  EXPECT_EQ(line.find('\x1b'), std::string::npos);
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  for (const char* text : {"1\\u001b[2J", "a\\u000ab\xEF\xBF\xBD", "a\\u001b[2Jb"})
    EXPECT_THAT(line, HasSubstr(text));
}

TEST(AnnounceLine, ShortensTextsThatFillTheRecord) {
  AnnounceRecord record = registration("");
  const std::string address(1636, 'a');
  const std::string url(1604, 'u');
  record.address = address;
  record.url = url;
  EXPECT_LT(announceLine(datagramOf(record)).size(), 240u);
}

TEST(AnnounceJson, HoldsAllThereIsToKnowOfARegistration) {
  const std::string text =
      announceJson(datagramOf(registration("(ip=10.0.0.9))(server={!properties!:{!displayId!:!one!}})")));
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  EXPECT_EQ(parsed(text), parsed(R"x({"time":"2009-02-13T23:31:30.007Z","source":"10.0.0.2","kind":"register",
      "address":"10.0.0.9","url":"service:x-mgmt.quorvel:kvt://10.0.0.9:8443","lifetime":65535,"id":"one",
      "isCut":false,"isUnreadable":false,"attributes":"(ip=10.0.0.9))(server={\"properties\":{\"displayId\":\"one\"}})"})x"));
}

TEST(AnnounceJson, SaysWhenDetailsAreCut) {
  for (const std::size_t length : {1'500u, 1'535u}) {
    const std::string attributes = "(server={!" + std::string(length - 10, 'a');
    const json::Object object = parsed(announceJson(datagramOf(registration(attributes))));
    EXPECT_EQ(object["isCut"], json::Boolean(length == 1'535));
    EXPECT_EQ(object["isUnreadable"], json::Boolean(length != 1'535));
    EXPECT_EQ(object["id"], json::String(""));
  }
}

TEST(AnnounceJson, SaysWhenADatagramIsNoRecord) {
  EXPECT_EQ(parsed(announceJson(datagramOf(1641))),
            parsed(R"({"time":"2009-02-13T23:31:30.007Z","source":"10.0.0.2","kind":"not a record","size":1641})"));
}

TEST(AnnounceJson, IsADocumentWhateverTheRecordHolds) {
  AnnounceRecord record = recordOf(77);
  record.address = "\x80\x1b\"\\";
  record.url = "\xE2\x80\xAE\n";
  record.attributes = "!!!\xC3(";
  const std::string text = announceJson(datagramOf(record));
  EXPECT_EQ(parsed(text)["kind"], json::String("unknown 77"));
  EXPECT_EQ(parsed(text)["attributes"], json::String("\"\"\"\xEF\xBF\xBD("));
  EXPECT_THAT(text, Not(HasSubstr("\xE2\x80\xAE")));
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace cli
