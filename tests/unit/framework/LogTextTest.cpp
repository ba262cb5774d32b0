#include <gtest/gtest.h>

#include "framework/utils/LogText.h"

namespace {

using utils::logging::kMaxRecordLength;
using utils::logging::printable;

TEST(LogText, LeavesOrdinaryTextAlone) {
  EXPECT_EQ(printable(""), "");
  EXPECT_EQ(printable("found \"srv\\1\" at fe80::1%eth0 – naïve"), "found \"srv\\1\" at fe80::1%eth0 – naïve");
}

TEST(LogText, ForgesNoLines) {
  EXPECT_EQ(printable("a\nerror: b"), "a\\nerror: b");
  EXPECT_EQ(printable("a\r\tb"), "a\\r\\tb");
  EXPECT_EQ(printable(std::string("a\0b", 3)), "a\\x00b");
}

TEST(LogText, DrivesNoTerminal) {
  EXPECT_EQ(printable("\x1B[2J"), "\\x1b[2J");
  EXPECT_EQ(printable("\x7F"), "\\x7f");
  EXPECT_EQ(printable("\xC2\x9B"
                      "2J"),
            "\\x9b2J");
  EXPECT_EQ(printable("\xC2\xA0"), "\xC2\xA0");
  EXPECT_EQ(printable("\xC2"), "\xC2");
}

TEST(LogText, CutsWhatIsTooLong) {
  EXPECT_EQ(printable(std::string(kMaxRecordLength, 'a')), std::string(kMaxRecordLength, 'a'));
  EXPECT_EQ(printable(std::string(kMaxRecordLength + 1, 'a')), std::string(kMaxRecordLength, 'a') + "...");
}

TEST(LogText, CutsNoCharacterInTwo) {
  EXPECT_EQ(printable(std::string(kMaxRecordLength - 1, 'a') + "\xC3\xA9\xC3\xA9"),
            std::string(kMaxRecordLength - 1, 'a') + "...");
}

}  // namespace
