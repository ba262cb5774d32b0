#include <string>

#include <gtest/gtest.h>

#include "SampleMessages.h"
#include "WireBytes.h"
#include "slp/wire/Limits.h"

namespace slp::test {
namespace {

using namespace wire;

std::string request() {
  return encoded({Header{false, false, false, 0x1234, "en"}, ServiceRequest{"", "service:a", "A", "", ""}, {}});
}

std::string with(std::string bytes, std::size_t at, unsigned value) {
  bytes.at(at) = static_cast<char>(value);
  return bytes;
}

TEST(MessageHeader, IsWrittenInNetworkByteOrder) {
  EXPECT_EQ(request().substr(0, 16), std::string("\x02\x01\x00\x00\x24\x00\x00\x00\x00\x00\x12\x34\x00\x02"
                                                 "en",
                                                 16));
}

TEST(MessageHeader, OfAnotherVersionIsRejectedWithoutOne) {
  for (unsigned version = 0; version < 256; ++version) {
    const std::string bytes = with(request(), 0, version);
    const auto rejection = rejected(bytes);
    ASSERT_EQ(rejection.has_value(), version != 2) << version;
    if (!rejection) continue;
    EXPECT_EQ(rejection->error, ErrorCode::kVersionNotSupported);
    EXPECT_FALSE(rejection->header.has_value());
  }
}

TEST(MessageHeader, OfAnUnknownFunctionIsNotSupported) {
  for (const unsigned function : {0U, 12U, 255U}) {
    const std::string bytes = with(request(), 1, function);
    const auto rejection = rejected(bytes);
    ASSERT_TRUE(rejection.has_value());
    EXPECT_EQ(rejection->error, ErrorCode::kMessageNotSupported);
    ASSERT_TRUE(rejection->header.has_value());
    EXPECT_EQ(static_cast<unsigned>(rejection->function), function);
  }
}

TEST(MessageHeader, MayHaveReservedFlags) {
  const std::string bytes = with(with(request(), 5, 0x1F), 6, 0xFF);
  const auto message = decoded(bytes);
  ASSERT_TRUE(message.has_value());
  EXPECT_EQ(message->header, (Header{false, false, false, 0x1234, "en"}));
}

TEST(MessageHeader, FlagsAreTheThreeHighestBits) {
  const auto flags = [](unsigned value) {
    const std::string bytes = with(request(), 5, value);
    const Header header = decoded(bytes).value().header;
    return std::vector<bool>{header.overflow, header.fresh, header.multicast};
  };
  EXPECT_EQ(flags(0x80), (std::vector<bool>{true, false, false}));
  EXPECT_EQ(flags(0x40), (std::vector<bool>{false, true, false}));
  EXPECT_EQ(flags(0x20), (std::vector<bool>{false, false, true}));
}

TEST(MessageHeader, IsHandedOutWhenTheRestIsBroken) {
  const std::string bytes = withTrueLength(request() + "more");
  const auto rejection = rejected(bytes);
  ASSERT_TRUE(rejection.has_value());
  EXPECT_EQ(rejection->error, ErrorCode::kParseError);
  EXPECT_EQ(rejection->function, Function::kServiceRequest);
  EXPECT_EQ(rejection->header, (Header{false, false, false, 0x1234, "en"}));
}

TEST(MessageHeader, IsHandedOutWhenTheLengthIsWrong) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{5}, request().size() - 1, request().size() + 1}) {
    std::string bytes = request();
    bytes.replace(2, 3, u24(length));
    const auto rejection = rejected(bytes);
    ASSERT_TRUE(rejection.has_value()) << length;
    EXPECT_EQ(rejection->error, ErrorCode::kParseError);
    EXPECT_TRUE(rejection->header.has_value());
  }
}

TEST(MessageHeader, ThatIsCutIsRejectedWithoutOne) {
  const std::string bytes = request();
  for (std::size_t size = 0; size < 16; ++size) {
    const auto rejection = rejected(std::string_view(bytes).substr(0, size));
    ASSERT_TRUE(rejection.has_value()) << size;
    EXPECT_EQ(rejection->error, ErrorCode::kParseError);
    EXPECT_FALSE(rejection->header.has_value());
  }
}

TEST(MessageHeader, MayHaveNoLanguage) {
  const std::string bytes = withTrueLength(request().replace(12, 4, u16(0)));
  const auto message = decoded(bytes);
  ASSERT_TRUE(message.has_value());
  EXPECT_EQ(message->header.language, "");
}

TEST(MessageHeader, HasALanguageTagOfLimitedLength) {
  const std::string longest(limits::kMaxLanguageTag, 'a');
  const std::string tooLong(limits::kMaxLanguageTag + 1, 'a');
  std::string out;
  ASSERT_TRUE(encode(Header{false, false, false, 1, longest}, ServiceAcknowledge{}, out));
  EXPECT_EQ(decoded(out)->header.language, longest);
  out.clear();
  EXPECT_FALSE(encode(Header{false, false, false, 1, tooLong}, ServiceAcknowledge{}, out));
  EXPECT_TRUE(out.empty());

  const std::string bytes = withTrueLength(request().replace(12, 4, u16(tooLong.size()) + tooLong));
  const auto rejection = rejected(bytes);
  ASSERT_TRUE(rejection.has_value());
  EXPECT_EQ(rejection->error, ErrorCode::kParseError);
  EXPECT_FALSE(rejection->header.has_value());
}

TEST(MessageLength, IsKnownAfterFiveBytes) {
  const std::string bytes = request();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    const auto length = messageLength(bytesOf(std::string_view(bytes).substr(0, size)));
    ASSERT_EQ(length.has_value(), size >= 5) << size;
    EXPECT_EQ(length.value_or(bytes.size()), bytes.size());
  }
}

TEST(MessageLength, IsZeroForWhatIsNoMessage) {
  EXPECT_EQ(messageLength(bytesOf(with(request(), 0, 1))), 0U);
  EXPECT_EQ(messageLength(bytesOf(with(request(), 0, 'G'))), 0U);
  EXPECT_EQ(messageLength(bytesOf(request().replace(2, 3, u24(13)))), 0U);
  EXPECT_EQ(messageLength(bytesOf(request().replace(2, 3, u24(14)))), 14U);
  EXPECT_EQ(messageLength(bytesOf(request().replace(2, 3, u24(0xFF'FFFF)))), 0xFF'FFFFU);
}

}  // namespace
}  // namespace slp::test
