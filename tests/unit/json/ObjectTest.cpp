#include <utility>

#include <gtest/gtest.h>

#include "json/elements.h"
#include "unit/json/Documents.h"

namespace {

using json::Number;
using json::Object;
using json::String;
using json::UnknownElement;
using Member = json::Object::Member;

Object objectOf(std::initializer_list<const char*> names) {
  Object object;
  double value = 0;
  for (const char* name : names) {
    object.Insert(Member(name, Number(++value)));
  }
  return object;
}

TEST(JsonObject, IsEmptyAtFirst) {
  const Object object;
  EXPECT_TRUE(object.Empty());
  EXPECT_EQ(object.Size(), 0u);
  EXPECT_EQ(object.Begin(), object.End());
  EXPECT_EQ(object.Find("a"), object.End());
  Object other;
  EXPECT_EQ(other.Find("a"), other.End());
}

TEST(JsonObject, MembersHaveANameAndAnElement) {
  Member member("a", Number(1));
  EXPECT_EQ(member.name, "a");
  EXPECT_TRUE(member.element == Number(1));
  EXPECT_TRUE(Member("b").element == json::Null());
  EXPECT_EQ(Member().name, "");
  EXPECT_TRUE(member == Member("a", Number(1)));
  EXPECT_FALSE(member == Member("b", Number(1)));
  EXPECT_FALSE(member == Member("a", Number(2)));
}

TEST(JsonObject, KeepsMembersInTheOrderOfTheirInsertion) {
  const Object object = objectOf({"z", "a", "m"});
  EXPECT_EQ(object.Size(), 3u);
  EXPECT_FALSE(object.Empty());
  EXPECT_EQ(written(object), R"({"z":1,"a":2,"m":3})");
}

TEST(JsonObject, InsertsBeforeAPosition) {
  Object object = objectOf({"a", "b"});
  const Object::iterator inserted = object.Insert(Member("c", Number(7)), object.Find("b"));
  EXPECT_EQ(inserted->name, "c");
  object.Insert(Member("d"), object.End());
  object.Insert(Member("e"), object.Begin());
  EXPECT_EQ(written(object), R"({"e":null,"a":1,"c":7,"b":2,"d":null})");
}

TEST(JsonObject, RejectsANameThatExists) {
  Object object = objectOf({"a", "b"});
  EXPECT_THROW(object.Insert(Member("b", Number(9))), json::Exception);
  EXPECT_THROW(object.Insert(Member("a", Number(9)), object.Begin()), json::Exception);
  EXPECT_EQ(written(object), R"({"a":1,"b":2})");
}

TEST(JsonObject, FindsForReadingAndWriting) {
  Object object = objectOf({"a", "b"});
  object.Find("b")->element = Number(5);
  const Object& constant = object;
  ASSERT_NE(constant.Find("b"), constant.End());
  EXPECT_TRUE(constant.Find("b")->element == Number(5));
  EXPECT_EQ(constant.Find("c"), constant.End());
  EXPECT_EQ(constant.Find(""), constant.End());
}

TEST(JsonObject, ErasesAndSaysWhatFollows) {
  Object object = objectOf({"a", "b", "c"});
  const Object::iterator next = object.Erase(object.Find("b"));
  EXPECT_EQ(next->name, "c");
  const Object::iterator end = object.Erase(next);
  EXPECT_EQ(end, object.End());
  EXPECT_EQ(written(object), R"({"a":1})");
  object.Insert(Member("b"));
  EXPECT_EQ(object.Size(), 2u);
}

TEST(JsonObject, RejectsPositionsThatAreNotItsOwn) {
  Object object = objectOf({"a"});
  Object empty;
  EXPECT_THROW(object.Erase(object.Find("b")), json::Exception);
  EXPECT_THROW(empty.Erase(empty.End()), json::Exception);
  EXPECT_THROW(object.Insert(Member("b"), object.End() + 1), json::Exception);
  EXPECT_EQ(written(object), R"({"a":1})");
}

TEST(JsonObject, TakesPositionsFromWhatItStillShares) {
  const Object original = objectOf({"a", "b"});
  Object shorter = original;
  shorter.Erase(std::as_const(shorter).Find("a"));
  EXPECT_EQ(written(original), R"({"a":1,"b":2})");
  EXPECT_EQ(written(shorter), R"({"b":2})");
}

TEST(JsonObject, Clears) {
  Object object = objectOf({"a"});
  object.Clear();
  EXPECT_TRUE(object.Empty());
  object.Insert(Member("a"));
  EXPECT_EQ(object.Size(), 1u);
}

TEST(JsonObject, AppendsANullMemberWhenAskedForAnAbsentOne) {
  Object object = objectOf({"a"});
  EXPECT_TRUE(object["b"] == json::Null());
  object["a"] = Number(5);
  EXPECT_EQ(written(object), R"({"a":5,"b":null})");
}

TEST(JsonObject, ThrowsOnAnAbsentMemberWhenConst) {
  const Object object = objectOf({"a"});
  EXPECT_TRUE(object["a"] == Number(1));
  EXPECT_THROW(static_cast<void>(object["b"]), json::Exception);
}

TEST(JsonObject, TellsNamesApartByEveryByte) {
  Object object;
  object[""] = Number(1);
  object["a"] = Number(2);
  object["A"] = Number(3);
  object[std::string("a\0", 2)] = Number(4);
  EXPECT_EQ(object.Size(), 4u);
  EXPECT_TRUE(std::as_const(object)[""] == Number(1));
  EXPECT_TRUE(std::as_const(object)[std::string_view("a\0", 2)] == Number(4));
}

TEST(JsonObject, WalksForReadingAndWriting) {
  Object object = objectOf({"a", "b"});
  for (Member& member : object) {
    static_cast<Number&>(member.element).Value() *= 10;
  }
  std::string seen;
  for (const Member& member : std::as_const(object)) {
    seen += member.name + written(member.element);
  }
  for (Object::const_iterator it = std::as_const(object).Begin(); it != std::as_const(object).End(); ++it) {
    seen += it->name;
  }
  EXPECT_EQ(seen, "a10b20ab");
}

TEST(JsonObject, ComparesMemberByMember) {
  EXPECT_TRUE(Object() == Object());
  EXPECT_TRUE(objectOf({"a", "b"}) == objectOf({"a", "b"}));
  EXPECT_FALSE(objectOf({"a", "b"}) == objectOf({"a"}));
  EXPECT_FALSE(objectOf({"a", "b"}) == objectOf({"a", "c"}));
  EXPECT_FALSE(parsed(R"({"a":1,"b":2})") == parsed(R"({"b":2,"a":1})"));
  EXPECT_FALSE(parsed(R"({"a":{"b":1}})") == parsed(R"({"a":{"b":2}})"));
}

TEST(JsonObject, TakesItselfAndItsParts) {
  Object object = objectOf({"a"});
  object["a"] = object;
  EXPECT_EQ(written(object), R"({"a":{"a":1}})");
  UnknownElement& part = object["a"];
  part = object;
  EXPECT_EQ(written(object), R"({"a":{"a":{"a":1}}})");
  object = object["a"];
  EXPECT_EQ(written(object), R"({"a":{"a":1}})");
  object.Insert(Member("b", object));
  EXPECT_EQ(written(object), R"({"a":{"a":1},"b":{"a":{"a":1}}})");
}

TEST(JsonObject, SurvivesAssignmentToItself) {
  Object object = objectOf({"a"});
  const Object& same = object;
  object = same;
  EXPECT_EQ(written(object), R"({"a":1})");
  UnknownElement element = object;
  const UnknownElement& sameElement = element;
  element = sameElement;
  EXPECT_EQ(written(element), R"({"a":1})");
  element = std::move(element["a"]);
  EXPECT_EQ(written(element), "1");
}

TEST(JsonObject, IsEmptyAfterItWasMovedFrom) {
  Object object = objectOf({"a"});
  const Object moved = std::move(object);
  EXPECT_EQ(written(moved), R"({"a":1})");
  EXPECT_TRUE(object.Empty());  // NOLINT(bugprone-use-after-move)
  object["b"] = Number(1);
  EXPECT_EQ(object.Size(), 1u);
}

}  // namespace
