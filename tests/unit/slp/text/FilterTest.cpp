#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "slp/wire/Filter.h"

namespace {

using slp::wire::AttributeList;
using slp::wire::Filter;

bool matches(std::string_view filter, std::string_view attributes) {
  const auto parsed = Filter::parse(filter);
  EXPECT_TRUE(parsed.has_value()) << filter;
  return parsed && parsed->matches(AttributeList(attributes));
}

bool mayMatch(std::string_view filter, std::string_view attributes) {
  const auto parsed = Filter::parse(filter);
  return parsed && parsed->mayMatch(attributes);
}

struct Row {
  std::string_view filter;
  std::string_view attributes;
  bool matches;
};

void expectRows(const auto& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(matches(row.filter, row.attributes), row.matches) << row.filter << " of " << row.attributes;
    EXPECT_TRUE(mayMatch(row.filter, row.attributes) || !row.matches) << row.filter << " of " << row.attributes;
  }
}

TEST(Filter, KnowsFromTheTextAloneWhatHasNotItsTags) {
  constexpr Row kRows[] = {
      {"(zz=1)", "(a=1),(z=2)", false},
      {"(zz=*)", "(a=1),(z=2)", false},
      {"(!(zz=1))", "(a=1)", true},
      {"(!(zz=*))", "(a=1)", true},
      {"(&(a=1)(zz=1))", "(a=1)", false},
      {"(|(a=1)(zz=1))", "(a=1)", true},
      {"(zz=1)", "(ZZ=2)", true},
      {"(zz=1)", "(\\5a\\5a=1)", true},
      {"(some tag=1)", "(Some  Tag=1)", true},
      {"(zz=1)", "", false},
  };
  for (const Row& row : kRows)
    EXPECT_EQ(mayMatch(row.filter, row.attributes), row.matches) << row.filter << " of " << row.attributes;
}

TEST(Filter, MatchesAnyValueOfAnAttribute) {
  constexpr Row kRows[] = {
      {"(x=3)", "(x=1,2,3)", true},
      {"(x=4)", "(x=1,2,3)", false},
      {"(x=3)", "(x=1),(x=3)", true},
      {"(x=b)", "(x=a,B)", true},
      {"(x=1)", "", false},
      {"(x=1)", "(y=1)", false},
      {"(x=1)", "x", false},
      {"( X = 1 )", "(x=1)", true},
      {"(Some  Tag=1)", "(some tag=1)", true},
      {"(a\\2cb=1)", "(A\\2Cb=1)", true},
  };
  expectRows(kRows);
}

TEST(Filter, ComparesValuesOfTheSameKindOnly) {
  constexpr Row kRows[] = {
      {"(x=33)", "(x=true)", false},
      {"(x=33)", "(x=33)", true},
      {"(x=033)", "(x=33)", true},
      {"(x=33)", "(x=33a)", false},
      {"(x=33)", "(x=\\FF\\33\\33)", false},
      {"(x=true)", "(x=TRUE)", true},
      {"(x=true)", "(x=false)", false},
      {"(x=true)", "(x=1)", false},
      {"(x=true)", "(x=truely)", false},
      {"(y=foo)", "(y=FOO)", true},
      {"(y= some   STRING )", "(y=Some String)", true},
      {"(y=)", "(y=)", true},
      {"(y=)", "(y=a)", false},
      {"(y=\\FF\\41)", "(y=\\ff\\41)", true},
      {"(y=\\FF\\41)", "(y=\\ff\\61)", false},
      {"(y=\\FF\\41)", "(y=A)", false},
      {"(y=\\28a\\29)", "(y=\\28A\\29)", true},
      {"(y=a\\2cb)", "(y=a,b)", false},
      {"(y=a\\2ab)", "(y=a*b)", true},
      {"(y~=FOO)", "(y=foo)", true},
      {"(y~=FOO)", "(y=fop)", false},
      {"(|(x=33)(y=foo))", "(x=true),(y=FOO)", true},
  };
  expectRows(kRows);
}

TEST(Filter, TakesStarsForAnyCharactersOfAString) {
  constexpr Row kRows[] = {
      {"(x=34*)", "(x=34foo)", true},
      {"(x=34*)", "(x=3432)", false},
      {"(x=*)", "(x=3432)", true},
      {"(x=tr*)", "(x=true)", false},
      {"(x=tr*)", "(x=tree)", true},
      {"(x=*ob)", "(x=Bob)", true},
      {"(x=a*c*e)", "(x=abcde)", true},
      {"(x=a*c*e)", "(x=abdce)", true},
      {"(x=a*c*e)", "(x=abde)", false},
      {"(x=\\2a*)", "(x=*a)", true},
      {"(x=\\2a*)", "(x=ba)", false},
      {"(x=a*)", "(x=\\FF\\61)", false},
      {"(x=* string)", "(x=A   String)", true},
      {"(x=**)", "(x=1)", false},
      {"(x=**)", "(x=a)", true},
      {"(x=z*)", "(x=a,b,Zed)", true},
  };
  expectRows(kRows);
}

TEST(Filter, TellsWhatIsPresent) {
  constexpr Row kRows[] = {
      {"(keyword=*)", "Keyword", true},     {"(keyword=*)", "(keyword=1)", true}, {"(keyword=*)", "(a=1),b", false},
      {"(keyword=true)", "keyword", false}, {"(!(keyword=*))", "keyword", false}, {"(!(keyword=*))", "", true},
  };
  expectRows(kRows);
}

TEST(Filter, OrdersIntegersAndStrings) {
  constexpr Row kRows[] = {
      {"(q<=3)", "(q=3)", true},
      {"(q<=3)", "(q=4)", false},
      {"(q<=3)", "(q=-4)", true},
      {"(q>=3)", "(q=3)", true},
      {"(q>=3)", "(q=2)", false},
      {"(q>=3)", "(q=20)", true},
      {"(q>=-1)", "(q=-2)", false},
      {"(q<=3)", "(q=9,8,3)", true},
      {"(s<=b)", "(s=A)", true},
      {"(s<=b)", "(s=B)", true},
      {"(s<=b)", "(s=ba)", false},
      {"(s>=b)", "(s=\xC3\xA4)", true},
      {"(q<=3)", "(q=a)", false},
      {"(s>=a)", "(s=5)", false},
      {"(b<=true)", "(b=true)", false},
      {"(b>=false)", "(b=true)", false},
      {"(o<=\\FF\\01)", "(o=\\FF\\01)", false},
      {"(q<=3)", "q", false},
      {"(q<=3)", "", false},
      {"(q<=2147483648)", "(q=1)", false},
      {"(&(q<=3)(speed>=1000))", "(q=2),(speed=1000)", true},
      {"(&(q<=3)(speed>=1000))", "(q=2),(speed=999)", false},
  };
  expectRows(kRows);
}

TEST(Filter, NegatesTheComparisonOfEachValue) {
  constexpr Row kRows[] = {
      {"(!(y=0))", "(y=0,1)", true},    {"(!(y=0))", "(y=0)", false},    {"(!(y=0))", "(y=1)", true},
      {"(!(y=0))", "(y=x)", true},      {"(!(y=0))", "", true},          {"(!(y=0))", "y", true},
      {"(!(!(y=0)))", "(y=0,1)", true}, {"(!(!(y=0)))", "(y=1)", false}, {"(!(y<=3))", "(y=4)", true},
      {"(!(y<=3))", "(y=3)", false},    {"(!(y=a*))", "(y=abc)", false}, {"(!(y=a*))", "(y=abc,b)", true},
  };
  expectRows(kRows);
}

TEST(Filter, JoinsItsParts) {
  constexpr Row kRows[] = {
      {"(&(a=1)(b=2))", "(a=1),(b=2)", true},
      {"(&(a=1)(b=2))", "(a=1),(b=3)", false},
      {"(|(a=1)(b=2))", "(a=0),(b=2)", true},
      {"(|(a=1)(b=2))", "(a=0),(b=0)", false},
      {"(!(&(a=1)(b=2)))", "(a=1),(b=2)", false},
      {"(!(&(a=1)(b=2)))", "(a=1),(b=3)", true},
      {"(!(|(a=1)(b=2)))", "(a=0),(b=0)", true},
      {"(!(|(a=1)(b=2)))", "(a=1),(b=0)", false},
      {"(!(|(a=1)(!(b=2))))", "(a=0),(b=2)", true},
      {"(!(|(a=1)(!(b=2))))", "(a=0),(b=3)", false},
      {"(&(|(a=1)(b=1))(|(c=1)(d=1)))", "(b=1),(c=1)", true},
      {"(&(|(a=1)(b=1))(|(c=1)(d=1)))", "(a=1),(b=1)", false},
  };
  expectRows(kRows);
}

TEST(Filter, SeesWhatCanBeReadOfABrokenList) {
  constexpr std::string_view kList = R"~((ip=10.0.0.5))(server={"a":[1,2],"b":"x(y)"}))~";
  EXPECT_TRUE(matches("(ip=10.0.0.5)", kList));
  EXPECT_TRUE(matches("(server=*)", kList));
  EXPECT_TRUE(matches("(server={*)", kList));
  EXPECT_FALSE(matches("(b=*)", kList));
}

TEST(Filter, IsMoved) {
  auto filter = Filter::parse("(a=1)");
  ASSERT_TRUE(filter.has_value());
  Filter other = std::move(*filter);
  EXPECT_TRUE(other.matches(AttributeList("(a=1)")));
  *filter = std::move(other);
  EXPECT_TRUE(filter->matches(AttributeList("(a=1)")));
}

}  // namespace
