#include "CaptureExpectations.h"

#include <string>
#include <string_view>
#include <utility>

namespace slp::test {
namespace {

using wire::AttributeReply;
using wire::AttributeRequest;
using wire::Body;
using wire::DirectoryAgentAdvert;
using wire::Extension;
using wire::Header;
using wire::Message;
using wire::ServiceAcknowledge;
using wire::ServiceAgentAdvert;
using wire::ServiceDeregistration;
using wire::ServiceRegistration;
using wire::ServiceReply;
using wire::ServiceRequest;
using wire::ServiceTypeReply;
using wire::ServiceTypeRequest;
using enum wire::ErrorCode;
using std::string_view_literals::operator""sv;

constexpr std::string_view kType = "service:x-mgmt.quorvel:kvt";
constexpr std::string_view kFirst = "service:x-mgmt.quorvel:kvt://10.77.0.1:8443";
constexpr std::string_view kSecond = "service:x-mgmt.quorvel:kvt://10.77.0.2:8443";
constexpr std::string_view kThird = "service:x-mgmt.quorvel:kvt://10.77.0.1:9443";
constexpr std::string_view kLong = "service:x-mgmt.quorvel:kvt://10.77.0.1:7777";
constexpr std::string_view kTrial = "service:x-mgmt.quorvel:kvt://10.77.0.1:9999";
constexpr std::string_view kUnknown = "service:x-mgmt.quorvel:kvt://10.77.0.1:9998";
constexpr std::string_view kAttributes = R"((ip=10.0.0.5))(server={"properties":{"a":"b c","n":[1,2]},"gid":"x"}))";
constexpr std::string_view kFindAgents = "service:directory-agent";
constexpr std::string_view kDirectory = "service:directory-agent://10.77.0.2";
constexpr auto kAll = std::nullopt;
// A vendor's extension with the number of the process that registers.
constexpr std::string_view kPid1 = "\x00\x00\x24\xb0"sv;
constexpr std::string_view kPid2 = "\x00\x00\x24\xef"sv;

const std::string& longAttributes() {
  static const std::string text = [] {
    constexpr std::size_t kLength = 4'096;
    constexpr std::string_view kEnd = R"("}))";
    std::string made = R"((ip=10.0.0.5))(server={"p":")";
    while (made.size() < kLength)
      made += "abcdefghi ";
    made.resize(kLength - kEnd.size());
    return made.append(kEnd);
  }();
  return text;
}

Header plain(std::uint16_t xid) {
  return {false, false, false, xid, "en"};
}

Header overflow(std::uint16_t xid) {
  return {true, false, false, xid, "en"};
}

Header fresh(std::uint16_t xid) {
  return {false, true, false, xid, "en"};
}

Header multicast(std::uint16_t xid) {
  return {false, false, true, xid, "en"};
}

Message message(Header header, Body body, std::vector<Extension> extensions = {}) {
  return {header, std::move(body), std::move(extensions)};
}

std::vector<CaptureExpectation> makeExpectations() {
  const std::string_view kLongAttributes = longAttributes();
  return {
      {1, 1, message(multicast(22128), ServiceRequest{"", kFindAgents, "", "", ""})},
      {1, 2, message(multicast(22129), ServiceRequest{"", kFindAgents, "", "", ""})},
      {2, 4, message(fresh(7516), ServiceRegistration{{65535, kFirst, {}}, kType, "DEFAULT", kAttributes, {}})},
      {2, 6, message(plain(7516), ServiceAcknowledge{kOk})},
      {3, 4,
       message(fresh(27985), ServiceRegistration{{65535, kTrial, {}}, kType, "DEFAULT", "(a=1)", {}},
               {{0x9799, kPid1}})},
      {3, 6, message(plain(27985), ServiceAcknowledge{kOk})},
      {4, 4, message(plain(38954), ServiceDeregistration{"DEFAULT", {0, kTrial, {}}, ""})},
      {4, 6, message(plain(38954), ServiceAcknowledge{kInvalidRegistration})},
      {5, 4, message(plain(1265), ServiceDeregistration{"DEFAULT", {0, kUnknown, {}}, ""})},
      {5, 6, message(plain(1265), ServiceAcknowledge{kInvalidRegistration})},
      {6, 4,
       message(fresh(45910), ServiceRegistration{{65535, kFirst, {}}, kType, "DEFAULT", "(abc)", {}},
               {{0x9799, kPid2}})},
      {6, 6, message(plain(45910), ServiceAcknowledge{kInvalidRegistration})},
      {7, 1, message(multicast(33369), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {7, 2, message(multicast(61429), ServiceRequest{"", kFindAgents, "", "", ""})},
      {7, 3, message(multicast(33369), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {7, 4, message(multicast(33370), ServiceRequest{"", kType, "DEFAULT", "", ""})},
      {7, 5, message(plain(33370), ServiceReply{kOk, {{65535, kFirst, {}}}})},
      {7, 6, message(plain(33370), ServiceReply{kOk, {{3600, kSecond, {}}}})},
      {7, 7, message(multicast(33370), ServiceRequest{"10.77.0.1,10.77.0.2", kType, "DEFAULT", "", ""})},
      {8, 1, message(plain(59033), ServiceRequest{"", kType, "DEFAULT", "", ""})},
      {8, 2, message(plain(59033), ServiceReply{kOk, {{65535, kFirst, {}}}})},
      {9, 1, message(plain(39281), ServiceRequest{"", kType, "DEFAULT", "(ip=10.77.0.2)", ""})},
      {9, 2, message(plain(39281), ServiceReply{kOk, {{3600, kSecond, {}}}})},
      {10, 1, message(multicast(25621), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {10, 2, message(multicast(25621), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {10, 3, message(multicast(25622), AttributeRequest{"", kFirst, "DEFAULT", "", ""})},
      {10, 4, message(plain(25622), AttributeReply{kOk, kAttributes, {}})},
      {10, 5, message(multicast(25622), AttributeRequest{"10.77.0.1", kFirst, "DEFAULT", "", ""})},
      {11, 1, message(plain(35252), AttributeRequest{"", kFirst, "DEFAULT", "", ""})},
      {11, 2, message(plain(35252), AttributeReply{kOk, kAttributes, {}})},
      {12, 1, message(multicast(61430), ServiceRequest{"", kFindAgents, "", "", ""})},
      {12, 2, message(plain(59337), AttributeRequest{"", kSecond, "DEFAULT", "ip", ""})},
      {12, 3, message(plain(59337), AttributeReply{kOk, "(ip=10.77.0.2)", {}})},
      {13, 1, message(plain(26361), AttributeRequest{"", kLong, "DEFAULT", "", ""})},
      {13, 4, message(overflow(26361), AttributeReply{kOk, kLongAttributes, {}})},
      {14, 1, message(multicast(39531), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {14, 2, message(multicast(39531), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {14, 3, message(multicast(39532), AttributeRequest{"", kLong, "DEFAULT", "", ""})},
      {14, 6, message(overflow(39532), AttributeReply{kOk, kLongAttributes, {}})},
      {14, 10, message(plain(39533), AttributeRequest{"", kLong, "DEFAULT", "", ""})},
      {14, 12, message(plain(39533), AttributeReply{kOk, kLongAttributes, {}})},
      {14, 17, message(multicast(39533), AttributeRequest{"10.77.0.1", kLong, "DEFAULT", "", ""})},
      {15, 1, message(multicast(50859), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {15, 2, message(multicast(50859), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {15, 3, message(multicast(50860), ServiceTypeRequest{"", kAll, "DEFAULT"})},
      {15, 4, message(plain(50860), ServiceTypeReply{kOk, kType})},
      {15, 5, message(plain(50860), ServiceTypeReply{kOk, kType})},
      {15, 6, message(multicast(50860), ServiceTypeRequest{"10.77.0.1,10.77.0.2", kAll, "DEFAULT"})},
      {16, 1, message(plain(32037), ServiceTypeRequest{"", kAll, "DEFAULT"})},
      {16, 2, message(plain(32037), ServiceTypeReply{kOk, kType})},
      {17, 1, message(multicast(19856), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {17, 2, message(multicast(19856), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {17, 3, message(multicast(19857), ServiceRequest{"", "service:service-agent", "DEFAULT", "", ""})},
      {17, 4, message(plain(19857), ServiceAgentAdvert{"service:service-agent://10.77.0.2", "DEFAULT", "", {}})},
      {17, 5, message(plain(19857), ServiceAgentAdvert{"service:service-agent://10.77.0.1", "DEFAULT", "", {}})},
      {17, 6,
       message(multicast(19857), ServiceRequest{"10.77.0.2,10.77.0.1", "service:service-agent", "DEFAULT", "", ""})},
      {18, 1, message(plain(20021), ServiceRequest{"", "service:service-agent", "DEFAULT", "", ""})},
      {18, 2, message(plain(20021), ServiceAgentAdvert{"service:service-agent://10.77.0.1", "DEFAULT", "", {}})},
      {19, 4, message(plain(6488), ServiceRequest{"", kFindAgents, "", "", ""})},
      {19, 6, kParseError},
      {20, 1, message(multicast(58298), ServiceRequest{"", kFindAgents, "", "", ""})},
      {20, 2, message(multicast(0), DirectoryAgentAdvert{kOk, 1795215350, kDirectory, "DEFAULT", "", "", {}})},
      {20, 3, kVersionNotSupported},
      {20, 4, message(multicast(58299), ServiceRequest{"10.77.0.2", kFindAgents, "", "", ""})},
      {20, 5, message(fresh(7516), ServiceRegistration{{65535, kFirst, {}}, kType, "DEFAULT", kAttributes, {}})},
      {20, 6, message(fresh(7516), ServiceRegistration{{65535, kFirst, {}}, kType, "DEFAULT", kAttributes, {}})},
      {20, 7, message(plain(7516), ServiceAcknowledge{kOk})},
      {20, 8, message(plain(7516), ServiceAcknowledge{kOk})},
      {21, 1, message(fresh(38301), ServiceRegistration{{65535, kThird, {}}, kType, "DEFAULT", "(a=1)", {}})},
      {21, 2, message(plain(38301), ServiceAcknowledge{kOk})},
      {22, 1, message(plain(3355), ServiceDeregistration{"DEFAULT", {0, kThird, {}}, ""})},
      {22, 2, message(plain(3355), ServiceAcknowledge{kOk})},
      {23, 1, message(multicast(26422), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {23, 2, message(plain(26422), DirectoryAgentAdvert{kOk, 1795215350, kDirectory, "DEFAULT", "", "", {}})},
      {23, 3, message(multicast(26422), ServiceRequest{"10.77.0.2", kFindAgents, "DEFAULT", "", ""})},
      {23, 4, message(plain(26423), ServiceRequest{"", kType, "DEFAULT", "", ""})},
      {23, 5, message(plain(26423), ServiceReply{kOk, {{65535, kFirst, {}}}})},
      {24, 4, message(plain(33525), ServiceRequest{"", kFindAgents, "", "", ""})},
      {24, 6, message(plain(33525), DirectoryAgentAdvert{kOk, 1795215350, kDirectory, "DEFAULT", "", "", {}})},
      {24, 6, kParseError},
      {25, 1, message(multicast(46263), ServiceRequest{"", kFindAgents, "DEFAULT", "", ""})},
      {25, 2, message(plain(46263), DirectoryAgentAdvert{kOk, 1795215350, kDirectory, "DEFAULT", "", "", {}})},
      {25, 3, message(multicast(46263), ServiceRequest{"10.77.0.2", kFindAgents, "DEFAULT", "", ""})},
      {25, 4, message(plain(46264), AttributeRequest{"", kFirst, "DEFAULT", "", ""})},
      {25, 5, message(plain(46264), AttributeReply{kOk, kAttributes, {}})},
      {26, 3, message(fresh(29561), ServiceRegistration{{65535, kLong, {}}, kType, "DEFAULT", kLongAttributes, {}})},
      {26, 6, message(fresh(29561), ServiceRegistration{{65535, kLong, {}}, kType, "DEFAULT", kLongAttributes, {}})},
      {26, 9, message(fresh(29561), ServiceRegistration{{65535, kLong, {}}, kType, "DEFAULT", kLongAttributes, {}})},
      {26, 12, message(fresh(29561), ServiceRegistration{{65535, kLong, {}}, kType, "DEFAULT", kLongAttributes, {}})},
      {26, 15, message(fresh(29561), ServiceRegistration{{65535, kLong, {}}, kType, "DEFAULT", kLongAttributes, {}})},
      {26, 16, message(multicast(58301), ServiceRequest{"10.77.0.2", kFindAgents, "", "", ""})},
      {27, 1, message(multicast(0), DirectoryAgentAdvert{kOk, 0, kDirectory, "DEFAULT", "", "", {}})},
      {27, 2, kVersionNotSupported},
  };
}

}  // namespace

const std::vector<CaptureExpectation>& captureExpectations() {
  static const std::vector<CaptureExpectation> expectations = makeExpectations();
  return expectations;
}

}  // namespace slp::test
