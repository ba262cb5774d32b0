#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "heartbeat/AnnounceRecord.h"

namespace {

using heartbeat::AnnounceBytes;
using heartbeat::AnnounceRecord;
using heartbeat::decodeAnnounceRecord;
using heartbeat::encodeAnnounceRecord;

unsigned int at(const AnnounceBytes& bytes, std::size_t offset) {
  return std::to_integer<unsigned int>(bytes.at(offset));
}

std::string textAt(const AnnounceBytes& bytes, std::size_t offset, std::size_t length) {
  return {reinterpret_cast<const char*>(bytes.data()) + offset, length};
}

bool isZero(const AnnounceBytes& bytes, std::size_t from, std::size_t to) {
  return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to),
                     [](std::byte byte) { return byte == std::byte{0}; });
}

AnnounceRecord exampleRecord() {
  return {AnnounceRecord::kDeregister, "10.0.0.5", "service:x-mgmt.quorvel:kvt://10.0.0.5:8443",
          "(ip=10.0.0.5))(server={!a!:1})", 0xFFFE};
}

TEST(AnnounceRecord, HasEveryFieldAtItsOffset) {
  const AnnounceBytes bytes = encodeAnnounceRecord(exampleRecord());
  ASSERT_EQ(bytes.size(), 1640u);
  EXPECT_EQ(at(bytes, 0), 0x01u);
  EXPECT_TRUE(isZero(bytes, 1, 4));
  EXPECT_EQ(textAt(bytes, 4, 8), "10.0.0.5");
  EXPECT_TRUE(isZero(bytes, 12, 36));
  EXPECT_EQ(textAt(bytes, 36, 42), "service:x-mgmt.quorvel:kvt://10.0.0.5:8443");
  EXPECT_TRUE(isZero(bytes, 78, 100));
  EXPECT_EQ(textAt(bytes, 100, 30), "(ip=10.0.0.5))(server={!a!:1})");
  EXPECT_TRUE(isZero(bytes, 130, 1636));
  EXPECT_EQ(at(bytes, 1636), 0xFEu);
  EXPECT_EQ(at(bytes, 1637), 0xFFu);
  EXPECT_TRUE(isZero(bytes, 1638, 1640));
}

TEST(AnnounceRecord, IsWrittenAndReadByteByByte) {
  // What a peer of another build sends for a join of 10.1.2.3, as it is seen on the wire.
  AnnounceBytes wire{};
  const unsigned char head[] = {0xFF, 0xFF, 0xFF, 0xFF, '1', '0', '.', '1', '.', '2', '.', '3'};
  std::memcpy(wire.data(), head, sizeof head);
  std::memcpy(wire.data() + 36, "service:a://10.1.2.3:1", 22);
  std::memcpy(wire.data() + 100, "(ip=10.1.2.3)", 13);
  wire[1636] = std::byte{0x2C};
  wire[1637] = std::byte{0x01};

  const AnnounceRecord record = decodeAnnounceRecord(wire);
  EXPECT_EQ(record.kind, -1);
  EXPECT_EQ(record.address, "10.1.2.3");
  EXPECT_EQ(record.url, "service:a://10.1.2.3:1");
  EXPECT_EQ(record.attributes, "(ip=10.1.2.3)");
  EXPECT_EQ(record.lifetime, 300);
  EXPECT_EQ(encodeAnnounceRecord(record), wire);
}

TEST(AnnounceRecord, ComesBackAsItWasSent) {
  const AnnounceRecord sent = exampleRecord();
  const AnnounceBytes bytes = encodeAnnounceRecord(sent);
  const AnnounceRecord received = decodeAnnounceRecord(bytes);
  EXPECT_EQ(received.kind, sent.kind);
  EXPECT_EQ(received.address, sent.address);
  EXPECT_EQ(received.url, sent.url);
  EXPECT_EQ(received.attributes, sent.attributes);
  EXPECT_EQ(received.lifetime, sent.lifetime);
}

TEST(AnnounceRecord, IsReadInPlace) {
  const AnnounceBytes bytes = encodeAnnounceRecord(exampleRecord());
  const AnnounceRecord record = decodeAnnounceRecord(bytes);
  const auto* const begin = reinterpret_cast<const char*>(bytes.data());
  EXPECT_EQ(record.address.data(), begin + 4);
  EXPECT_EQ(record.url.data(), begin + 36);
  EXPECT_EQ(record.attributes.data(), begin + 100);
}

TEST(AnnounceRecord, CarriesKindsOfEverySign) {
  for (const std::int32_t kind : {-1, 0, 1, 2, 0x01020304, INT32_MIN, INT32_MAX}) {
    AnnounceRecord record;
    record.kind = kind;
    EXPECT_EQ(decodeAnnounceRecord(encodeAnnounceRecord(record)).kind, kind);
  }
}

TEST(AnnounceRecord, PutsTheLowestByteOfTheKindFirst) {
  AnnounceRecord record;
  record.kind = 0x01020304;
  const AnnounceBytes bytes = encodeAnnounceRecord(record);
  EXPECT_EQ(textAt(bytes, 0, 4), "\x04\x03\x02\x01");
}

TEST(AnnounceRecord, CutsAnAddressAt15Bytes) {
  AnnounceRecord record;
  record.address = "[2001:db8::1234:5678]";
  const AnnounceBytes bytes = encodeAnnounceRecord(record);
  EXPECT_EQ(textAt(bytes, 4, 15), "[2001:db8::1234");
  EXPECT_TRUE(isZero(bytes, 19, 36));
}

TEST(AnnounceRecord, CutsAUrlAt64BytesWithoutATerminator) {
  AnnounceRecord record;
  const std::string url = std::string(64, 'u') + "more";
  record.url = url;
  record.attributes = "(ip=1)";
  const AnnounceBytes bytes = encodeAnnounceRecord(record);
  EXPECT_EQ(textAt(bytes, 36, 64), std::string(64, 'u'));
  EXPECT_EQ(textAt(bytes, 100, 6), "(ip=1)");
  // Nothing ends the field, so whoever reads it goes on into the attributes.
  EXPECT_EQ(decodeAnnounceRecord(bytes).url, std::string(64, 'u') + "(ip=1)");
}

TEST(AnnounceRecord, KeepsAUrlOf63BytesWhole) {
  AnnounceRecord record;
  const std::string url(63, 'u');
  record.url = url;
  record.attributes = "(ip=1)";
  const AnnounceBytes bytes = encodeAnnounceRecord(record);
  EXPECT_EQ(decodeAnnounceRecord(bytes).url, url);
}

TEST(AnnounceRecord, CutsAttributesAt1535Bytes) {
  AnnounceRecord record;
  const std::string attributes = std::string(1535, 'a') + "b";
  record.attributes = attributes;
  const AnnounceBytes bytes = encodeAnnounceRecord(record);
  EXPECT_EQ(textAt(bytes, 100, 1535), std::string(1535, 'a'));
  EXPECT_EQ(at(bytes, 1635), 0u);
  EXPECT_EQ(decodeAnnounceRecord(bytes).attributes, std::string(1535, 'a'));
}

TEST(AnnounceRecord, KeepsAttributesOf1535BytesWhole) {
  AnnounceRecord record;
  const std::string attributes(1535, 'a');
  record.attributes = attributes;
  const AnnounceBytes bytes = encodeAnnounceRecord(record);
  EXPECT_EQ(decodeAnnounceRecord(bytes).attributes, attributes);
}

TEST(AnnounceRecord, ReadsFieldsThatNothingEndsUpToTheLastByte) {
  AnnounceBytes bytes;
  bytes.fill(std::byte{'x'});
  const AnnounceRecord record = decodeAnnounceRecord(bytes);
  EXPECT_EQ(record.kind, 0x78787878);
  EXPECT_EQ(record.address, std::string(1636, 'x'));
  EXPECT_EQ(record.url, std::string(1604, 'x'));
  EXPECT_EQ(record.attributes, std::string(1540, 'x'));
  EXPECT_EQ(record.lifetime, 0x7878);
}

TEST(AnnounceRecord, ReadsAnyBytes) {
  std::mt19937 random(20);
  std::uniform_int_distribution<int> anyByte(0, 255);
  for (int round = 0; round < 2'000; ++round) {
    AnnounceBytes bytes;
    for (std::byte& byte : bytes)
      byte = static_cast<std::byte>(anyByte(random));
    const AnnounceRecord record = decodeAnnounceRecord(bytes);
    EXPECT_EQ(record.address, textAt(bytes, 4, 1636).substr(0, textAt(bytes, 4, 1636).find('\0')));
    EXPECT_LE(record.url.size(), 1604u);
    EXPECT_LE(record.attributes.size(), 1540u);
    EXPECT_EQ(record.lifetime, at(bytes, 1636) + 256 * at(bytes, 1637));
  }
}

}  // namespace
