#include "PluginTest.h"
#include "plugins/ServerRecord.h"

namespace plugins {
namespace {

json::Object reachedAt(const std::string& family, const std::string& address) {
  return support::parsed(R"({"properties":{"os":{"network":{"lastCommunicatedIp":{")" + family + R"(":")" + address +
                         R"("}}}}})");
}

TEST(ServerRecord, ReadsTheAddressAtWhichTheServerWasReached) {
  EXPECT_EQ(lastCommunicatedIpOf(reachedAt("ipV4", "10.0.0.5")), "10.0.0.5");
  EXPECT_EQ(lastCommunicatedIpOf(reachedAt("ipV6", "2001:db8::5")), "2001:db8::5");
  EXPECT_EQ(lastCommunicatedIpOf({}), "");
  EXPECT_EQ(lastCommunicatedIpOf(support::parsed(R"({"properties":{"os":{"network":{"lastCommunicatedIp":"x"}}}})")),
            "");
}

TEST(ServerRecord, ReadsTheDisplayIdentifier) {
  EXPECT_EQ(displayIdOf(serverRecord("alpha", "10.0.0.5")), "alpha");
  EXPECT_EQ(displayIdOf({}), "");
  EXPECT_EQ(displayIdOf(support::parsed(R"({"properties":{"displayId":5}})")), "");
}

TEST(ServerRecord, ListsAServerUnderTheAddressThatItWasSearchedBy) {
  const support::FakeSystem system;
  EXPECT_EQ(listedAddress("10.0.0.5", reachedAt("ipV4", "10.0.0.6")), "10.0.0.5");
  EXPECT_EQ(listedAddress("2001:db8::5", reachedAt("ipV4", "10.0.0.6")), "2001:db8::5");
}

TEST(ServerRecord, ListsAServerThatWasSearchedByNameUnderItsAddress) {
  const support::FakeSystem system;
  EXPECT_EQ(listedAddress("alpha", reachedAt("ipV4", "10.0.0.6")), "10.0.0.6");
  EXPECT_EQ(listedAddress("alpha", reachedAt("ipV6", "2001:db8::6")), "2001:db8::6");
}

TEST(ServerRecord, ListsAServerOfNoKnownAddressUnderItsKey) {
  const support::FakeSystem system;
  EXPECT_EQ(listedAddress("alpha", {}), "alpha");
  EXPECT_EQ(listedAddress("alpha", reachedAt("ipV4", "../../etc")), "alpha") << "a record may say anything";
}

struct Mark {
  const char* ip;
  const char* family;
};

TEST(ServerRecord, MarksTheLocalServerWithItsAddressUnderItsFamily) {
  const support::FakeSystem system;
  for (const Mark& row :
       {Mark{"10.0.0.1", "ipV4"}, Mark{"2001:db8::1", "ipV6"}, Mark{"alpha", "ipV4"}, Mark{"", "ipV4"}}) {
    json::UnknownElement record = serverRecord("local", "10.0.0.1");
    markAsLocal(record, row.ip);
    const json::Object& marked = std::as_const(record);
    EXPECT_TRUE(json::flagAt(marked, {"properties", "isPivot"})) << row.ip;
    const json::Object* const addresses = json::objectAt(marked, {"properties", "os", "network", "lastCommunicatedIp"});
    ASSERT_NE(addresses, nullptr) << row.ip;
    EXPECT_EQ(addresses->Size(), 1u) << row.ip;
    EXPECT_EQ(textOrNone(*addresses, {row.family}), row.ip);
  }
}

TEST(ServerRecord, MarksWhateverShapeTheRecordHas) {
  const support::FakeSystem system;
  for (const char* const shape : {R"({})", R"({"properties":5})", R"({"properties":{"os":"x","isPivot":"no"}})",
                                  R"({"properties":{"os":{"network":{"lastCommunicatedIp":"10.0.0.9"}}}})"}) {
    json::UnknownElement record = support::parsed(shape);
    markAsLocal(record, "10.0.0.1");
    const json::Object& marked = std::as_const(record);
    EXPECT_TRUE(json::flagAt(marked, {"properties", "isPivot"})) << shape;
    EXPECT_EQ(json::textAt(marked, {"properties", "os", "network", "lastCommunicatedIp", "ipV4"}), "10.0.0.1") << shape;
  }
}

}  // namespace
}  // namespace plugins
