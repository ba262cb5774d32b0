#include <limits>
#include <utility>

#include <gtest/gtest.h>

#include "json/elements.h"
#include "unit/json/Documents.h"

namespace {

using json::Array;
using json::Number;
using json::UnknownElement;

Array arrayOf(std::initializer_list<double> values) {
  Array array;
  for (const double value : values) {
    array.Insert(Number(value));
  }
  return array;
}

TEST(JsonArray, IsEmptyAtFirst) {
  const Array array;
  EXPECT_TRUE(array.Empty());
  EXPECT_EQ(array.Size(), 0u);
  EXPECT_EQ(array.Begin(), array.End());
  Array other;
  EXPECT_EQ(other.Begin(), other.End());
}

TEST(JsonArray, InsertsAtTheEnd) {
  const Array array = arrayOf({1, 2, 3});
  EXPECT_FALSE(array.Empty());
  EXPECT_EQ(array.Size(), 3u);
  EXPECT_EQ(written(array), "[1,2,3]");
}

TEST(JsonArray, InsertsBeforeAPosition) {
  Array array = arrayOf({1, 2});
  const Array::iterator inserted = array.Insert(Number(7), array.Begin() + 1);
  EXPECT_TRUE(*inserted == Number(7));
  array.Insert(Number(8), array.End());
  array.Insert(Number(9), array.Begin());
  EXPECT_EQ(written(array), "[9,1,7,2,8]");
}

TEST(JsonArray, InsertsIntoNothingAtItsEnd) {
  Array array;
  array.Insert(Number(1), array.End());
  EXPECT_EQ(written(array), "[1]");
}

TEST(JsonArray, ErasesAndSaysWhatFollows) {
  Array array = arrayOf({1, 2, 3});
  const Array::iterator next = array.Erase(array.Begin() + 1);
  EXPECT_TRUE(*next == Number(3));
  const Array::iterator end = array.Erase(next);
  EXPECT_EQ(end, array.End());
  EXPECT_EQ(written(array), "[1]");
}

TEST(JsonArray, RejectsPositionsThatAreNotItsOwn) {
  Array array = arrayOf({1, 2, 3});
  Array empty;
  EXPECT_THROW(array.Erase(array.End()), json::Exception);
  EXPECT_THROW(empty.Erase(empty.Begin()), json::Exception);
  EXPECT_THROW(array.Insert(Number(1), array.End() + 1), json::Exception);
  EXPECT_EQ(written(array), "[1,2,3]");
}

TEST(JsonArray, TakesPositionsFromWhatItStillShares) {
  const Array original = arrayOf({1, 2, 3});
  Array shorter = original;
  shorter.Erase(std::as_const(shorter).Begin() + 1);
  Array longer = original;
  longer.Insert(Number(9), std::as_const(longer).End());
  EXPECT_EQ(written(original), "[1,2,3]");
  EXPECT_EQ(written(shorter), "[1,3]");
  EXPECT_EQ(written(longer), "[1,2,3,9]");
}

TEST(JsonArray, ResizesWithNull) {
  Array array = arrayOf({1, 2});
  array.Resize(4);
  EXPECT_EQ(written(array), "[1,2,null,null]");
  array.Resize(1);
  EXPECT_EQ(written(array), "[1]");
  array.Resize(0);
  EXPECT_TRUE(array.Empty());
}

TEST(JsonArray, Clears) {
  Array array = arrayOf({1, 2});
  array.Clear();
  EXPECT_TRUE(array.Empty());
  array.Insert(Number(3));
  EXPECT_EQ(written(array), "[3]");
}

TEST(JsonArray, GrowsToAnIndexThatIsWrittenTo) {
  Array array;
  array[2] = Number(3);
  EXPECT_EQ(written(array), "[null,null,3]");
  array[0] = Number(1);
  EXPECT_EQ(written(array), "[1,null,3]");
}

TEST(JsonArray, ThrowsBeyondItsEndWhenConst) {
  const Array array = arrayOf({1, 2});
  EXPECT_TRUE(array[1] == Number(2));
  EXPECT_THROW(static_cast<void>(array[2]), json::Exception);
  EXPECT_THROW(static_cast<void>(Array()[std::numeric_limits<std::size_t>::max()]), json::Exception);
}

TEST(JsonArray, RejectsSizesThatNoArrayHas) {
  Array array = arrayOf({1});
  EXPECT_THROW(array[std::numeric_limits<std::size_t>::max()], json::Exception);
  EXPECT_THROW(array.Resize(std::numeric_limits<std::size_t>::max()), json::Exception);
  EXPECT_EQ(written(array), "[1]");
}

TEST(JsonArray, WalksForReadingAndWriting) {
  Array array = arrayOf({1, 2, 3});
  for (UnknownElement& element : array) {
    static_cast<Number&>(element).Value() *= 10;
  }
  double sum = 0;
  for (const UnknownElement& element : std::as_const(array)) {
    sum += static_cast<const Number&>(element);
  }
  EXPECT_EQ(sum, 60);
  double again = 0;
  for (Array::const_iterator it = std::as_const(array).Begin(); it != std::as_const(array).End(); ++it) {
    again += static_cast<const Number&>(*it);
  }
  EXPECT_EQ(again, 60);
}

TEST(JsonArray, ComparesElementByElement) {
  EXPECT_TRUE(Array() == Array());
  EXPECT_TRUE(arrayOf({1, 2}) == arrayOf({1, 2}));
  EXPECT_FALSE(arrayOf({1, 2}) == arrayOf({2, 1}));
  EXPECT_FALSE(arrayOf({1, 2}) == arrayOf({1, 2, 3}));
  EXPECT_FALSE(arrayOf({1, 2, 3}) == arrayOf({1, 2}));
  EXPECT_TRUE(parsed(R"([[1,{"a":[]}],"x"])") == parsed(R"([[1,{"a":[]}],"x"])"));
  EXPECT_FALSE(parsed(R"([[1,{"a":[]}],"x"])") == parsed(R"([[1,{"a":[0]}],"x"])"));
}

TEST(JsonArray, TakesItselfAndItsParts) {
  Array array = arrayOf({1, 2});
  array.Insert(array);
  EXPECT_EQ(written(array), "[1,2,[1,2]]");
  for (int round = 0; round < 20; ++round) {
    array.Insert(array[1]);
    array.Insert(std::as_const(array)[0], array.Begin());
  }
  EXPECT_EQ(array.Size(), 43u);
  array[0] = array;
  EXPECT_EQ(array.Size(), 43u);
  EXPECT_EQ(static_cast<Array&>(array[0]).Size(), 43u);
}

}  // namespace
