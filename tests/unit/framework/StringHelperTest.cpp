#include <gtest/gtest.h>

#include "framework/utils/StringHelper.h"

namespace {

using utils::StringHelper;
using Pieces = std::vector<std::string>;

Pieces split(const std::string& text, const std::string& separator) {
  Pieces pieces{"what was there before"};
  StringHelper::split(pieces, text, separator);
  return pieces;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  StringHelper::replace(text, from, to);
  return text;
}

TEST(StringHelper, SplitKeepsEmptyPiecesButTheLast) {
  EXPECT_EQ(split("(ip=A))(server=B)", ")"), (Pieces{"(ip=A", "", "(server=B"}));
  EXPECT_EQ(split("a,b", ","), (Pieces{"a", "b"}));
  EXPECT_EQ(split(",a", ","), (Pieces{"", "a"}));
  EXPECT_EQ(split("a,,", ","), (Pieces{"a", ""}));
  EXPECT_EQ(split(",", ","), (Pieces{""}));
}

TEST(StringHelper, SplitWithoutSeparatorGivesTheWholeText) {
  EXPECT_EQ(split("abc", ","), (Pieces{"abc"}));
  EXPECT_EQ(split("abc", ""), (Pieces{"abc"}));
}

TEST(StringHelper, SplitOfNothingIsNothing) {
  EXPECT_EQ(split("", ","), Pieces{});
  EXPECT_EQ(split("", ""), Pieces{});
}

TEST(StringHelper, SplitTakesLongSeparators) {
  EXPECT_EQ(split("a::b:c::", "::"), (Pieces{"a", "b:c"}));
}

TEST(StringHelper, SplitMayReadFromTheListItFills) {
  Pieces pieces{"a,b"};
  StringHelper::split(pieces, pieces.front(), ",");
  EXPECT_EQ(pieces, (Pieces{"a", "b"}));
}

TEST(StringHelper, ReplaceTakesEveryOccurrenceFromLeftToRight) {
  EXPECT_EQ(replaced("aXbXc", "X", "--"), "a--b--c");
  EXPECT_EQ(replaced("aaa", "aa", "b"), "ba");
  EXPECT_EQ(replaced("abc", "b", ""), "ac");
}

TEST(StringHelper, ReplaceDoesNotSearchWhatItPutIn) {
  EXPECT_EQ(replaced("a", "a", "aa"), "aa");
}

TEST(StringHelper, ReplaceOfNothingChangesNothing) {
  EXPECT_EQ(replaced("abc", "", "x"), "abc");
}

TEST(StringHelper, LowersAsciiOnly) {
  std::string text = "Az[\xC3\x84\x5D";
  StringHelper::to_lower(text);
  EXPECT_EQ(text, "az[\xC3\x84\x5D");
}

TEST(StringHelper, ComparesWithoutCase) {
  EXPECT_TRUE(StringHelper::compare_ignore_case("Server-A", "sERVER-a"));
  EXPECT_TRUE(StringHelper::compare_ignore_case("", ""));
  EXPECT_FALSE(StringHelper::compare_ignore_case("server", "server1"));
  EXPECT_FALSE(StringHelper::compare_ignore_case("[", "{"));
}

TEST(StringHelper, HashesEqualTextsAlikeInEveryProcess) {
  EXPECT_EQ(StringHelper::getStringArrayHashCode(""), 0);
  EXPECT_EQ(StringHelper::getStringArrayHashCode("ab"), 97 * 31 + 98);
  EXPECT_NE(StringHelper::getStringArrayHashCode("ab"), StringHelper::getStringArrayHashCode("ba"));
  // Long enough to wrap around.
  EXPECT_EQ(StringHelper::getStringArrayHashCode(std::string(100, 'z')),
            StringHelper::getStringArrayHashCode(std::string(100, 'z')));
}

}  // namespace
