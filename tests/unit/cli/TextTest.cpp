#include <string>

#include <gtest/gtest.h>

#include "cli/Text.h"
#include "json/elements.h"
#include "json/reader.h"
#include "json/writer.h"

namespace cli {
namespace {

using namespace std::string_literals;

struct Row {
  const char* name;
  std::string given;
  std::string expected;
};

class Neutralise : public testing::TestWithParam<Row> {};

TEST_P(Neutralise, MakesTheTextHarmless) {
  EXPECT_EQ(neutralise(GetParam().given), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Texts, Neutralise,
                         testing::Values(Row{"Plain", "host-1 (lab)!", "host-1 (lab)!"}, Row{"Empty", "", ""},
                                         Row{"Umlauts", "K\xC3\xB6ln", "K\xC3\xB6ln"},
                                         Row{"Colour", "\x1b[31mred", "\\u001b[31mred"},
                                         Row{"LineEnds", "a\r\nb\tc", "a\\u000d\\u000ab\\u0009c"},
                                         Row{"Nul", "a\0b"s, "a\\u0000b"}, Row{"Delete", "\x7f", "\\u007f"},
                                         Row{"EightBitEscape",
                                             "\xC2\x9B"
                                             "2J",
                                             "\\u009b2J"},
                                         Row{"TurnedDirection",
                                             "a\xE2\x80\xAE"
                                             "b",
                                             "a\\u202eb"},
                                         Row{"ZeroWidth",
                                             "a\xE2\x80\x8B"
                                             "b",
                                             "a\\u200bb"},
                                         Row{"InvisibleTag", "\xF3\xA0\x81\x81", "\\U000e0041"},
                                         Row{"LineSeparator", "\xE2\x80\xA8", "\\u2028"},
                                         Row{"StrayByte",
                                             "a\x9B"
                                             "b",
                                             "a\xEF\xBF\xBD"
                                             "b"},
                                         Row{"CutSequence", "a\xE2\x80", "a\xEF\xBF\xBD"},
                                         Row{"OverlongEscape", "\xC0\x9B", "\xEF\xBF\xBD"},
                                         Row{"SurrogateHalf", "\xED\xA0\x80", "\xEF\xBF\xBD"}),
                         [](const auto& row) { return row.param.name; });

TEST(NeutraliseJson, KeepsTheDocumentAndEscapesWhatATerminalWouldObey) {
  json::Object object;
  object["name"] = json::String(
      "\xC2\x9B"
      "2J\xE2\x80\xAE\xF3\xA0\x81\x81 ok");
  std::string document;
  json::Writer::Write(object, document, true);

  const std::string safe = neutraliseJson(document);

  EXPECT_EQ(safe.find('\xC2'), std::string::npos);
  EXPECT_NE(safe.find("\\u009b2J\\u202e\\udb40\\udc41 ok"), std::string::npos) << safe;
  json::Object readBack;
  json::Reader::Read(readBack, safe);
  EXPECT_EQ(readBack, object);
}

TEST(DisplayWidth, CountsTerminalColumns) {
  EXPECT_EQ(displayWidth(""), 0u);
  EXPECT_EQ(displayWidth("abc"), 3u);
  EXPECT_EQ(displayWidth("K\xC3\xB6ln"), 4u);
  EXPECT_EQ(displayWidth("e\xCC\x81"), 1u) << "a mark takes no column of its own";
  EXPECT_EQ(displayWidth("\xE6\x9D\xB1\xE4\xBA\xAC"), 4u) << "two characters of two columns";
}

TEST(Shorten, LeavesAloneWhatFits) {
  EXPECT_EQ(shorten("exactly ten", 11), "exactly ten");
}

TEST(Shorten, CutsWhatIsTooWideAndSaysSo) {
  EXPECT_EQ(shorten("abcdefghijkl", 8), "abcde...");
}

TEST(Shorten, NeverCutsACharacterInTwo) {
  EXPECT_EQ(shorten("\xE6\x9D\xB1\xE4\xBA\xAC\xE9\x83\xBD", 5), "\xE6\x9D\xB1...");
}

TEST(Shorten, BoundsTheMarksThatPileUpOnACharacter) {
  std::string tower = "e";
  for (int i = 0; i < 1000; ++i)
    tower += "\xCC\x81";
  EXPECT_LT(shorten(tower, 10).size(), 100u);
}

}  // namespace
}  // namespace cli
