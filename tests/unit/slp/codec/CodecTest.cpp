#include <set>
#include <string>

#include <gtest/gtest.h>

#include "SampleMessages.h"
#include "WireBytes.h"

namespace slp::test {
namespace {

using namespace wire;

class Codec : public testing::TestWithParam<Sample> {};
class ErrorReply : public testing::TestWithParam<Sample> {};

std::string name(const testing::TestParamInfo<Sample>& info) {
  return std::string(info.param.name);
}

TEST_P(Codec, ReadsBackWhatItWrites) {
  const Message& message = GetParam().message;
  const std::string bytes = encoded(message);
  const auto back = decoded(bytes);
  ASSERT_TRUE(back.has_value());
  EXPECT_TRUE(*back == message);
  EXPECT_EQ(encoded(*back), bytes);
  EXPECT_EQ(messageLength(bytesOf(bytes)), bytes.size());
}

TEST_P(Codec, AppendsToWhatIsThere) {
  const std::string bytes = encoded(GetParam().message);
  std::string out = "before";
  ASSERT_TRUE(encode(GetParam().message, out));
  EXPECT_EQ(out, "before" + bytes);
}

TEST_P(Codec, RejectsEveryTruncation) {
  const std::string bytes = encoded(GetParam().message);
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(accepts(std::string_view(bytes).substr(0, size))) << size;
}

TEST_P(Codec, RejectsEveryTruncationThatTheHeaderTells) {
  Message message = GetParam().message;
  message.extensions.clear();  // the last one of a chain may have any length
  const std::string bytes = encoded(message);
  for (std::size_t size = 5; size < bytes.size(); ++size)
    EXPECT_FALSE(accepts(withTrueLength(bytes.substr(0, size)))) << size;
}

TEST_P(Codec, RejectsBytesBehindTheMessage) {
  const std::string bytes = encoded(GetParam().message);
  EXPECT_FALSE(accepts(bytes + '\0'));
  EXPECT_FALSE(accepts(bytes + bytes));
  if (GetParam().message.extensions.empty()) {
    EXPECT_FALSE(accepts(withTrueLength(bytes + '\0')));
  }
}

TEST_P(Codec, SurvivesEveryCorruptionOfOneByte) {
  const std::string bytes = encoded(GetParam().message);
  std::size_t accepted = 0;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (unsigned value = 0; value < 256; ++value) {
      std::string corrupt = bytes;
      corrupt[at] = static_cast<char>(value);
      const auto message = decoded(corrupt);
      if (!message) continue;
      ++accepted;
      const std::string again = encoded(*message);
      ASSERT_TRUE(decoded(again) == message) << "byte " << at << " is " << value;
    }
  }
  EXPECT_GE(accepted, bytes.size());  // at least the uncorrupted ones
}

INSTANTIATE_TEST_SUITE_P(Each, Codec, testing::ValuesIn(samples()), name);

TEST(Samples, HaveEveryType) {
  std::set<std::size_t> types;
  for (const Sample& sample : samples())
    types.insert(sample.message.body.index());
  EXPECT_EQ(types.size(), std::variant_size_v<Body>);
}

constexpr std::size_t kBehindTheCode = 14 + 5 + 2;  // header, language tag, code

TEST_P(ErrorReply, IsWrittenWhole) {
  const std::string bytes = encoded(GetParam().message);
  const auto back = decoded(bytes);
  ASSERT_TRUE(back.has_value());
  EXPECT_TRUE(*back == GetParam().message);
}

TEST_P(ErrorReply, MayEndBehindItsCodeAndNowhereElse) {
  const std::string bytes = encoded(GetParam().message);
  for (std::size_t size = 5; size < bytes.size(); ++size) {
    const std::string cut = withTrueLength(bytes.substr(0, size));
    const auto back = decoded(cut);
    ASSERT_EQ(back.has_value(), size == kBehindTheCode) << size;
    EXPECT_TRUE(!back || *back == GetParam().message);
  }
}

TEST_P(ErrorReply, MayHaveExtensionsRightBehindItsCode) {
  std::string bytes = encoded(GetParam().message).substr(0, kBehindTheCode);
  bytes += u16(0x0001) + u24(0) + "why";
  const std::string whole = withFirstExtensionAt(withTrueLength(bytes), kBehindTheCode);
  const auto back = decoded(whole);
  ASSERT_TRUE(back.has_value());
  EXPECT_TRUE(back->body == GetParam().message.body);
  EXPECT_TRUE((back->extensions == std::vector<Extension>{{0x0001, "why"}}));
}

INSTANTIATE_TEST_SUITE_P(Each, ErrorReply, testing::ValuesIn(errorReplies()), name);

TEST(ErrorReply, WithGarbageBehindItsCodeIsRejected) {
  std::string bytes = encoded(errorReplies().front().message).substr(0, kBehindTheCode);
  bytes += "garbage";
  EXPECT_FALSE(accepts(withTrueLength(bytes)));
}

TEST(Encode, NeedsNoMessageForAHeaderAndABody) {
  const Message& message = samples().at(1).message;
  std::string bytes;
  ASSERT_TRUE(encode(message.header, message.body, bytes));
  EXPECT_EQ(bytes, encoded(message));
}

}  // namespace
}  // namespace slp::test
