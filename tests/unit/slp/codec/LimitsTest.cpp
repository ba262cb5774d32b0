#include <string>

#include <gtest/gtest.h>

#include "SampleMessages.h"
#include "WireBytes.h"
#include "slp/wire/Limits.h"

namespace slp::test {
namespace {

using namespace wire;

constexpr std::size_t kLongest = 65'535;

/// A string of a message, and the longest that it can be.
struct TextField {
  std::string_view name;
  Body (*with)(std::string_view text);
  std::size_t longest = kLongest;
};

class Text : public testing::TestWithParam<TextField> {};

const TextField kTextFields[] = {
    {"ServiceRequestPreviousResponders",
     [](auto text) -> Body {
       return ServiceRequest{text, "", "", "", ""};
     }},
    {"ServiceRequestType",
     [](auto text) -> Body {
       return ServiceRequest{"", text, "", "", ""};
     }},
    {"ServiceRequestScopes",
     [](auto text) -> Body {
       return ServiceRequest{"", "", text, "", ""};
     }},
    {"ServiceRequestPredicate",
     [](auto text) -> Body {
       return ServiceRequest{"", "", "", text, ""};
     }},
    {"ServiceRequestSpi",
     [](auto text) -> Body {
       return ServiceRequest{"", "", "", "", text};
     }},
    {"ServiceRequestAll",
     [](auto text) -> Body {
       return ServiceRequest{text, text, text, text, text};
     }},
    {"ServiceReplyUrl",
     [](auto text) -> Body {
       return ServiceReply{ErrorCode::kOk, {{1, text, {}}}};
     }},
    {"ServiceRegistrationUrl",
     [](auto text) -> Body {
       return ServiceRegistration{{1, text, {}}, "", "", "", {}};
     }},
    {"ServiceRegistrationType",
     [](auto text) -> Body {
       return ServiceRegistration{{}, text, "", "", {}};
     }},
    {"ServiceRegistrationScopes",
     [](auto text) -> Body {
       return ServiceRegistration{{}, "", text, "", {}};
     }},
    {"ServiceRegistrationAttributes",
     [](auto text) -> Body {
       return ServiceRegistration{{}, "", "", text, {}};
     }},
    {"ServiceDeregistrationScopes",
     [](auto text) -> Body {
       return ServiceDeregistration{text, {}, ""};
     }},
    {"ServiceDeregistrationUrl",
     [](auto text) -> Body {
       return ServiceDeregistration{"", {1, text, {}}, ""};
     }},
    {"ServiceDeregistrationTags",
     [](auto text) -> Body {
       return ServiceDeregistration{"", {}, text};
     }},
    {"AttributeRequestPreviousResponders",
     [](auto text) -> Body {
       return AttributeRequest{text, "", "", "", ""};
     }},
    {"AttributeRequestUrl",
     [](auto text) -> Body {
       return AttributeRequest{"", text, "", "", ""};
     }},
    {"AttributeRequestScopes",
     [](auto text) -> Body {
       return AttributeRequest{"", "", text, "", ""};
     }},
    {"AttributeRequestTags",
     [](auto text) -> Body {
       return AttributeRequest{"", "", "", text, ""};
     }},
    {"AttributeRequestSpi",
     [](auto text) -> Body {
       return AttributeRequest{"", "", "", "", text};
     }},
    {"AttributeReplyAttributes",
     [](auto text) -> Body {
       return AttributeReply{ErrorCode::kOk, text, {}};
     }},
    {"DirectoryAgentAdvertUrl",
     [](auto text) -> Body { return DirectoryAgentAdvert{ErrorCode::kOk, 1, text, "", "", "", {}}; }},
    {"DirectoryAgentAdvertScopes",
     [](auto text) -> Body { return DirectoryAgentAdvert{ErrorCode::kOk, 1, "", text, "", "", {}}; }},
    {"DirectoryAgentAdvertAttributes",
     [](auto text) -> Body { return DirectoryAgentAdvert{ErrorCode::kOk, 1, "", "", text, "", {}}; }},
    {"DirectoryAgentAdvertSpis",
     [](auto text) -> Body { return DirectoryAgentAdvert{ErrorCode::kOk, 1, "", "", "", text, {}}; }},
    {"ServiceTypeRequestPreviousResponders",
     [](auto text) -> Body {
       return ServiceTypeRequest{text, std::nullopt, ""};
     }},
    // One less: the longest length says that there is no naming authority.
    {"ServiceTypeRequestNamingAuthority",
     [](auto text) -> Body {
       return ServiceTypeRequest{"", text, ""};
     },
     kLongest - 1},
    {"ServiceTypeRequestScopes",
     [](auto text) -> Body {
       return ServiceTypeRequest{"", std::nullopt, text};
     }},
    {"ServiceTypeReplyTypes",
     [](auto text) -> Body {
       return ServiceTypeReply{ErrorCode::kOk, text};
     }},
    {"ServiceAgentAdvertUrl",
     [](auto text) -> Body {
       return ServiceAgentAdvert{text, "", "", {}};
     }},
    {"ServiceAgentAdvertScopes",
     [](auto text) -> Body {
       return ServiceAgentAdvert{"", text, "", {}};
     }},
    {"ServiceAgentAdvertAttributes",
     [](auto text) -> Body {
       return ServiceAgentAdvert{"", "", text, {}};
     }},
};

TEST_P(Text, HasALongestLength) {
  const std::string longest(GetParam().longest, 'x');
  const Message message{{}, GetParam().with(longest), {}};
  const std::string bytes = encoded(message);
  EXPECT_GT(bytes.size(), longest.size());
  EXPECT_TRUE(decoded(bytes) == message);
}

TEST_P(Text, ThatIsTooLongIsNotWritten) {
  const std::string tooLong(GetParam().longest + 1, 'x');
  std::string out = "before";
  EXPECT_FALSE(encode({{}, GetParam().with(tooLong), {}}, out));
  EXPECT_EQ(out, "before");
}

INSTANTIATE_TEST_SUITE_P(Each, Text, testing::ValuesIn(kTextFields),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Limits, AReplyHasAtMost65535Urls) {
  Message message{{}, ServiceReply{}, {}};
  auto& urls = std::get<ServiceReply>(message.body).urls;
  urls.resize(65'535);
  const std::string bytes = encoded(message);
  EXPECT_TRUE(decoded(bytes) == message);
  urls.emplace_back();
  std::string out;
  EXPECT_FALSE(encode(message, out));
  EXPECT_TRUE(out.empty());
}

TEST(Limits, AReplyWithFewerUrlsThanItSaysIsRejected) {
  const std::string bytes = encoded({{}, ServiceReply{ErrorCode::kOk, {{}, {}}}, {}});
  const std::size_t count = bytes.size() - 2 * 6 - 2;
  ASSERT_EQ(bytes.substr(count, 2), u16(2));
  for (const std::size_t other : {std::size_t{0}, std::size_t{1}, std::size_t{3}, std::size_t{65'535}})
    EXPECT_FALSE(accepts(std::string(bytes).replace(count, 2, u16(other)))) << other;
}

TEST(Limits, AMessageFillsTheLengthOfItsHeaderAtMost) {
  constexpr std::size_t kLength = 0xFF'FFFF;
  constexpr std::size_t kEmptyReply = 20;
  constexpr std::size_t kEntry = 6;
  constexpr std::size_t kWhole = (kLength - kEmptyReply) / (kEntry + kLongest);
  const std::string longest(kLongest, 'x');
  const std::string last(kLength - kEmptyReply - kWhole * (kEntry + kLongest) - kEntry, 'y');
  Message message{{}, ServiceReply{ErrorCode::kOk, std::vector<UrlEntry>(kWhole, {1, longest, {}})}, {}};
  auto& urls = std::get<ServiceReply>(message.body).urls;
  urls.push_back({1, last, {}});
  const std::string bytes = encoded(message);
  EXPECT_EQ(bytes.size(), kLength);
  EXPECT_TRUE(decoded(bytes) == message);

  const std::string oneMore = last + 'y';
  urls.back().url = oneMore;
  std::string out;
  EXPECT_FALSE(encode(message, out));
  EXPECT_TRUE(out.empty());
}

TEST(Limits, ALengthOfATextReachesBeyondTheMessageNowhere) {
  const std::string bytes = encoded({{}, ServiceRequest{}, {}});
  for (std::size_t field = 0; field < 5; ++field) {
    for (const std::size_t length : {std::size_t{1}, std::size_t{9}, std::size_t{255}, kLongest})
      EXPECT_FALSE(accepts(std::string(bytes).replace(16 + 2 * field, 2, u16(length)))) << field << ' ' << length;
  }
}

}  // namespace
}  // namespace slp::test
