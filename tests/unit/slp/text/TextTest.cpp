#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "slp/wire/Text.h"

namespace {

using namespace slp::wire;

struct Comparison {
  std::string_view name;
  std::string_view left;
  std::string_view right;
  int sign;
};

constexpr Comparison kComparisons[] = {
    {"nothing", "", "", 0},
    {"white space alone", " \t\r\n", "", 0},
    {"the example of RFC 2608", "  Some String  ", "SOME    STRING", 0},
    {"every kind of white space inside", "a b", "A\t\r\n B", 0},
    {"a blank inside against none", "a b", "ab", -1},
    {"a shorter text first", "ab", "abc", -1},
    {"trailing white space against more text", "ab  ", "ab c", -1},
    {"letters by their small forms", "B", "_", 1},
    {"digits before letters", "9", "A", -1},
    {"bytes beyond ASCII are unsigned", "z", "\xC3\xA4", -1},
    {"no case beyond ASCII", "\xC3\x84", "\xC3\xA4", -1},
    {"the ends of the alphabet", "AZ@[", "az@[", 0},
    {"a NUL is a byte like any other", std::string_view("a\0b", 3), std::string_view("A\0B", 3), 0},
    {"a NUL does not end a text", std::string_view("a\0b", 3), std::string_view("a\0c", 3), -1},
};

int signOf(int number) {
  return (number > 0) - (number < 0);
}

TEST(Text, TellsControlCharacters) {
  for (const char control : {'\0', '\t', '\n', '\x1F', '\x7F'})
    EXPECT_TRUE(isControl(control)) << int{control};
  for (const char other : {' ', '~', 'a', '\x80', '\xFF'})
    EXPECT_FALSE(isControl(other)) << int{other};
}

TEST(Text, IsComparedWithoutCaseAndWithWhiteSpaceFolded) {
  for (const Comparison& row : kComparisons) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(signOf(compareFolded(row.left, row.right)), row.sign);
    EXPECT_EQ(signOf(compareFolded(row.right, row.left)), -row.sign);
    EXPECT_EQ(equalFolded(row.left, row.right), row.sign == 0);
  }
}

TEST(Text, ComparesAsItsFoldedFormsDo) {
  for (const Comparison& one : kComparisons) {
    for (const Comparison& other : kComparisons) {
      SCOPED_TRACE(std::string(one.name) + ", " + std::string(other.name));
      EXPECT_EQ(signOf(compareFolded(one.left, other.right)), signOf(folded(one.left).compare(folded(other.right))));
    }
  }
}

TEST(Text, IsFoldedOnce) {
  EXPECT_EQ(folded("  Some \t String\r\n"), "some string");
  EXPECT_EQ(folded(folded("  A  B ")), folded("  A  B "));
}

TEST(Text, KeepsOneBlankAtTheEndsOfAPiece) {
  EXPECT_EQ(foldedPiece("  Some  String\t\t"), " some string ");
  EXPECT_EQ(foldedPiece(""), "");
}

TEST(Text, NamesItsPrimaryLanguage) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"en", "en"}, {"en-GB", "en"}, {"zh-Hant-TW", "zh"}, {" de-AT ", "de"}, {"", ""}, {"-x", ""}};
  for (const auto& [tag, language] : rows)
    EXPECT_EQ(primaryLanguage(tag), language) << tag;
}

}  // namespace
