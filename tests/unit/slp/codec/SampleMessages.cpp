#include "SampleMessages.h"

namespace slp::test {
namespace {

using namespace wire;
using std::string_view_literals::operator""sv;

constexpr Header kRequest{false, false, true, 1, "en"};
constexpr Header kReply{false, false, false, 0xFFFF, "de-AT"};
constexpr Header kAllFlags{true, true, true, 0x8001, "en"};
constexpr Header kNoLanguage{false, false, false, 0, ""};

// Descriptor 2, 20 bytes, a time stamp, an SPI of three bytes and seven bytes of signature.
#define SLP_TEST_AUTH_BLOCK "\x00\x02\x00\x14\x12\x34\x56\x78\x00\x03spi\x01\x02\x03\x04\x05\x06\x07"

std::vector<Sample> makeSamples() {
  const AuthBlocks one{1, kOneAuthBlock};
  const AuthBlocks two{2, kTwoAuthBlocks};
  return {
      {"ServiceRequestEmpty", {kRequest, ServiceRequest{}, {}}},
      {"ServiceRequest", {kRequest, ServiceRequest{"10.0.0.1", "service:a", "DEFAULT", "(a=1)", "spi"}, {}}},
      {"ServiceReplyWithoutUrls", {kReply, ServiceReply{}, {}}},
      {"ServiceReply",
       {kReply,
        ServiceReply{ErrorCode::kOk, {{0, "service:a://h", {}}, {65'535, "", one}, {1, "http://h/", two}}},
        {}}},
      {"ServiceRegistrationEmpty", {kNoLanguage, ServiceRegistration{}, {}}},
      {"ServiceRegistration",
       {kAllFlags, ServiceRegistration{{300, "service:a://h", one}, "service:a", "A,B", "(a=1),b", two}, {}}},
      {"ServiceDeregistration", {kReply, ServiceDeregistration{"A,B", {0, "service:a://h", one}, "a,b"}, {}}},
      {"ServiceAcknowledge", {kReply, ServiceAcknowledge{}, {}}},
      {"AttributeRequest", {kRequest, AttributeRequest{"10.0.0.1", "service:a", "DEFAULT", "a*", "spi"}, {}}},
      {"AttributeReply", {kReply, AttributeReply{ErrorCode::kOk, "(a=1),b", two}, {}}},
      {"DirectoryAgentAdvert",
       {kReply,
        DirectoryAgentAdvert{ErrorCode::kOk, 0xFFFF'FFFF, "service:directory-agent://h", "A", "(a=1)", "s", one},
        {}}},
      {"ServiceTypeRequestOfAll", {kRequest, ServiceTypeRequest{"10.0.0.1", std::nullopt, "DEFAULT"}, {}}},
      {"ServiceTypeRequestOfNoAuthority", {kRequest, ServiceTypeRequest{"", "", "DEFAULT"}, {}}},
      {"ServiceTypeRequestOfAnAuthority", {kRequest, ServiceTypeRequest{"", "acme", "DEFAULT"}, {}}},
      {"ServiceTypeReply", {kReply, ServiceTypeReply{ErrorCode::kOk, "service:a,service:b.acme"}, {}}},
      {"ServiceAgentAdvert", {kReply, ServiceAgentAdvert{"service:service-agent://h", "A,B", "(a=1)", one}, {}}},
      {"AnyBytesInTexts", {kRequest, ServiceRequest{"\x00\xFF\n"sv, "\xC3\x28", ",,", "(((", "\x7F"}, {}}},
      {"OneExtension", {kRequest, ServiceRequest{"", "service:a", "", "", ""}, {{0x0003, "data"}}}},
      {"ExtensionsOfEachKindThatMayBeUnknown",
       {kReply, ServiceReply{}, {{0x0000, ""}, {0x3FFF, "a"}, {0x8000, "bc"}, {0x8FFF, ""}, {0xFFFF, "d"}}}},
  };
}

std::vector<Sample> makeErrorReplies() {
  constexpr auto kError = static_cast<ErrorCode>(0xABCD);
  return {
      {"ServiceReply", {kReply, ServiceReply{kError, {}}, {}}},
      {"AttributeReply", {kReply, AttributeReply{kError, "", {}}, {}}},
      {"DirectoryAgentAdvert", {kReply, DirectoryAgentAdvert{kError, 0, "", "", "", "", {}}, {}}},
      {"ServiceTypeReply", {kReply, ServiceTypeReply{kError, ""}, {}}},
      {"ServiceAcknowledge", {kReply, ServiceAcknowledge{kError}, {}}},
  };
}

}  // namespace

const std::string_view kOneAuthBlock = SLP_TEST_AUTH_BLOCK ""sv;
const std::string_view kTwoAuthBlocks = SLP_TEST_AUTH_BLOCK SLP_TEST_AUTH_BLOCK ""sv;
#undef SLP_TEST_AUTH_BLOCK

const std::vector<Sample>& samples() {
  static const std::vector<Sample> all = makeSamples();
  return all;
}

const std::vector<Sample>& errorReplies() {
  static const std::vector<Sample> all = makeErrorReplies();
  return all;
}

}  // namespace slp::test
