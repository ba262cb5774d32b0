// The texts behind the key table. Servers of every version exchange them, so none may change.
#include <cstring>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "contract/Pin.h"
#include "framework/constants/JsonConstants.h"

namespace {

using constants::JsonConstants;

PIN(JsonConstants::SERVERS, const char* const);
PIN(JsonConstants::API_VERSION_1, const char* const);
PIN(JsonConstants::SUCCESS_CODE, const char* const);

using Row = std::pair<const char*, const char*>;

const std::vector<Row>& memberNames() {
  static const std::vector<Row> rows{
      {JsonConstants::STATUS, "status"},
      {JsonConstants::CODE, "code"},
      {JsonConstants::DESC, "desc"},
      {JsonConstants::COUNT, "count"},
      {JsonConstants::VALUE, "value"},
      {JsonConstants::VALUE_S, "values"},
      {JsonConstants::PROPERTIES, "properties"},
      {JsonConstants::DISPLAY_ID, "displayId"},
      {JsonConstants::GID, "gid"},
      {JsonConstants::BUILD, "build"},
      {JsonConstants::AGENTS, "agents"},
      {JsonConstants::ID, "id"},
      {JsonConstants::NAME, "name"},
      {JsonConstants::LISTEN, "listen"},
      {JsonConstants::ADDRESS, "address"},
      {JsonConstants::PORT, "port"},
      {JsonConstants::SCHEME, "scheme"},
      {JsonConstants::OS, "os"},
      {JsonConstants::NETWORK, "network"},
      {JsonConstants::NICS, "nics"},
      {JsonConstants::MAC, "mac"},
      {JsonConstants::IP_V4, "ipV4"},
      {JsonConstants::IP_V6, "ipV6"},
      {JsonConstants::LAST_COMMUNICATED_IP, "lastCommunicatedIp"},
      {JsonConstants::HEALTH, "health"},
      {JsonConstants::STATE, "state"},
      {JsonConstants::IS_PIVOT, "isPivot"},
      {JsonConstants::IS_LEGACY_SERVER, "isLegacyServer"},
      {JsonConstants::LAST_UPDATED_COUNTER, "lastUpdatedCounter"},
      {JsonConstants::SERVER_IP, "serverIp"},
      {JsonConstants::SELF, "self"},
      {JsonConstants::UPON, "upon"},
      {JsonConstants::URI, "uri"},
      {JsonConstants::URIS, "uris"},
      {JsonConstants::SERVER, "server"},
      {JsonConstants::SYSTEM_DETAIL, "systemDetail"},
      {JsonConstants::TYPE, "type"},
      {JsonConstants::SUB_TYPE, "subType"},
      {JsonConstants::ACTION, "action"},
      {JsonConstants::IS_ALLOWED, "isAllowed"},
      {JsonConstants::IS_REBOOT_REQUIRED, "isRebootRequired"},
      {JsonConstants::IS_PROGRESS_AVAILABLE, "isProgressAvailable"},
      {JsonConstants::LOGIN, "login"},
      {JsonConstants::VERSION, "version"},
      {JsonConstants::VERSIONS, "versions"},
      {JsonConstants::USERS, "users"},
  };
  return rows;
}

TEST(JsonConstants, NameTheMembersOfDocuments) {
  std::set<std::string> names;
  for (const auto& [constant, text] : memberNames()) {
    EXPECT_STREQ(constant, text);
    EXPECT_TRUE(names.insert(constant).second) << constant << " stands for two members";
  }
}

TEST(JsonConstants, HoldFixedValues) {
  for (const auto& [constant, text] : std::vector<Row>{{JsonConstants::SUCCESS_CODE, "0"},
                                                       {JsonConstants::SUCCESS, "Success"},
                                                       {JsonConstants::FAILURE_CODE, "1"},
                                                       {JsonConstants::FAILURE, "Failure"},
                                                       {JsonConstants::ACTION_ADD, "ADD"},
                                                       {JsonConstants::ACTION_REMOVE, "REMOVE"},
                                                       {JsonConstants::ACTION_SEARCH, "SEARCH"},
                                                       {JsonConstants::TYPE_OPERATION, "operation"},
                                                       {JsonConstants::TYPE_SERVER, "server"},
                                                       {JsonConstants::TYPE_DISCOVERY, "discovery"},
                                                       {JsonConstants::NONE, "none"}}) {
    EXPECT_STREQ(constant, text);
  }
}

TEST(JsonConstants, HoldPathWords) {
  for (const auto& [constant, text] : std::vector<Row>{{JsonConstants::API_VERSION_1, "1.0"},
                                                       {JsonConstants::SERVERS, "servers"},
                                                       {JsonConstants::SERVER_DETAIL, "serverDetail"},
                                                       {JsonConstants::LOGIN, "login"},
                                                       {JsonConstants::VERSION, "version"},
                                                       {JsonConstants::VERSIONS, "versions"},
                                                       {JsonConstants::USERS, "users"}}) {
    EXPECT_STREQ(constant, text);
    EXPECT_EQ(std::string(constant).find_first_of("/{} ?"), std::string::npos) << constant << " is no path segment";
  }
}

}  // namespace
