#include <string>

#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/Output.h"

namespace cli {
namespace {

TEST(ServerTable, ShowsARowForEachServer) {
  const json::Object one = parsed(R"({"properties": {"displayId": "one", "isPivot": true, "build": "008.0.1",
    "nics": [{"ipV4": "10.0.0.1", "ipV6": "fd00::1"}], "health": {"state": "ok"}}})");
  const json::Object two = parsed(R"({"properties": {"displayId": "10.0.0.2", "isManual": true,
    "agents": {"id": 31, "name": "KVT Server"}}})");
  EXPECT_EQ(serverTable({one, two}),
            "ID        ADDRESSES          BUILD    HEALTH  HOW\n"
            "one       10.0.0.1, fd00::1  008.0.1  ok      this server\n"
            "10.0.0.2  -                  -        -       manual\n");
}

TEST(ServerTable, OfNothingHasItsHeadings) {
  EXPECT_EQ(serverTable({}), "ID  ADDRESSES  BUILD  HEALTH  HOW\n");
}

TEST(FoundTable, DoesNotSayHowTheServerIsListed) {
  EXPECT_EQ(foundTable(parsed(R"({"properties": {"displayId": "two", "build": "008", "isManual": true}})")),
            "ID   ADDRESSES  BUILD  HEALTH\ntwo  -          008    -\n");
}

TEST(ServerTable, LetsNoPeerDrawOnTheTerminal) {
  const json::Object record =
      parsed(R"({"properties": {"displayId": "\u001b]0;owned\u0007\nself", "build": "\u009b2J"}})");
  const std::string table = serverTable({record});
  EXPECT_EQ(table.find('\x1b'), std::string::npos);
  EXPECT_EQ(table.find("\xC2\x9B"), std::string::npos);
  EXPECT_NE(table.find("\\u001b]0;owned\\u0007\\u000aself"), std::string::npos) << table;
}

TEST(ServerSheet, ShowsAServerLineByLine) {
  EXPECT_EQ(serverSheet(parsed(R"({"properties": {"displayId": "one", "build": "008.0.1", "isPivot": true,
    "agents": [{"listen": [{"address": "10.0.0.1", "port": 8443, "scheme": "http"}]}],
    "os": {"name": "Debian", "version": "12", "network": {"nics": [
      {"name": "eth0", "mac": "02:00:00:00:00:01", "ipV4": "10.0.0.1", "ipV6": ""}]}},
    "health": {"state": "ok"}}})")),
            "ID         one\n"
            "BUILD      008.0.1\n"
            "HEALTH     ok\n"
            "SYSTEM     Debian 12\n"
            "LISTENS    http://10.0.0.1:8443\n"
            "INTERFACE  eth0  10.0.0.1  02:00:00:00:00:01\n");
}

TEST(JsonText, ReadsBackToTheRecords) {
  const json::Object record = parsed(R"-({"properties": {"displayId": "\u001b\u009b (!)"}})-");
  EXPECT_EQ(parsed(jsonText(record)), record);
  const std::string list = jsonText(std::vector<json::Object>{record, record});
  EXPECT_EQ(list.back(), '\n');
  json::Array readBack;
  json::Reader::Read(readBack, list);
  EXPECT_EQ(readBack.Size(), 2u);
}

}  // namespace
}  // namespace cli
