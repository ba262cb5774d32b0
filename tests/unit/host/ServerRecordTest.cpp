#include <gtest/gtest.h>

#include "host/resources/ServerRecord.h"
#include "json/lookup.h"
#include "support/Requests.h"

namespace {

using host::ServerFacts;

ServerFacts twoNics() {
  return {"server-1.example.com",
          "0.1.7",
          {"Debian GNU/Linux", "12"},
          {{"enp3s0f0", "52:54:00:12:34:56", {"192.168.100.101"}, {"2001:db8:1234:5678:9abc:def0:1234:5678"}},
           {"enp3s0f1", "52:54:00:12:34:57", {"192.168.200.101"}, {"2001:db8:1234:5679:9abc:def0:1234:5678"}}},
          {{"::", 8443, "http"}}};
}

TEST(ServerRecord, HoldsThePropertiesAndNothingElse) {
  const auto record = makeServerRecord(twoNics());
  EXPECT_EQ(support::written(record), R"({"properties":{"displayId":"server-1.example.com","build":"008.0.1",)"
                                      R"("agents":[{"id":31,"name":"KVT Server","build":"008.0.1",)"
                                      R"("listen":[{"address":"::","port":8443,"scheme":"http"}]}],)"
                                      R"("os":{"name":"Debian GNU/Linux","version":"12","network":{"nics":[)"
                                      R"({"name":"enp3s0f0","mac":"52:54:00:12:34:56","ipV4":"192.168.100.101",)"
                                      R"("ipV6":"2001:db8:1234:5678:9abc:def0:1234:5678"},)"
                                      R"({"name":"enp3s0f1","mac":"52:54:00:12:34:57","ipV4":"192.168.200.101",)"
                                      R"("ipV6":"2001:db8:1234:5679:9abc:def0:1234:5678"}]}},)"
                                      R"("health":{"state":"ok"}}})");
}

TEST(ServerRecord, IsShortForTwoInterfaces) {
  auto record = makeServerRecord(twoNics());
  host::setLastCommunicatedIp(record, "2001:db8:1234:5678:9abc:def0:1234:5678");
  EXPECT_LT(support::written(record).size(), 700U);
}

TEST(ServerRecord, PairsTheAddressesOfAnInterface) {
  ServerFacts facts = twoNics();
  facts.interfaces = {{"a", "", {"10.0.0.1", "10.0.0.2"}, {"fd00::1"}}, {"b", "m", {}, {"fd00::2", "fd00::3"}}, {}};
  const auto record = makeServerRecord(facts);
  const auto* nics = json::arrayAt(record, {"properties", "os", "network", "nics"});
  ASSERT_NE(nics, nullptr);
  EXPECT_EQ(support::written(json::objectAt(record, {"properties", "os", "network"})[0]),
            R"({"nics":[{"name":"a","mac":"","ipV4":"10.0.0.1","ipV6":"fd00::1"},)"
            R"({"name":"a","mac":"","ipV4":"10.0.0.2","ipV6":""},)"
            R"({"name":"b","mac":"m","ipV4":"","ipV6":"fd00::2"},)"
            R"({"name":"b","mac":"m","ipV4":"","ipV6":"fd00::3"}]})");
}

TEST(ServerRecord, ListsEveryListener) {
  ServerFacts facts = twoNics();
  facts.endpoints = {{"192.0.2.1", 80, "http"}, {"::1", 81, "http"}};
  const auto record = makeServerRecord(facts);
  const auto& agent = static_cast<const json::Object&>((*json::arrayAt(record, {"properties", "agents"}))[0]);
  EXPECT_EQ(json::arrayAt(agent, {"listen"})->Size(), 2U);
}

TEST(ServerRecord, NotesTheContactedAddressByItsFamily) {
  auto record = makeServerRecord(twoNics());
  host::setLastCommunicatedIp(record, "10.0.0.5");
  const json::Path path = {"properties", "os", "network", "lastCommunicatedIp"};
  EXPECT_EQ(support::written(*json::objectAt(record, path)), R"({"ipV4":"10.0.0.5"})");
  host::setLastCommunicatedIp(record, "fe80::1%eth0");
  EXPECT_EQ(support::written(*json::objectAt(record, path)), R"({"ipV6":"fe80::1%eth0"})");
}

TEST(OsRelease, TakesNameAndVersionOutOfTheFile) {
  const auto release =
      host::parseOsRelease("PRETTY_NAME=\"x\"\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\nID=debian");
  EXPECT_EQ(release.name, "Debian GNU/Linux");
  EXPECT_EQ(release.version, "12");
}

TEST(OsRelease, UnderstandsQuotesAndWhatIsMissing) {
  EXPECT_EQ(host::parseOsRelease("NAME='A B'\n").name, "A B");
  EXPECT_EQ(host::parseOsRelease("NAME=Arch").name, "Arch");
  EXPECT_EQ(host::parseOsRelease("NAME=\"a\\\"b\"\n").name, "a\"b");
  EXPECT_EQ(host::parseOsRelease("NAME=\"").name, "\"");
  EXPECT_EQ(host::parseOsRelease("").name, "Linux");
  EXPECT_EQ(host::parseOsRelease("").version, "");
}

}  // namespace
