#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "slp/wire/Pattern.h"
#include "slp/wire/Text.h"

namespace {

using slp::wire::Pattern;

struct Row {
  std::string_view pattern;
  std::string_view text;
  bool matches;
};

constexpr Row kRows[] = {
    {"*", "", true},
    {"*", "anything", true},
    {"**", "x", true},
    {"*bob*", "some bob I know", true},
    {"*bob*", "bigbob", true},
    {"*bob*", "bobby", true},
    {"*bob*", "BOB", true},
    {"*bob*", "bo b", false},
    {"bo*", "bob", true},
    {"bo*", "bo", true},
    {"bo*", "abo", false},
    {"*ob", "bob", true},
    {"*ob", "obx", false},
    {"a*a", "a", false},
    {"a*a", "aa", true},
    {"a*b*c", "a-b-c", true},
    {"a*b*c", "acb", false},
    {"a*bc*bc*d", "abcbcd", true},
    {"a*bc*bc*d", "abcd", false},
    {"*a*a*a*", "aa", false},
    {"*a*a*a*", "aaa", true},
    {" A  B* ", "a b c", true},
    {"a *", "a", false},
    {"* b", "a b", true},
    {"x\\2a*", "x*y", true},
    {"x\\2a*", "xay", false},
    {"*\\2c*", "a,b", true},
};

TEST(Pattern, MatchesAnyCharactersAtItsStars) {
  for (const Row& row : kRows)
    EXPECT_EQ(Pattern(row.pattern).matches(slp::wire::folded(row.text)), row.matches) << row.pattern << " " << row.text;
}

TEST(Pattern, CountsTheStarsThatAreNotEscaped) {
  EXPECT_EQ(Pattern::wildcardsIn("a"), 0u);
  EXPECT_EQ(Pattern::wildcardsIn("*a\\2a*"), 2u);
}

// Backtracking, or a search that starts anew at every character, would not come to its end here.
TEST(Pattern, NeedsNoBacktracking) {
  const std::string text(65'535, 'a');
  const std::string almost = std::string(30'000, 'a') + "b";
  std::string many;
  for (int i = 0; i < 30; ++i)
    many += "*a";
  for (int i = 0; i < 1'000; ++i) {
    EXPECT_FALSE(Pattern(many + "*b*").matches(text));
    EXPECT_FALSE(Pattern("*" + almost + "*").matches(text));
  }
}

}  // namespace
