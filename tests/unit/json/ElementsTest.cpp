#include <sstream>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "json/elements.h"
#include "unit/json/Documents.h"

namespace {

using json::Array;
using json::Boolean;
using json::Null;
using json::Number;
using json::Object;
using json::String;
using json::UnknownElement;

const std::vector<UnknownElement>& oneOfEachType() {
  static const std::vector<UnknownElement> kElements{Null(), Boolean(), Number(), String(), Array(), Object()};
  return kElements;
}

template <typename T>
class JsonScalar : public testing::Test {};
using ScalarTypes = testing::Types<String, Number, Boolean>;
TYPED_TEST_SUITE(JsonScalar, ScalarTypes);

TYPED_TEST(JsonScalar, ConvertsToReferencesToItsValue) {
  using Value = std::remove_reference_t<decltype(std::declval<TypeParam&>().Value())>;
  TypeParam scalar;
  const TypeParam& constant = scalar;
  Value& value = scalar;
  const Value& constantValue = constant;
  EXPECT_EQ(&value, &scalar.Value());
  EXPECT_EQ(&constantValue, &constant.Value());
  EXPECT_EQ(&constantValue, &value);
  EXPECT_EQ(value, Value());
}

TEST(JsonString, IsBuiltFromItsValueAndComparesByIt) {
  String string = std::string("text");
  EXPECT_EQ(string.Value(), "text");
  EXPECT_TRUE(string == String("text"));
  EXPECT_FALSE(string == String("Text"));
  EXPECT_TRUE(string == std::string("text"));
  EXPECT_TRUE(String() == String(""));
}

TEST(JsonString, TakesAndGivesTextOfAnyKind) {
  std::string text = String("with\0zero");
  EXPECT_EQ(text, "with");
  String string(std::string("a\0b", 3));
  text = string;
  EXPECT_EQ(text, std::string("a\0b", 3));
  string.Value() += "c";
  EXPECT_EQ(string.Value().size(), 4u);
  static_cast<std::string&>(string) = "new";
  EXPECT_EQ(string.Value(), "new");
}

TEST(JsonNumber, IsADouble) {
  static_assert(std::is_same_v<decltype(std::declval<Number&>().Value()), double&>);
  Number number = 3;
  EXPECT_TRUE(number == 3);
  EXPECT_TRUE(number == 3.0);
  EXPECT_TRUE(number == Number(3));
  EXPECT_FALSE(number == Number(4));
  const double value = number;
  EXPECT_EQ(value, 3.0);
  number.Value() = 4.5;
  EXPECT_EQ(number.Value(), 4.5);
  static_cast<double&>(number) += 1;
  EXPECT_EQ(number.Value(), 5.5);
}

TEST(JsonBoolean, IsABool) {
  Boolean boolean;
  EXPECT_FALSE(boolean.Value());
  boolean = true;
  EXPECT_TRUE(boolean);
  EXPECT_TRUE(boolean == Boolean(true));
  EXPECT_TRUE(boolean == true);
  EXPECT_FALSE(boolean == Boolean(false));
}

TEST(JsonNull, EqualsEveryOther) {
  EXPECT_TRUE(Null() == Null());
}

TEST(JsonException, IsARuntimeErrorAndTheBaseOfTheReadersErrors) {
  static_assert(std::is_base_of_v<std::runtime_error, json::Exception>);
  static_assert(std::is_base_of_v<json::Exception, json::Reader::ScanException>);
  static_assert(std::is_base_of_v<json::Exception, json::Reader::ParseException>);
  EXPECT_STREQ(json::Exception("what").what(), "what");
}

TEST(JsonUnknownElement, IsNullUnlessToldOtherwise) {
  const UnknownElement element;
  EXPECT_NE(element.getIf<Null>(), nullptr);
  EXPECT_TRUE(element == Null());
}

TEST(JsonUnknownElement, HoldsAValueOfEachType) {
  EXPECT_TRUE(UnknownElement(Boolean(true)) == Boolean(true));
  EXPECT_TRUE(UnknownElement(Number(1.5)) == Number(1.5));
  EXPECT_TRUE(UnknownElement(String("x")) == String("x"));
  Array array;
  array.Insert(Number(1));
  EXPECT_TRUE(UnknownElement(array) == array);
  Object object;
  object["a"] = Number(1);
  EXPECT_TRUE(UnknownElement(object) == object);
  EXPECT_TRUE(object == UnknownElement(object));
  EXPECT_TRUE(UnknownElement(UnknownElement(Number(2))) == Number(2));
}

TEST(JsonUnknownElement, IsUnequalAcrossTypes) {
  const auto& elements = oneOfEachType();
  for (std::size_t left = 0; left < elements.size(); ++left) {
    for (std::size_t right = 0; right < elements.size(); ++right) {
      EXPECT_EQ(elements[left] == elements[right], left == right) << left << " and " << right;
      EXPECT_EQ(elements[left] != elements[right], left != right) << left << " and " << right;
    }
  }
  EXPECT_FALSE(UnknownElement(Number(1)) == Boolean(true));
}

template <typename T>
class JsonConversion : public testing::Test {};
using ElementTypes = testing::Types<Null, Boolean, Number, String, Array, Object>;
TYPED_TEST_SUITE(JsonConversion, ElementTypes);

TYPED_TEST(JsonConversion, OfAConstElementThrowsOnAnotherType) {
  int held = 0;
  for (const UnknownElement& element : oneOfEachType()) {
    if (const TypeParam* value = element.getIf<TypeParam>()) {
      ++held;
      EXPECT_EQ(&static_cast<const TypeParam&>(element), value);
    } else {
      EXPECT_THROW(static_cast<void>(static_cast<const TypeParam&>(element)), json::Exception);
    }
  }
  EXPECT_EQ(held, 1);
}

TYPED_TEST(JsonConversion, OfAnElementReplacesAnotherTypeByADefault) {
  std::vector<UnknownElement> others{UnknownElement(), Boolean(true),
                                     Number(7),        String("long enough to be elsewhere"),
                                     parsed("[1]"),    parsed(R"({"a":1})")};
  for (UnknownElement& element : others) {
    const bool same = element.getIf<TypeParam>() != nullptr;
    const UnknownElement before = element;
    TypeParam& value = element;
    EXPECT_EQ(&value, element.getIf<TypeParam>());
    EXPECT_TRUE(same ? element == before : value == TypeParam());
  }
}

TYPED_TEST(JsonConversion, CopiesOut) {
  UnknownElement element = TypeParam();
  TypeParam initialised = element;
  TypeParam constructed(element);
  TypeParam assigned;
  assigned = element;
  const UnknownElement constant = element;
  TypeParam fromConst = constant;
  EXPECT_TRUE(initialised == TypeParam());
  EXPECT_TRUE(constructed == initialised && assigned == initialised && fromConst == initialised);
}

TEST(JsonUnknownElement, TurnsIntoAnObjectWhenAskedForAMember) {
  for (UnknownElement element : oneOfEachType()) {
    element["a"]["b"] = Number(1);
    EXPECT_EQ(written(element), R"({"a":{"b":1}})");
  }
}

TEST(JsonUnknownElement, TurnsIntoAnArrayWhenAskedForAnIndex) {
  for (UnknownElement element : oneOfEachType()) {
    element[0][1] = Number(1);
    EXPECT_EQ(written(element), "[[null,1]]");
  }
}

TEST(JsonUnknownElement, KeepsWhatItHoldsWhenItHasTheRightType) {
  UnknownElement object = parsed(R"({"a":1})");
  object["b"] = Number(2);
  EXPECT_EQ(written(object), R"({"a":1,"b":2})");
  UnknownElement array = parsed("[1]");
  array[1] = Number(2);
  EXPECT_EQ(written(array), "[1,2]");
}

TEST(JsonUnknownElement, ThrowsOnTheWrongTypeWhenConst) {
  for (const UnknownElement& element : oneOfEachType()) {
    EXPECT_THROW(static_cast<void>(element["a"]), json::Exception);
    EXPECT_THROW(static_cast<void>(element[0]), json::Exception);
  }
  const UnknownElement object = parsed(R"({"a":{"b":[7]}})");
  EXPECT_TRUE(object["a"]["b"][0] == Number(7));
}

TEST(JsonUnknownElement, ReadsAnEmptyTextForAMissingMemberAndLeavesATrace) {
  Object record;
  const std::string name = static_cast<String&>(record["a"]["b"]).Value();
  EXPECT_EQ(name, "");
  EXPECT_EQ(written(record), R"({"a":{"b":""}})");

  const Object untouched;
  EXPECT_THROW(static_cast<void>(static_cast<const String&>(untouched["a"]["b"]).Value()), json::Exception);
}

TEST(JsonUnknownElement, TakesNamesOfEveryKind) {
  UnknownElement element;
  element["literal"] = Number(1);
  const char* pointer = "pointer";
  element[pointer] = Number(2);
  element[std::string("string")] = Number(3);
  element[std::string_view("view")] = Number(4);
  element[String("json")] = Number(5);
  EXPECT_EQ(written(element), R"({"literal":1,"pointer":2,"string":3,"view":4,"json":5})");
}

struct NamingVisitor : json::Visitor, json::ConstVisitor {
  void Visit(Array&) override { seen = "Array"; }
  void Visit(Object&) override { seen = "Object"; }
  void Visit(Number& number) override {
    seen = "Number";
    number.Value() += 1;
  }
  void Visit(String&) override { seen = "String"; }
  void Visit(Boolean&) override { seen = "Boolean"; }
  void Visit(Null&) override { seen = "Null"; }
  void Visit(const Array&) override { seen = "const Array"; }
  void Visit(const Object&) override { seen = "const Object"; }
  void Visit(const Number&) override { seen = "const Number"; }
  void Visit(const String&) override { seen = "const String"; }
  void Visit(const Boolean&) override { seen = "const Boolean"; }
  void Visit(const Null&) override { seen = "const Null"; }

  std::string seen;
};

TEST(JsonUnknownElement, AcceptsVisitorsOfTheHeldType) {
  const char* const kNames[] = {"Null", "Boolean", "Number", "String", "Array", "Object"};
  std::size_t index = 0;
  for (UnknownElement element : oneOfEachType()) {
    NamingVisitor visitor;
    element.Accept(static_cast<json::Visitor&>(visitor));
    EXPECT_EQ(visitor.seen, kNames[index]);
    const UnknownElement& constant = element;
    constant.Accept(static_cast<json::ConstVisitor&>(visitor));
    EXPECT_EQ(visitor.seen, std::string("const ") + kNames[index]);
    ++index;
  }
}

TEST(JsonUnknownElement, LetsAVisitorChangeTheHeldValue) {
  UnknownElement element = Number(1);
  NamingVisitor visitor;
  element.Accept(static_cast<json::Visitor&>(visitor));
  EXPECT_TRUE(element == Number(2));
}

}  // namespace
