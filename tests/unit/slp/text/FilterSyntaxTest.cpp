#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "slp/wire/Filter.h"
#include "slp/wire/Limits.h"

namespace {

using slp::wire::Filter;
namespace limits = slp::limits;

TEST(FilterSyntax, IsAccepted) {
  for (const std::string_view text : {"(a=1)",
                                      "(a=)",
                                      "(a=*)",
                                      "( a = * )",
                                      "(a=x*y*)",
                                      "(a<=1)",
                                      "(a>=x y)",
                                      "(a~=b)",
                                      "(!(a=1))",
                                      "(!(!(a=1)))",
                                      "(&(a=1))",
                                      "(|(a=1)(b=2)(c=3))",
                                      "(&(q<=3)(speed>=1000))",
                                      " ( & (a=1) \t( | (b=2) (c=3) ) ) ",
                                      "(a=b=c)",
                                      "(a=<>~!,)",
                                      "(a=\\28\\29\\2a\\5c)",
                                      "(a=\\FF\\00\\41)",
                                      "(a=\\ff)",
                                      "(a\\2cb=1)",
                                      "(a_b=1)",
                                      "(a=\xC3\xA4)",
                                      "(x-tag.one=http://h/)"})
    EXPECT_TRUE(Filter::parse(text).has_value()) << text;
}

TEST(FilterSyntax, IsRefused) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"nothing", ""},
      {"white space", "  "},
      {"no parentheses", "a=1"},
      {"no end", "(a=1"},
      {"no start", "a=1)"},
      {"a text behind", "(a=1)x"},
      {"a second filter", "(a=1)(b=2)"},
      {"an end too much", "(a=1))"},
      {"empty parentheses", "()"},
      {"no comparison", "(a)"},
      {"no tag", "(=1)"},
      {"white space as a tag", "( =1)"},
      {"no tag before a sign", "(<=1)"},
      {"less alone", "(a<1)"},
      {"greater alone", "(a>1)"},
      {"about alone", "(a~1)"},
      {"two signs", "(a<>=1)"},
      {"a reserved character in a tag", "(a,b=1)"},
      {"a star in a tag", "(a*=1)"},
      {"a control character in a tag", "(a\x01=1)"},
      {"an open parenthesis in a value", "(a=x(y)"},
      {"and without parts", "(&)"},
      {"or without parts", "(|)"},
      {"not without a part", "(!)"},
      {"not with two parts", "(!(a=1)(b=2))"},
      {"not with a bare comparison", "(!a=1)"},
      {"and with a bare comparison", "(&a=1)"},
      {"a text between parts", "(&(a=1)x(b=2))"},
      {"and without an end", "(&(a=1)"},
      {"a wildcard with <=", "(a<=x*)"},
      {"a wildcard with >=", "(a>=*)"},
      {"a wildcard with ~=", "(a~=x*)"},
      {"a wildcard in an opaque value", "(a=\\FF\\00*)"},
      {"a cut escape", "(a=\\2)"},
      {"an escape without digits", "(a=\\zz)"},
      {"an escape of what is not reserved", "(a=\\41)"},
      {"an escape of what is not reserved in a tag", "(\\41=1)"},
      {"an escape beside a wildcard", "(a=*\\41)"},
      {"an opaque value with plain characters", "(a=\\FF\\00x)"},
  };
  for (const auto& [name, text] : rows)
    EXPECT_FALSE(Filter::parse(text).has_value()) << name;
}

std::string nested(std::string_view start, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i)
    text += start;
  return text + "(a=1)" + std::string(times, ')');
}

TEST(FilterSyntax, HasALimitOfDepth) {
  for (const std::string_view start : {"(!", "(&", "(|"}) {
    EXPECT_TRUE(Filter::parse(nested(start, limits::kMaxFilterDepth - 1)).has_value()) << start;
    EXPECT_FALSE(Filter::parse(nested(start, limits::kMaxFilterDepth)).has_value()) << start;
    EXPECT_FALSE(Filter::parse(nested(start, 1'000'000)).has_value()) << start;
  }
  EXPECT_FALSE(Filter::parse(std::string(1'000'000, '(')).has_value());
}

TEST(FilterSyntax, HasALimitOfTerms) {
  std::string terms;
  for (std::size_t i = 0; i < limits::kMaxFilterTerms; ++i)
    terms += "(a=1)";
  EXPECT_TRUE(Filter::parse("(|" + terms + ")").has_value());
  EXPECT_FALSE(Filter::parse("(|" + terms + "(a=1))").has_value());
  EXPECT_FALSE(Filter::parse("(|(&" + terms + ")(a=1))").has_value());
}

TEST(FilterSyntax, HasALimitOfWildcards) {
  std::string stars;
  for (std::size_t i = 0; i < limits::kMaxWildcards; ++i)
    stars += "*x";
  EXPECT_TRUE(Filter::parse("(a=" + stars + ")").has_value());
  EXPECT_FALSE(Filter::parse("(a=" + stars + "*)").has_value());
}

}  // namespace
