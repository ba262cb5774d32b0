#include <utility>

#include <gtest/gtest.h>

#include "json/elements.h"
#include "unit/json/Documents.h"

namespace {

using json::Array;
using json::Number;
using json::Object;
using json::String;
using json::UnknownElement;

constexpr const char* kText =
    R"({"name":"a text too long for a short string","list":[1,{"x":2}],"inner":{"y":{"z":3}}})";

// Whether two values stand on one node, which is what makes a copy cheap.
template <typename Container>
bool share(const Container& left, const Container& right) {
  return left.Begin() == right.Begin() && !left.Empty();
}

TEST(JsonCopy, OfADocumentSharesIt) {
  const Object original = parsed(kText);
  const Object copy = original;
  EXPECT_TRUE(share(original, copy));

  const UnknownElement element = original;
  const UnknownElement elementCopy = element;
  EXPECT_TRUE(share<Object>(element, original));
  EXPECT_TRUE(share<Object>(elementCopy, original));

  const Array list = original["list"];
  const Array listCopy = list;
  EXPECT_TRUE(share(list, listCopy));
  EXPECT_TRUE(share<Array>(original["list"], listCopy));

  const String text = original["name"];
  const UnknownElement textElement = text;
  EXPECT_EQ(&text.Value(), &static_cast<const String&>(original["name"]).Value());
  EXPECT_EQ(&text.Value(), &static_cast<const String&>(textElement).Value());
}

TEST(JsonCopy, OfADocumentBuiltByInsertionSharesIt) {
  Object object;
  Array array;
  for (int index = 0; index < 1000; ++index) {
    object.Insert(Object::Member("member" + std::to_string(index), Number(index)));
    array.Insert(object);
  }
  object.Insert(Object::Member("array", array));
  const Object& constant = object;
  const Object copy = object;
  const Array arrayCopy = array;
  EXPECT_TRUE(share(constant, copy));
  EXPECT_TRUE(share(std::as_const(array), arrayCopy));
  EXPECT_TRUE(share<Array>(copy["array"], arrayCopy));
}

TEST(JsonCopy, PartsWaysWhenTheCopyIsWrittenTo) {
  const Object original = parsed(kText);
  Object copy = original;
  copy["inner"]["y"]["z"] = Number(4);
  copy["list"][1]["x"] = Number(5);
  copy["new"] = Number(6);
  static_cast<String&>(copy["name"]).Value() = "changed";
  EXPECT_EQ(written(original), kText);
  EXPECT_EQ(written(copy), R"({"name":"changed","list":[1,{"x":5}],"inner":{"y":{"z":4}},"new":6})");
}

TEST(JsonCopy, PartsWaysWhenTheOriginalIsWrittenTo) {
  Object original = parsed(kText);
  const Object copy = original;
  original["inner"]["y"]["z"] = Number(4);
  original.Erase(original.Find("name"));
  static_cast<Array&>(original["list"]).Clear();
  EXPECT_EQ(written(copy), kText);
  EXPECT_EQ(written(original), R"({"list":[],"inner":{"y":{"z":4}}})");
}

TEST(JsonCopy, KeepsSharingWhatIsNotWrittenTo) {
  const Object original = parsed(kText);
  Object copy = original;
  copy["inner"]["y"] = Number(1);
  const Object& constant = copy;
  EXPECT_FALSE(share(original, constant));
  EXPECT_FALSE(share<Object>(original["inner"], constant["inner"]));
  EXPECT_TRUE(share<Array>(original["list"], constant["list"]));
}

// A way to get hold of the inside of a document before it is copied, and to write through it afterwards.
struct HeldReference {
  const char* name;
  void (*writeAroundCopy)(Object& original, Object& copy);
};

void PrintTo(const HeldReference& held, std::ostream* out) {
  *out << held.name;
}

const HeldReference kHeldReferences[] = {
    {"element",
     [](Object& original, Object& copy) {
       UnknownElement& held = original["name"];
       copy = original;
       held = Number(1);
     }},
    {"stringValue",
     [](Object& original, Object& copy) {
       std::string& held = static_cast<String&>(original["name"]).Value();
       copy = original;
       held += " and more";
     }},
    {"numberValue",
     [](Object& original, Object& copy) {
       double& held = static_cast<Number&>(original["inner"]["y"]["z"]).Value();
       copy = original;
       held = 99;
     }},
    {"innerObject",
     [](Object& original, Object& copy) {
       Object& held = original["inner"];
       copy = original;
       held["y"]["z"] = Number(99);
     }},
    {"innerArray",
     [](Object& original, Object& copy) {
       Array& held = original["list"];
       copy = original;
       held.Insert(Number(99));
     }},
    {"foundMember",
     [](Object& original, Object& copy) {
       const Object::iterator held = original.Find("inner");
       copy = original;
       held->element["y"] = Number(99);
     }},
    {"begin",
     [](Object& original, Object& copy) {
       const Object::iterator held = original.begin();
       copy = original;
       held->name = "renamed";
     }},
    {"end",
     [](Object& original, Object& copy) {
       Object::iterator held = original.End();
       copy = original;
       (--held)->element = Number(99);
     }},
    {"arrayIterator",
     [](Object& original, Object& copy) {
       const Array::iterator held = static_cast<Array&>(original["list"]).Begin();
       copy = original;
       *held = Number(99);
     }},
    {"arrayEnd",
     [](Object& original, Object& copy) {
       Array::iterator held = static_cast<Array&>(original["list"]).End();
       copy = original;
       (*--held)["x"] = Number(99);
     }},
    {"arrayIndex",
     [](Object& original, Object& copy) {
       UnknownElement& held = original["list"][0];
       copy = original;
       held = Number(99);
     }},
    {"resultOfInsert",
     [](Object& original, Object& copy) {
       Array& list = original["list"];
       const Array::iterator held = list.Insert(Number(7), std::as_const(list).Begin());
       copy = original;
       *held = Number(99);
       copy["list"] = parsed(R"([1,{"x":2}])");
     }},
    {"resultOfErase",
     [](Object& original, Object& copy) {
       Object& inner = original["inner"];
       inner["gone"] = Number(1);
       const Object::iterator held = std::prev(inner.Erase(std::as_const(inner).Find("gone")));
       copy = original;
       held->element = Number(99);
     }},
    {"copyThroughAnElement",
     [](Object& original, Object& copy) {
       UnknownElement& held = original["inner"]["y"];
       const UnknownElement element = original;
       held = Number(99);
       copy = element;
     }},
    {"copyByInsertion",
     [](Object& original, Object& copy) {
       UnknownElement& held = original["inner"]["y"];
       Array array;
       array.Insert(original);
       const Array second = array;
       held = Number(99);
       copy = second[0];
     }},
    {"insertionOfAnElement",
     [](Object& original, Object& copy) {
       UnknownElement element = std::move(original);
       UnknownElement& held = element["inner"]["y"];
       Array array;
       array.Insert(element);
       array.Insert(element, std::as_const(array).Begin());
       const Array second = array;
       held = Number(99);
       copy = second[1];
       EXPECT_TRUE(second[0] == second[1]);
       original = element;
     }},
    {"insertionOfAMember",
     [](Object& original, Object& copy) {
       Object::Member member("m", std::move(original));
       UnknownElement& held = member.element["inner"]["y"];
       Object object;
       object.Insert(member);
       const Object second = object;
       held = Number(99);
       copy = second["m"];
       original = member.element;
     }},
    {"moveThenCopy",
     [](Object& original, Object& copy) {
       UnknownElement& held = original["inner"]["y"];
       Object moved = std::move(original);
       copy = moved;
       held = Number(99);
       original = std::move(moved);
     }},
    {"moveIntoAMemberThenCopy",
     [](Object& original, Object& copy) {
       UnknownElement& held = original["inner"]["y"];
       Object::Member member("m", std::move(original));
       const Object::Member second = member;
       held = Number(99);
       copy = second.element;
       original = member.element;
     }},
};

class JsonCopyOf : public testing::TestWithParam<HeldReference> {};

TEST_P(JsonCopyOf, NeverSeesWhatIsWrittenThroughAnEarlierReference) {
  Object original = parsed(kText);
  Object copy;
  GetParam().writeAroundCopy(original, copy);
  EXPECT_EQ(written(copy), kText);
  EXPECT_NE(written(original), kText) << "the reference no longer led into the original";
}

INSTANTIATE_TEST_SUITE_P(JsonReferences, JsonCopyOf, testing::ValuesIn(kHeldReferences),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(JsonCopy, SharesAgainAfterACopyThatCouldNot) {
  Object original;
  original["inner"]["list"][3] = String("x");
  const Object first = original;
  const Object second = first;
  EXPECT_FALSE(share(std::as_const(original), first));
  EXPECT_TRUE(share(first, second));
  EXPECT_TRUE(first == original);
}

TEST(JsonCopy, SharesAgainAfterTheOriginalWasCleared) {
  Array array;
  array[0] = Number(1);
  array.Clear();
  array.Insert(Number(2));
  const Array copy = array;
  EXPECT_TRUE(share(std::as_const(array), copy));
}

TEST(JsonCopy, OfAnElementIsTakenBeforeTheOldValueGoes) {
  UnknownElement element = parsed(R"({"a":{"b":{"c":1}}})");
  for (const char* name : {"a", "b", "c"}) {
    element = element[name];
  }
  EXPECT_TRUE(element == Number(1));

  UnknownElement nested = Number(0);
  for (int round = 0; round < 50; ++round) {
    nested[0] = UnknownElement(nested);
  }
  int depth = 0;
  for (const UnknownElement* level = &nested; level->getIf<Array>() != nullptr && !level->getIf<Array>()->Empty();
       level = level->getIf<Array>()->Begin()) {
    ++depth;
  }
  EXPECT_EQ(depth, 50);
}

}  // namespace
