#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "slp/wire/AttributeList.h"
#include "slp/wire/Limits.h"

namespace {

using namespace slp::wire;

TEST(AttributeSelection, GivesTheAttributesAskedForAsTheyStand) {
  struct Row {
    std::string_view name;
    std::string_view attributes;
    std::string_view tags;
    std::string_view expected;
  };
  const Row rows[] = {
      {"no tags", "(a=1))(b={\"x\"", "", "(a=1))(b={\"x\""},
      {"no tags but commas", "(a=1))", " , ", "(a=1))"},
      {"no attributes", "", "a", ""},
      {"one tag", "(a=1),(b= 2  x),c", "b", "(b= 2  x)"},
      {"the order of the attributes", "(a=1),(b=2),c", "c,a", "(a=1),c"},
      {"other case and white space", "(Some  Tag=X)", " SOME tag ", "(Some  Tag=X)"},
      {"an unknown tag", "(a=1)", "b", ""},
      {"the example of RFC 2608", "(location-description=13te Etage),(resolution=res-600),(x-y=1)", "resolution,loc*",
       "(location-description=13te Etage),(resolution=res-600)"},
      {"a star alone", "(a=1),b", "*", "(a=1),b"},
      {"a star in front", "(abc=1),(bc=2),(bcd=3)", "*bc", "(abc=1),(bc=2)"},
      {"stars around", "(Some bob I know=1),bigbob,(bobby=2),bob,(bo=3)", "*bob*",
       "(Some bob I know=1),bigbob,(bobby=2),bob"},
      {"a tag and a pattern for the same attribute", "(a=1)", "a,a*,*", "(a=1)"},
      {"an escaped tag", "(a\\2Cb=1),(a=2)", "A\\2cb", "(a\\2Cb=1)"},
      {"a tag twice", "(a=1),(a=2)", "a", "(a=1),(a=2)"},
      {"terms joined by a doubled parenthesis", R"~((ip=1))(server={"a":[1,2],"b":"x(y)"}))~", "server",
       R"~((server={"a":[1,2],"b":"x(y)"}))~"},
      {"escapes and opaque values", "(a=\\FF\\00),(b=x\\2cy)", "a,b", "(a=\\FF\\00),(b=x\\2cy)"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(selectAttributes(row.attributes, row.tags), row.expected) << row.name;
}

TEST(AttributeSelection, LeavesPatternsBeyondTheLimitOut) {
  std::string patterns;
  for (std::size_t i = 0; i < slp::limits::kMaxWildcards; ++i)
    patterns += "x*,";
  EXPECT_EQ(selectAttributes("(a=1),(b=2)", patterns.substr(3) + "a*"), "(a=1)");
  EXPECT_EQ(selectAttributes("(a=1),(b=2)", patterns + "a*,b"), "(b=2)");
}

TEST(AttributeMerge, GivesEachTagAndEachOfItsValuesOnce) {
  struct Row {
    std::string_view name;
    std::vector<std::string_view> lists;
    std::string_view expected;
  };
  const Row rows[] = {
      {"nothing", {}, ""},
      {"empty lists", {"", ""}, ""},
      {"a single list, whatever it holds", {"(a=1))(b={\"x\":[1,1]}),"}, "(a=1))(b={\"x\":[1,1]}),"},
      {"a single list beside empty ones", {"", "(a=1,1)", ""}, "(a=1,1)"},
      {"equal lists", {"(a=1,1))", "(a=1,1))"}, "(a=1,1))"},
      {"the example of RFC 2608", {"(A=a a,b)", "(a=A   A,B)"}, "(A=a a,b)"},
      {"further values", {"(a=1,2)", "(a=2,3),(b=x)"}, "(a=1,2,3),(b=x)"},
      {"values of different kinds", {"(a=1)", "(a=\\FF\\31,one,true)"}, "(a=1,\\FF\\31,one,true)"},
      {"numbers in other digits", {"(a=5)", "(a=05, 5 ,-5)"}, "(a=5,-5)"},
      {"escapes in other digits", {"(a=x\\2cy)", "(a=X\\2Cy)"}, "(a=x\\2cy)"},
      {"keywords", {"k,(a=1)", "K,l"}, "k,(a=1),l"},
      {"a keyword that has values elsewhere", {"k,(a=1)", "(k=2)"}, "(k=2),(a=1)"},
      {"an attribute that is a keyword elsewhere", {"(k=2)", "k"}, "(k=2)"},
      {"white space is kept", {"( a = 1 )", "(b=  x  )"}, "( a = 1 ),(b=  x  )"},
      {"what cannot be read is left out", {"(a=1))(b=2)x", "(c=3"}, "(a=1),(b=2)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    bool cut = true;
    EXPECT_EQ(mergeAttributes(row.lists, 65'535, cut), row.expected);
    EXPECT_FALSE(cut);
    // The exact size is enough, and one byte less is not.
    EXPECT_EQ(mergeAttributes(row.lists, row.expected.size(), cut), row.expected);
    EXPECT_FALSE(cut);
    if (row.expected.empty()) continue;
    EXPECT_LT(mergeAttributes(row.lists, row.expected.size() - 1, cut).size(), row.expected.size());
    EXPECT_TRUE(cut);
  }
}

TEST(AttributeMerge, StopsAtAWholeAttribute) {
  bool cut = false;
  EXPECT_EQ(mergeAttributes({"(a=1),(b=2),c"}, 12, cut), "(a=1),(b=2)");
  EXPECT_TRUE(cut);
  EXPECT_EQ(mergeAttributes({"(a=1),(b=2)", "(a=3,4),(c=5)"}, 13, cut), "(a=1),(b=2)");
  EXPECT_TRUE(cut);
  EXPECT_EQ(mergeAttributes({"(a=1)", "(b=2)"}, 4, cut), "");
  EXPECT_TRUE(cut);
  EXPECT_EQ(mergeAttributes({"(a=1)", "(b=2)"}, 0, cut), "");
  EXPECT_TRUE(cut);
}

// With a search of all tags or values for each of them, neither would come to its end.
TEST(AttributeMerge, TakesManyTagsAndValues) {
  std::string tags;
  std::string values = "(a=0";
  for (int i = 0; i < 100'000; ++i) {
    tags += "(t" + std::to_string(i) + "=1),";
    values += "," + std::to_string(i);
  }
  bool cut = false;
  EXPECT_EQ(mergeAttributes({tags, tags + "(x=1)"}, 1U << 24U, cut), tags + "(x=1)");
  EXPECT_EQ(mergeAttributes({values + ")", values + ",1)"}, 1U << 24U, cut), "(a=0" + values.substr(6) + ")");
  EXPECT_FALSE(cut);
  EXPECT_EQ(selectAttributes(tags, tags), "");
}

}  // namespace
