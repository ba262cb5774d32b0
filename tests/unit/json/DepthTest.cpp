#include <gtest/gtest.h>

#include "json/elements.h"
#include "unit/json/Documents.h"

// Documents from the network are bounded in depth; those built by hand are not, and nothing may recurse over them.
namespace {

using json::Array;
using json::Number;
using json::Object;
using json::UnknownElement;

constexpr int kDeep = 1'000'000;

UnknownElement deepByInsertion() {
  UnknownElement document = Number(1);
  for (int level = 0; level < kDeep; level += 2) {
    Array array;
    array.Insert(document);
    Object object;
    object.Insert(Object::Member("a", array));
    document = object;
  }
  return document;
}

UnknownElement deepByReferences() {
  UnknownElement document;
  UnknownElement* innermost = &document;
  for (int level = 0; level < kDeep; level += 2) {
    innermost = &(*innermost)["a"][0];
  }
  *innermost = Number(1);
  return document;
}

int depthOf(const UnknownElement& document) {
  int depth = 0;
  const UnknownElement* level = &document;
  while (level->getIf<Number>() == nullptr) {
    const auto* object = level->getIf<Object>();
    level = object != nullptr ? &object->Begin()->element : level->getIf<Array>()->Begin();
    ++depth;
  }
  return depth;
}

TEST(JsonDepth, DoesNotLimitDestruction) {
  EXPECT_EQ(depthOf(deepByInsertion()), kDeep);
  EXPECT_EQ(depthOf(deepByReferences()), kDeep);
}

TEST(JsonDepth, DoesNotLimitCopies) {
  const UnknownElement shared = deepByInsertion();
  const UnknownElement copy = shared;
  EXPECT_EQ(depthOf(copy), kDeep);

  UnknownElement lent = deepByReferences();
  UnknownElement wholeCopy = lent;
  EXPECT_EQ(depthOf(wholeCopy), kDeep);
  lent = Number(1);
  EXPECT_EQ(depthOf(wholeCopy), kDeep);
}

TEST(JsonDepth, DoesNotLimitComparison) {
  const UnknownElement document = deepByReferences();
  EXPECT_TRUE(document == deepByInsertion());
  UnknownElement deeper = Array();
  deeper[0] = document;
  EXPECT_FALSE(deeper == document);
}

TEST(JsonDepth, DoesNotLimitWriting) {
  const std::string text = written(deepByInsertion());
  EXPECT_EQ(text.size(), static_cast<std::size_t>(kDeep / 2) * std::string_view(R"({"a":[]})").size() + 1);
  EXPECT_TRUE(text.starts_with(R"({"a":[{"a":[)"));
  EXPECT_TRUE(text.ends_with("]}]}"));
}

}  // namespace
