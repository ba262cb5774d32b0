#include <gtest/gtest.h>

#include "discovery/ProvisionalRecord.h"
#include "json/lookup.h"
#include "unit/discovery/InventoryTest.h"

namespace {

class ProvisionalRecord : public InventoryTest {
 protected:
  json::Object formed(const std::string& address) {
    json::Object out;
    inventory.formDummyServerJson(out, address);
    return out;
  }
};

TEST_F(ProvisionalRecord, StandsForAServerKnownByItsAddress) {
  preferences.set("uri_prefix", "https://here:8443");
  EXPECT_EQ(formed("10.0.0.5"), support::parsed(R"({
    "status": {"code": 0, "desc": "Success"},
    "value": {
      "self": {"uri": "https://here:8443/1.0/servers/10.0.0.5", "type": "SYSTEM"},
      "uris": {
        "systemDetail": "https://here:8443/1.0/serverDetail/10.0.0.5",
        "login": "https://here:8443/1.0/servers/10.0.0.5/login",
        "version": "https://here:8443/1.0/servers/10.0.0.5/version",
        "versions": "https://here:8443/1.0/servers/10.0.0.5/versions",
        "users": "https://here:8443/1.0/servers/10.0.0.5/users"},
      "properties": {"displayId": "10.0.0.5", "isPivot": false, "agents": {"id": 31, "name": "KVT Server"}}}})"));
}

TEST_F(ProvisionalRecord, HasItsAddressInLowerCase) {
  const json::Object out = formed("FE80::A");
  EXPECT_EQ(json::textAt(out, {"value", "properties", "displayId"}), "fe80::a");
  EXPECT_EQ(json::textAt(out, {"value", "self", "uri"}), "/1.0/servers/fe80::a");
}

TEST_F(ProvisionalRecord, EncodesWhatMayNotStandInAUri) {
  const json::Object out = formed("fe80::1%eth0");
  EXPECT_EQ(json::textAt(out, {"value", "properties", "displayId"}), "fe80::1%eth0");
  EXPECT_EQ(json::textAt(out, {"value", "self", "uri"}), "/1.0/servers/fe80::1%25eth0");
  EXPECT_EQ(json::textAt(out, {"value", "uris", "login"}), "/1.0/servers/fe80::1%25eth0/login");
}

TEST_F(ProvisionalRecord, KeepsOtherMembersOfWhatItFills) {
  json::Object out = support::parsed(R"({"value":{"properties":{"isManual":true}},"extra":1})");
  inventory.formDummyServerJson(out, "10.0.0.5");
  EXPECT_TRUE(json::flagAt(out, {"value", "properties", "isManual"}));
  EXPECT_EQ(json::numberAt(out, {"extra"}), 1.0);
}

}  // namespace
