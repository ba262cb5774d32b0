#include <algorithm>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "CaptureExpectations.h"
#include "Pcap.h"
#include "slp/wire/Codec.h"

// Exchanges of other agents and clients, message for message: what we read is what a dissector reads, and what we write
// for the same values is the same bytes.
namespace slp::test {
namespace {

constexpr int kCaptures = 27;

class Captures : public testing::TestWithParam<int> {
 protected:
  static std::vector<CaptureExpectation> expectations() {
    std::vector<CaptureExpectation> ofThis;
    std::ranges::copy_if(captureExpectations(), std::back_inserter(ofThis),
                         [](const CaptureExpectation& row) { return row.capture == GetParam(); });
    return ofThis;
  }
};

std::string name(const testing::TestParamInfo<int>& info) {
  return "Capture" + std::to_string(info.param);
}

void expectRead(const CapturedMessage& captured, const CaptureExpectation& row) {
  const auto decoded = wire::decode(wire::bytesOf(captured.bytes));
  if (const auto* error = std::get_if<wire::ErrorCode>(&row.expected)) {
    ASSERT_TRUE(std::holds_alternative<wire::Rejected>(decoded));
    EXPECT_EQ(std::get<wire::Rejected>(decoded).error, *error);
    return;
  }
  ASSERT_TRUE(std::holds_alternative<wire::Message>(decoded));
  const auto& message = std::get<wire::Message>(decoded);
  const auto& expected = std::get<wire::Message>(row.expected);
  EXPECT_EQ(message.header, expected.header);
  EXPECT_EQ(message.body.index(), expected.body.index());
  EXPECT_TRUE(message.body == expected.body);
  EXPECT_TRUE(message.extensions == expected.extensions);
}

TEST_P(Captures, DecodeToWhatADissectorSays) {
  const std::vector<CapturedMessage> messages = readCapture(capturePath(GetParam()));
  const std::vector<CaptureExpectation> rows = expectations();
  ASSERT_EQ(messages.size(), rows.size());
  ASSERT_FALSE(rows.empty());
  for (std::size_t index = 0; index < rows.size(); ++index) {
    SCOPED_TRACE("frame " + std::to_string(rows[index].frame));
    EXPECT_EQ(messages[index].frame, rows[index].frame);
    expectRead(messages[index], rows[index]);
  }
}

TEST_P(Captures, AreWrittenByTheSameBytes) {
  const std::vector<CapturedMessage> messages = readCapture(capturePath(GetParam()));
  const std::vector<CaptureExpectation> rows = expectations();
  ASSERT_EQ(messages.size(), rows.size());
  for (std::size_t index = 0; index < rows.size(); ++index) {
    const auto* message = std::get_if<wire::Message>(&rows[index].expected);
    if (message == nullptr) continue;
    SCOPED_TRACE("frame " + std::to_string(rows[index].frame));
    std::string written;
    ASSERT_TRUE(wire::encode(*message, written));
    EXPECT_EQ(written, messages[index].bytes);
  }
}

INSTANTIATE_TEST_SUITE_P(Each, Captures, testing::Range(1, kCaptures + 1), name);

}  // namespace
}  // namespace slp::test
