#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "slp/wire/Limits.h"
#include "slp/wire/StringList.h"

namespace {

using namespace slp::wire;
using Elements = std::vector<std::string_view>;

TEST(StringList, IsSplitAtItsCommas) {
  struct Row {
    std::string_view name;
    std::string_view list;
    Elements elements;
  };
  const Row rows[] = {
      {"nothing", "", {}},
      {"one", "DEFAULT", {"DEFAULT"}},
      {"two", "a,b", {"a", "b"}},
      {"white space around", " a ,\tb c\r\n", {"a", "b c"}},
      {"empty elements", ",a,, ,b,", {"a", "b"}},
      {"an escaped comma", "a\\2cb,c", {"a\\2cb", "c"}},
  };
  for (const Row& row : rows)
    EXPECT_EQ(splitList(row.list), row.elements) << row.name;
}

TEST(StringList, IsReadNoFartherThanItsLimit) {
  std::string list;
  for (std::size_t i = 0; i < slp::limits::kMaxListElements; ++i)
    list += "x,";
  EXPECT_TRUE(contains(list.substr(2) + "last", "last"));
  EXPECT_FALSE(contains(list + "last", "last"));
  EXPECT_EQ(splitList(list + "last").size(), slp::limits::kMaxListElements);
  EXPECT_FALSE(intersects(list + "last", "last"));
}

struct Pair {
  std::string_view name;
  std::string_view left;
  std::string_view right;
  std::string_view common;
};

constexpr Pair kPairs[] = {
    {"both empty", "", "", ""},
    {"one empty", "DEFAULT", "", ""},
    {"the same", "DEFAULT", "DEFAULT", "DEFAULT"},
    {"other case and white space", " Bldg  32 ,x", "y,BLDG 32", "Bldg  32"},
    {"nothing in common", "a,b", "c,d", ""},
    {"one in common", "a,b", "b,c", "b"},
    {"order and spelling of the left", "C,b,A", "a,x,c", "C,A"},
    {"a part is no element", "default", "defaul,efault", ""},
    {"escapes in other digits", "a\\2Cb", "A\\2cB", "a\\2Cb"},
    {"an escape on one side", "a\\2eb", "a.b", "a\\2eb"},
    {"an escaped comma does not part", "a\\2cb", "a,b", ""},
    {"empty elements are none", ",,", ", ,", ""},
};

TEST(StringList, TellsWhatItHasInCommonWithAnother) {
  for (const Pair& row : kPairs) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(intersection(row.left, row.right), row.common);
    EXPECT_EQ(intersects(row.left, row.right), !row.common.empty());
    EXPECT_EQ(intersects(row.right, row.left), !row.common.empty());
  }
}

TEST(StringList, TellsTheSameOfLongLists) {
  std::string padding;
  for (int i = 0; i < 100; ++i)
    padding += ",padding " + std::to_string(i);
  for (const Pair& row : kPairs) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(intersects(row.left, std::string(row.right) + padding), !row.common.empty());
    EXPECT_EQ(intersects(std::string(row.right) + padding, row.left), !row.common.empty());
    EXPECT_EQ(intersection(row.left, std::string(row.right) + padding), row.common);
  }
}

TEST(StringList, MergesListsIntoOneWithEachElementOnce) {
  const std::vector<std::string_view> lists{"b, A ,b", "", "a,Some  Scope,c", R"(some scope,x\2c,c, x\2C)"};
  EXPECT_EQ(merged(lists), R"(b,A,Some  Scope,c,x\2c)");
  EXPECT_EQ(merged({}), "");
}

TEST(StringList, MergesSoManyElementsInAll) {
  const auto numbered = [](std::size_t first) {
    std::string list;
    for (std::size_t i = 0; i < slp::limits::kMaxListElements / 2 + 1; ++i)
      list += std::to_string(first + i) + ",";
    return list;
  };
  const std::string first = numbered(0);
  const std::string second = numbered(10'000);
  const std::vector<std::string_view> lists{first, second, "last"};
  const std::string all = merged(lists);
  EXPECT_EQ(std::count(all.begin(), all.end(), ',') + 1, slp::limits::kMaxListElements);
  EXPECT_FALSE(contains(all, "last"));
}

TEST(StringList, ContainsAnElementComparedFolded) {
  EXPECT_TRUE(contains("a, Some  Scope ,b", "some scope"));
  EXPECT_TRUE(contains("10.0.0.1,10.0.0.2", "10.0.0.2"));
  EXPECT_FALSE(contains("10.0.0.1,10.0.0.20", "10.0.0.2"));
  EXPECT_FALSE(contains("", "a"));
  EXPECT_FALSE(contains("a,b", ""));
}

}  // namespace
