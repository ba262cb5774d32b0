#include <string>

#include <gtest/gtest.h>

#include "SampleMessages.h"
#include "WireBytes.h"
#include "slp/wire/Limits.h"

namespace slp::test {
namespace {

using namespace wire;

constexpr std::size_t kBody = 16;  // where the body begins: the header with "en"
constexpr std::size_t kEnd = 18;   // where the body of an acknowledgement ends

/// An acknowledgement with its first extension at `offset`, and `bytes` behind its body.
std::string acknowledgement(std::size_t offset, const std::string& bytes) {
  return withFirstExtensionAt(withTrueLength(encoded({{}, ServiceAcknowledge{}, {}}) + bytes), offset);
}

std::string extension(std::uint16_t id, std::size_t next, const std::string& data) {
  return u16(id) + u24(next) + data;
}

struct Chain {
  std::string_view name;
  std::string message;
  std::optional<std::vector<Extension>> expected;
};

class ExtensionChain : public testing::TestWithParam<Chain> {};

const Chain kChains[] = {
    {"One", acknowledgement(kEnd, extension(1, 0, "data")), {{{1, "data"}}}},
    {"OneWithoutData", acknowledgement(kEnd, extension(1, 0, "")), {{{1, ""}}}},
    {"Two", acknowledgement(kEnd, extension(1, kEnd + 6, "a") + extension(2, 0, "bc")), {{{1, "a"}, {2, "bc"}}}},
    {"TwoWithoutData", acknowledgement(kEnd, extension(1, kEnd + 5, "") + extension(2, 0, "")), {{{1, ""}, {2, ""}}}},
    {"MissingAltogether", acknowledgement(kEnd, ""), std::nullopt},
    {"Cut", acknowledgement(kEnd, std::string(4, '\0')), std::nullopt},
    {"InsideTheHeader", acknowledgement(7, ""), std::nullopt},
    {"InsideTheHeaderAlone", withFirstExtensionAt(withTrueLength(acknowledgement(0, "").substr(0, kBody)), 7),
     std::nullopt},
    {"InsideTheLanguage", acknowledgement(kBody - 1, extension(1, 0, "")), std::nullopt},
    {"InsideTheBody", acknowledgement(kEnd - 1, extension(1, 0, "")), std::nullopt},
    {"InPlaceOfTheBody", acknowledgement(kBody, extension(1, 0, "")), std::nullopt},
    {"BehindAGap", acknowledgement(kEnd + 1, "x" + extension(1, 0, "")), std::nullopt},
    {"BehindTheMessage", acknowledgement(kEnd + 6, extension(1, 0, "")), std::nullopt},
    {"AtTheFarthestOffset", acknowledgement(0xFF'FFFF, extension(1, 0, "")), std::nullopt},
    {"NotAnnounced", acknowledgement(0, extension(1, 0, "")), std::nullopt},
    {"BackToItself", acknowledgement(kEnd, extension(1, kEnd, "data")), std::nullopt},
    {"BackToTheHeader", acknowledgement(kEnd, extension(1, 1, "data")), std::nullopt},
    {"BackToTheOneBefore", acknowledgement(kEnd, extension(1, kEnd + 5, "") + extension(2, kEnd, "")), std::nullopt},
    {"IntoItsOwnFixedPart", acknowledgement(kEnd, extension(1, kEnd + 4, "data")), std::nullopt},
    {"NextBehindTheMessage", acknowledgement(kEnd, extension(1, kEnd + 10, "data")), std::nullopt},
    {"NextCut", acknowledgement(kEnd, extension(1, kEnd + 5, "") + "1234"), std::nullopt},
    {"NextAtTheEnd", acknowledgement(kEnd, extension(1, kEnd + 5, "")), std::nullopt},
};

TEST_P(ExtensionChain, GoesForwardInsideTheMessage) {
  const auto message = decoded(GetParam().message);
  ASSERT_EQ(message.has_value(), GetParam().expected.has_value());
  if (!message) {
    EXPECT_EQ(rejected(GetParam().message)->error, ErrorCode::kParseError);
    return;
  }
  EXPECT_TRUE(message->extensions == *GetParam().expected);
  EXPECT_EQ(encoded(*message), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(Each, ExtensionChain, testing::ValuesIn(kChains),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Extensions, ThatAreMandatoryAreNotUnderstood) {
  struct Row {
    std::uint16_t id;
    bool accepted;
  };
  for (const Row row : {Row{0x0000, true}, Row{0x3FFF, true}, Row{0x4000, false}, Row{0x7FFF, false}, Row{0x8000, true},
                        Row{0x8FFF, true}, Row{0x9000, true}, Row{0xFFFF, true}}) {
    const std::string bytes = acknowledgement(kEnd, extension(row.id, kEnd + 5, "") + extension(1, 0, ""));
    EXPECT_EQ(accepts(bytes), row.accepted) << row.id;
    if (row.accepted) continue;
    const auto rejection = rejected(bytes);
    EXPECT_EQ(rejection->error, ErrorCode::kOptionNotUnderstood);
    EXPECT_EQ(rejection->function, Function::kServiceAcknowledge);
    EXPECT_TRUE(rejection->header.has_value());
  }
}

TEST(Extensions, ThatAreMandatoryDoNotHideAParseError) {
  const std::string bytes = acknowledgement(kEnd, extension(0x4000, kEnd, ""));
  EXPECT_EQ(rejected(bytes)->error, ErrorCode::kParseError);
}

TEST(Extensions, AreLimitedInNumber) {
  const auto chain = [](std::size_t count) {
    std::string bytes;
    for (std::size_t index = 1; index <= count; ++index)
      bytes += extension(1, index == count ? 0 : kEnd + 5 * index, "");
    return acknowledgement(kEnd, bytes);
  };
  const std::string longest = chain(limits::kMaxExtensions);
  const auto most = decoded(longest);
  ASSERT_TRUE(most.has_value());
  EXPECT_EQ(most->extensions.size(), limits::kMaxExtensions);
  EXPECT_FALSE(accepts(chain(limits::kMaxExtensions + 1)));

  std::string out;
  EXPECT_FALSE(encode({{}, ServiceAcknowledge{}, std::vector<Extension>(limits::kMaxExtensions + 1)}, out));
  EXPECT_TRUE(out.empty());
}

TEST(Extensions, ThatDoNotFitTheMessageAreNotWritten) {
  const std::string data(0xFF'FFFF - kEnd - 5, 'x');
  const std::string bytes = encoded({{}, ServiceAcknowledge{}, {{1, data}}});
  EXPECT_EQ(bytes.size(), 0xFF'FFFFU);
  EXPECT_TRUE(accepts(bytes));
  std::string out;
  EXPECT_FALSE(encode({{}, ServiceAcknowledge{}, {{1, data + 'x'}}}, out));
  EXPECT_FALSE(encode({{}, ServiceAcknowledge{}, {{1, data}, {2, ""}}}, out));
  EXPECT_TRUE(out.empty());
}

}  // namespace
}  // namespace slp::test
