#include <string>

#include <gtest/gtest.h>

#include "SampleMessages.h"
#include "WireBytes.h"
#include "slp/wire/Limits.h"

namespace slp::test {
namespace {

using namespace wire;

std::string block(std::size_t length, std::size_t spi, std::size_t size) {
  std::string bytes = u16(2) + u16(length) + "time" + u16(spi);
  bytes.resize(size, 'x');
  return bytes;
}

struct Case {
  std::string_view name;
  std::size_t count;
  std::string bytes;
  bool accepted;
};

class AuthBlock : public testing::TestWithParam<Case> {};

const Case kCases[] = {
    {"None", 0, "", true},
    {"One", 1, block(20, 3, 20), true},
    {"Two", 2, block(20, 3, 20) + block(30, 0, 30), true},
    {"Smallest", 1, block(10, 0, 10), true},
    {"AllSpi", 1, block(20, 10, 20), true},
    {"Longest", 1, block(65'535, 3, 65'535), true},
    {"FewerThanCounted", 2, block(20, 3, 20), false},
    {"MoreThanCounted", 1, block(20, 3, 20) + block(20, 3, 20), false},
    {"CountedButNoneThere", 1, "", false},
    {"LengthOfNothing", 1, block(0, 0, 10), false},
    {"ShorterThanItsFixedPart", 1, block(9, 0, 10), false},
    {"ShorterThanItsSpi", 1, block(12, 3, 20), false},
    {"LongerThanTheMessage", 1, block(21, 3, 20), false},
    {"SpiLongerThanTheBlock", 1, block(20, 11, 20), false},
    {"SpiOfGreatestLength", 1, block(20, 65'535, 20), false},
    {"CutInItsFixedPart", 1, block(10, 0, 10).substr(0, 9), false},
};

TEST_P(AuthBlock, IsReadWhenItHoldsWhatItSays) {
  // Put together by hand, because the writer would refuse what the reader must reject.
  std::string bytes = encoded({{}, AttributeReply{ErrorCode::kOk, "(a=1)", {}}, {}});
  bytes.back() = static_cast<char>(GetParam().count);
  bytes = withTrueLength(bytes + GetParam().bytes);
  const auto message = decoded(bytes);
  ASSERT_EQ(message.has_value(), GetParam().accepted);
  if (!message) return;
  const auto& auth = std::get<AttributeReply>(message->body).auth;
  EXPECT_EQ(auth.count, GetParam().count);
  EXPECT_EQ(auth.bytes, GetParam().bytes);
  EXPECT_EQ(encoded(*message), bytes);
}

TEST_P(AuthBlock, IsWrittenWhenItHoldsWhatItSays) {
  const AuthBlocks auth{static_cast<std::uint8_t>(GetParam().count), GetParam().bytes};
  std::string out;
  EXPECT_EQ(encode({{}, AttributeReply{ErrorCode::kOk, "", auth}, {}}, out), GetParam().accepted);
  EXPECT_EQ(out.empty(), !GetParam().accepted);
}

INSTANTIATE_TEST_SUITE_P(Each, AuthBlock, testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(AuthBlocks, AreLimitedInNumber) {
  std::string most;
  for (std::size_t index = 0; index < limits::kMaxAuthBlocks; ++index)
    most += block(10, 0, 10);
  const std::string tooMany = most + block(10, 0, 10);
  const auto with = [](std::size_t count, const std::string& blocks) {
    std::string bytes = encoded({{}, ServiceAgentAdvert{}, {}});
    bytes.back() = static_cast<char>(count);
    return withTrueLength(bytes + blocks);
  };
  EXPECT_TRUE(accepts(with(limits::kMaxAuthBlocks, most)));
  EXPECT_FALSE(accepts(with(limits::kMaxAuthBlocks + 1, tooMany)));
  std::string out;
  const AuthBlocks auth{static_cast<std::uint8_t>(limits::kMaxAuthBlocks + 1), tooMany};
  EXPECT_FALSE(encode({{}, ServiceAgentAdvert{"", "", "", auth}, {}}, out));
}

}  // namespace
}  // namespace slp::test
