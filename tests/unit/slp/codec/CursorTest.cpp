#include <string>

#include <gtest/gtest.h>

#include "slp/wire/Codec.h"
#include "slp/wire/Cursor.h"

namespace slp::test {
namespace {

using namespace wire;
using std::string_view_literals::operator""sv;

TEST(Reader, ReadsNumbersInNetworkByteOrder) {
  Reader reader(bytesOf("\x01\x02\x03\x04\x05\x06\x07\x08\xFF\xFE"sv));
  EXPECT_EQ(reader.u8(), 0x01U);
  EXPECT_EQ(reader.u16(), 0x0203U);
  EXPECT_EQ(reader.u24(), 0x040506U);
  EXPECT_EQ(reader.u32(), 0x0708FFFEU);
  EXPECT_EQ(reader.remaining(), 0U);
  EXPECT_FALSE(reader.failed());
}

TEST(Reader, ReadsTextsAsViews) {
  const std::string_view bytes =
      "\x00\x03"
      "abc\x00\x00"sv;
  Reader reader(bytesOf(bytes));
  const std::string_view text = reader.text();
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(text.data(), bytes.data() + 2);
  EXPECT_EQ(reader.text(), "");
  EXPECT_FALSE(reader.failed());
}

TEST(Reader, KeepsItsFirstError) {
  Reader reader(bytesOf("\x01\x02\x03"sv));
  EXPECT_EQ(reader.u16(), 0x0102U);
  EXPECT_EQ(reader.u16(), 0U);
  EXPECT_TRUE(reader.failed());
  EXPECT_EQ(reader.u8(), 0U);  // although one byte is left
  EXPECT_EQ(reader.bytes(0), "");
  EXPECT_EQ(reader.since(0), "");
  EXPECT_EQ(reader.position(), 2U);
}

TEST(Reader, RejectsALengthBeyondTheEnd) {
  Reader reader(
      bytesOf("\x00\x04"
              "abc"sv));
  EXPECT_EQ(reader.text(), "");
  EXPECT_TRUE(reader.failed());
}

TEST(Reader, RejectsACountThatWouldOverflow) {
  Reader reader(bytesOf("abc"));
  reader.u8();
  EXPECT_EQ(reader.bytes(static_cast<std::size_t>(-1)), "");
  EXPECT_TRUE(reader.failed());
}

TEST(Reader, ReadsNothingFromNothing) {
  Reader reader({});
  EXPECT_EQ(reader.bytes(0), "");
  EXPECT_FALSE(reader.failed());
  EXPECT_EQ(reader.u8(), 0U);
  EXPECT_TRUE(reader.failed());
}

TEST(Writer, WritesWhatTheReaderReads) {
  std::string out;
  Writer writer(out);
  writer.u8(0x01);
  writer.u16(0x0203);
  writer.u24(0x040506);
  writer.u32(0x0708FFFE);
  writer.text("abc");
  EXPECT_FALSE(writer.failed());
  EXPECT_EQ(out,
            "\x01\x02\x03\x04\x05\x06\x07\x08\xFF\xFE\x00\x03"
            "abc"sv);
}

TEST(Writer, CountsFromTheBeginningOfItsMessage) {
  std::string out = "before";
  Writer writer(out);
  EXPECT_EQ(writer.position(), 0U);
  writer.u24(0);
  writer.u8(9);
  EXPECT_EQ(writer.position(), 4U);
  writer.overwriteU24(0, 0x010203);
  EXPECT_EQ(out, "before\x01\x02\x03\x09");
  writer.undo();
  EXPECT_EQ(out, "before");
}

TEST(Writer, KeepsItsFirstError) {
  std::string out;
  Writer writer(out);
  writer.text(std::string(limits::kMaxText + 1, 'x'));
  EXPECT_TRUE(writer.failed());
  writer.u32(1);
  EXPECT_EQ(out, "");
}

TEST(Writer, StopsAtTheLongestMessage) {
  std::string out;
  Writer writer(out);
  writer.bytes(std::string(kMaxMessageLength - 1, 'x'));
  writer.u8(1);
  EXPECT_FALSE(writer.failed());
  writer.u8(1);
  EXPECT_TRUE(writer.failed());
  EXPECT_EQ(out.size(), kMaxMessageLength);
}

}  // namespace
}  // namespace slp::test
