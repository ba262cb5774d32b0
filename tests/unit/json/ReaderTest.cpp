#include <cmath>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include "json/reader.h"
#include "unit/json/Documents.h"

namespace {

using json::Array;
using json::Boolean;
using json::Null;
using json::Number;
using json::Object;
using json::Reader;
using json::String;
using json::UnknownElement;

template <typename T>
struct Sample;
template <>
struct Sample<Object> {
  static constexpr const char* kText = R"({"a":1})";
};
template <>
struct Sample<Array> {
  static constexpr const char* kText = "[1]";
};
template <>
struct Sample<String> {
  static constexpr const char* kText = R"("x")";
};
template <>
struct Sample<Number> {
  static constexpr const char* kText = "1.5";
};
template <>
struct Sample<Boolean> {
  static constexpr const char* kText = "true";
};
template <>
struct Sample<Null> {
  static constexpr const char* kText = "null";
};

template <typename T>
class JsonReaderOf : public testing::Test {};
using ElementTypes = testing::Types<Object, Array, String, Number, Boolean, Null>;
TYPED_TEST_SUITE(JsonReaderOf, ElementTypes);

TYPED_TEST(JsonReaderOf, ReadsItsTypeFromTextAndStream) {
  const std::string text = Sample<TypeParam>::kText;
  TypeParam fromText;
  Reader::Read(fromText, text);
  EXPECT_EQ(written(fromText), text);
  TypeParam fromStream;
  std::istringstream stream(text);
  Reader::Read(fromStream, stream);
  EXPECT_TRUE(fromStream == fromText);
  UnknownElement unknown;
  std::istringstream again(text);
  Reader::Read(unknown, again);
  EXPECT_TRUE(unknown == fromText);
}

TYPED_TEST(JsonReaderOf, RejectsADocumentOfAnotherTypeAndLeavesTheTarget) {
  for (const char* text : {R"({"a":1})", "[1]", R"("x")", "1.5", "true", "null"}) {
    if (text == std::string(Sample<TypeParam>::kText)) continue;
    TypeParam target;
    Reader::Read(target, Sample<TypeParam>::kText);
    EXPECT_THROW(Reader::Read(target, text), Reader::ParseException) << text;
    EXPECT_EQ(written(target), Sample<TypeParam>::kText);
  }
}

TEST(JsonReader, PointsAtTheFirstTokenOfADocumentOfAnotherType) {
  Object object;
  try {
    Reader::Read(object, "\n  true ");
    FAIL();
  } catch (const Reader::ParseException& error) {
    EXPECT_EQ(error.m_locTokenBegin, (Reader::Location{1, 2, 3}));
    EXPECT_EQ(error.m_locTokenEnd, (Reader::Location{1, 6, 7}));
  }
}

TEST(JsonReader, ReplacesTheTarget) {
  UnknownElement element = parsed(R"({"old":1})");
  Reader::Read(element, R"({"new":2})");
  EXPECT_EQ(written(element), R"({"new":2})");
}

TEST(JsonReader, LeavesTheTargetWhenItThrows) {
  Object object = parsed(R"({"old":1})");
  EXPECT_THROW(Reader::Read(object, R"({"new":)"), Reader::ParseException);
  EXPECT_THROW(Reader::Read(object, R"({"new":@})"), Reader::ScanException);
  EXPECT_EQ(written(object), R"({"old":1})");
}

TEST(JsonReader, SkipsBlanksBetweenTokens) {
  EXPECT_EQ(written(parsed(" \t\r\n{ \"a\"\n:\r[ 1 ,\t2 ] , \"b\" : { } } \n")), R"({"a":[1,2],"b":{}})");
}

TEST(JsonReader, KeepsTheOrderOfMembers) {
  EXPECT_EQ(written(parsed(R"({"z":1,"a":{"y":1,"b":2},"m":3})")), R"({"z":1,"a":{"y":1,"b":2},"m":3})");
}

TEST(JsonReader, ReadsWhatIsEmpty) {
  EXPECT_EQ(written(parsed(R"([[],{},"",[[]],{"":{}}])")), R"([[],{},"",[[]],{"":{}}])");
}

struct StringCase {
  const char* name;
  std::string text;
  std::string value;
};

TEST(JsonReader, ResolvesEscapes) {
  const StringCase kCases[] = {
      {"short escapes", R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
      {"ASCII", R"("\u0041\u0028\u0029\u0021")", "A()!"},
      {"zero", R"("a\u0000b")", std::string("a\0b", 3)},
      {"two bytes", R"("\u00e9\u07FF")", "\xC3\xA9\xDF\xBF"},
      {"three bytes", R"("\u20AC\uFFFF")", "\xE2\x82\xAC\xEF\xBF\xBF"},
      {"surrogate pair", R"("\uD83D\uDE00")", "\xF0\x9F\x98\x80"},
      {"first and last pair", R"("\ud800\udc00\uDBFF\uDFFF")", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {"among text", R"("ab\ncd\u0041ef")", "ab\ncdAef"},
  };
  for (const StringCase& each : kCases) {
    String string;
    Reader::Read(string, each.text);
    EXPECT_EQ(string.Value(), each.value) << each.name;
    Object object;
    Reader::Read(object, "{" + each.text + ":1}");
    EXPECT_EQ(object.Begin()->name, each.value) << each.name;
  }
}

TEST(JsonReader, ReadsLongTextsWithEscapes) {
  std::string text = "\"";
  std::string value;
  for (int index = 0; index < 20000; ++index) {
    text += R"(x\n\u00e9)";
    value += "x\n\xC3\xA9";
  }
  text += "\"";
  String string;
  Reader::Read(string, text);
  EXPECT_EQ(string.Value(), value);
}

TEST(JsonReader, ReadsUtf8) {
  const std::string kText =
      "\"\xC2\x80 \xDF\xBF \xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80 \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF\"";
  String string;
  Reader::Read(string, kText);
  EXPECT_EQ('"' + string.Value() + '"', kText);
}

struct NumberCase {
  const char* text;
  double value;
};

TEST(JsonReader, ReadsNumbersToTheNearestDouble) {
  const NumberCase kCases[] = {
      {"0", 0},
      {"7", 7},
      {"-7", -7},
      {"1.5", 1.5},
      {"-0.25", -0.25},
      {"1e3", 1000},
      {"1E+3", 1000},
      {"25e-1", 2.5},
      {"0.1", 0.1},
      {"9007199254740993", 9007199254740992.0},
      {"9223372036854775807", 9223372036854775808.0},
      {"-9223372036854775808", -9223372036854775808.0},
      {"18446744073709551615", 18446744073709551616.0},
      {"18446744073709551616", 18446744073709551616.0},
      {"100000000000000000000000000000", 1e29},
      {"123456789012345678901234567890", 123456789012345678901234567890.0},
      {"0.30000000000000004", 0.30000000000000004},
      {"2.2250738585072011e-308", 2.2250738585072011e-308},
      {"5e-324", 5e-324},
      {"1.7976931348623157e308", std::numeric_limits<double>::max()},
      {"7.2057594037927933e16", 72057594037927936.0},
      {"9.5e-320", 9.5e-320},
      {"1448997445238699", 1448997445238699.0},
      {"0.500000000000000166533453693773481063544750213623046875", 0.5000000000000002},
      {"3.518437208883201171875e13", 35184372088832.01171875},
      {"0e999", 0},
      {"0.0e-999", 0},
  };
  for (const NumberCase& each : kCases) {
    Number number;
    Reader::Read(number, each.text);
    EXPECT_EQ(number.Value(), each.value) << each.text;
    EXPECT_EQ(std::signbit(number.Value()), each.text[0] == '-') << each.text;
  }
}

TEST(JsonReader, ReadsNumbersTooSmallForADoubleAsZero) {
  const std::string kTiny = "0." + std::string(400, '0') + "1";
  for (const std::string& text :
       {std::string("1e-999"), std::string("4e-325"), kTiny, std::string("12345e-1000000000")}) {
    Number number = 1;
    Reader::Read(number, text);
    EXPECT_EQ(number.Value(), 0.0) << text;
    EXPECT_FALSE(std::signbit(number.Value())) << text;
    Reader::Read(number, "-" + text);
    EXPECT_EQ(number.Value(), 0.0) << text;
    EXPECT_TRUE(std::signbit(number.Value())) << text;
  }
  Number number;
  Reader::Read(number, kTiny + "e401");
  EXPECT_EQ(number.Value(), 1.0);
}

TEST(JsonReader, KeepsTheSignOfZero) {
  for (const char* text : {"-0", "-0.0", "-0e5", "-0.000E-3"}) {
    Number number = 1;
    Reader::Read(number, text);
    EXPECT_TRUE(std::signbit(number.Value())) << text;
    EXPECT_EQ(number.Value(), 0) << text;
  }
}

TEST(JsonReader, ReadsEveryAllowedDepthAndNoMore) {
  const auto nested = [](std::size_t depth) {
    std::string text;
    for (std::size_t level = 0; level < depth; ++level) {
      text += level % 2 == 0 ? "[" : R"({"a":)";
    }
    text += "1";
    for (std::size_t level = depth; level-- > 0;) {
      text += level % 2 == 0 ? "]" : "}";
    }
    return text;
  };
  static_assert(Reader::kMaxDepth == 256);
  EXPECT_EQ(written(parsed(nested(256))), nested(256));
  EXPECT_THROW(parsed(nested(257)), Reader::ParseException);
  EXPECT_THROW(parsed(nested(100'000)), Reader::ParseException);
  EXPECT_THROW(parsed(std::string(1'000'000, '[')), Reader::ParseException);
}

TEST(JsonReader, CountsDepthAndNotContainers) {
  std::string text = "[";
  for (int index = 0; index < 1000; ++index) {
    text += R"([{"a":[]}],)";
  }
  text += "1]";
  EXPECT_EQ(written(parsed(text)), text);
}

TEST(JsonReader, ReadsLargeObjects) {
  std::string text = "{";
  for (int index = 0; index < 100'000; ++index) {
    text += "\"name" + std::to_string(index) + "\":" + std::to_string(index) + ",";
  }
  const std::string unique = text + R"("last":0})";
  EXPECT_EQ(written(parsed(unique)), unique);
  const std::string repeated = text + R"("name5":0})";
  EXPECT_THROW(parsed(repeated), Reader::ParseException);
}

TEST(JsonReader, RejectsTextsThatAreTooLarge) {
  // Only the size is looked at.
  const std::string_view text("1", Reader::kMaxDocumentBytes + 1);
  UnknownElement element;
  EXPECT_THROW(Reader::Read(element, text), Reader::ParseException);
}

TEST(JsonReader, ReadsStreamsInAnyState) {
  UnknownElement element;
  std::istringstream large("[" + std::string(10'000, ' ') + "1]");
  Reader::Read(element, large);
  EXPECT_EQ(written(element), "[1]");
  EXPECT_THROW(Reader::Read(element, large), Reader::ParseException);

  std::istringstream failed("[2]");
  failed.setstate(std::ios::failbit);
  EXPECT_THROW(Reader::Read(element, failed), Reader::ParseException);
  std::istream bufferless(nullptr);
  EXPECT_THROW(Reader::Read(element, bufferless), Reader::ParseException);
  std::istringstream throwing("[3]");
  throwing.exceptions(std::ios::failbit | std::ios::badbit | std::ios::eofbit);
  Reader::Read(element, throwing);
  EXPECT_EQ(written(element), "[3]");
}

TEST(JsonReader, ReadsTheRestOfAStream) {
  std::istringstream stream("first\n[1]");
  std::string line;
  std::getline(stream, line);
  Array array;
  Reader::Read(array, stream);
  EXPECT_EQ(written(array), "[1]");
}

}  // namespace
