#include <algorithm>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "Pcap.h"
#include "slp/client/Request.h"

// What our user agent sends for a question is what another client has sent for the same one.
namespace slp::test {
namespace {

using client::AttributeQuery;
using client::ServiceQuery;
using client::TypeQuery;

constexpr const char* kType = "service:x-mgmt.quorvel:kvt";
constexpr const char* kFirst = "service:x-mgmt.quorvel:kvt://10.77.0.1:8443";
constexpr const char* kSecond = "service:x-mgmt.quorvel:kvt://10.77.0.2:8443";
constexpr const char* kDirectoryAgents = "service:directory-agent";
constexpr const char* kServiceAgents = "service:service-agent";
constexpr const char* kUnicast = nullptr;

struct RequestCase {
  const char* name;
  int capture;
  int frame;
  std::variant<ServiceQuery, AttributeQuery, TypeQuery> query;
  const char* previousResponders;  ///< null: by unicast
};

/// Without the identifier, which each client draws (RFC 2608, section 8: two bytes behind the first ten).
std::string withoutXid(std::string bytes) {
  return bytes.size() < 12 ? bytes : bytes.erase(10, 2);
}

class RequestBytes : public testing::TestWithParam<RequestCase> {};

TEST_P(RequestBytes, AreThoseOfACapture) {
  const RequestCase& row = GetParam();
  const auto messages = readCapture(capturePath(row.capture));
  const auto captured =
      std::ranges::find_if(messages, [&](const CapturedMessage& message) { return message.frame == row.frame; });
  ASSERT_NE(captured, messages.end());
  const auto request = std::visit([](const auto& query) { return client::Request(query); }, row.query);
  const auto bytes = row.previousResponders == nullptr ? request.unicast() : request.multicast(row.previousResponders);
  ASSERT_TRUE(bytes);
  ASSERT_GT(bytes->size(), 12U);
  EXPECT_EQ(withoutXid(*bytes), withoutXid(captured->bytes));
}

const RequestCase kCases[] = {
    {"Services", 8, 1, ServiceQuery{kType, "DEFAULT", "", "en"}, kUnicast},
    {"ServicesWithAFilter", 9, 1, ServiceQuery{kType, "DEFAULT", "(ip=10.77.0.2)", "en"}, kUnicast},
    {"ServicesOfAll", 7, 4, ServiceQuery{kType, "DEFAULT", "", "en"}, ""},
    {"ServicesOfTheOthers", 7, 7, ServiceQuery{kType, "DEFAULT", "", "en"}, "10.77.0.1,10.77.0.2"},
    {"AttributesOfAUrl", 11, 1, AttributeQuery{kFirst, "DEFAULT", "", "en"}, kUnicast},
    {"AttributesWithTags", 12, 2, AttributeQuery{kSecond, "DEFAULT", "ip", "en"}, kUnicast},
    {"AttributesFromAll", 10, 3, AttributeQuery{kFirst, "DEFAULT", "", "en"}, ""},
    {"AttributesFromTheOthers", 10, 5, AttributeQuery{kFirst, "DEFAULT", "", "en"}, "10.77.0.1"},
    {"Types", 16, 1, TypeQuery{std::nullopt, "DEFAULT", "en"}, kUnicast},
    {"TypesOfAll", 15, 3, TypeQuery{std::nullopt, "DEFAULT", "en"}, ""},
    {"TypesOfTheOthers", 15, 6, TypeQuery{std::nullopt, "DEFAULT", "en"}, "10.77.0.1,10.77.0.2"},
    {"DirectoryAgents", 23, 1, ServiceQuery{kDirectoryAgents, "DEFAULT", "", "en"}, ""},
    {"OtherDirectoryAgents", 23, 3, ServiceQuery{kDirectoryAgents, "DEFAULT", "", "en"}, "10.77.0.2"},
    {"DirectoryAgentsOfAnyScope", 19, 4, ServiceQuery{kDirectoryAgents, "", "", "en"}, kUnicast},
    {"AServiceAgent", 18, 1, ServiceQuery{kServiceAgents, "DEFAULT", "", "en"}, kUnicast},
    {"ServiceAgents", 17, 3, ServiceQuery{kServiceAgents, "DEFAULT", "", "en"}, ""},
    {"OtherServiceAgents", 17, 6, ServiceQuery{kServiceAgents, "DEFAULT", "", "en"}, "10.77.0.2,10.77.0.1"},
};

INSTANTIATE_TEST_SUITE_P(Requests, RequestBytes, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace slp::test
