#include <cmath>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include "json/writer.h"
#include "unit/json/Documents.h"

namespace {

using json::Array;
using json::Boolean;
using json::Null;
using json::Number;
using json::Object;
using json::String;
using json::UnknownElement;
using json::Writer;

template <typename Value>
void expectWritten(const Value& value, const std::string& text) {
  std::ostringstream stream;
  stream << "before ";
  Writer::Write(value, stream);
  EXPECT_EQ(stream.str(), "before " + text);
  std::string appended = "before ";
  Writer::Write(value, appended);
  EXPECT_EQ(appended, "before " + text);
  std::ostringstream unknown;
  Writer::Write(UnknownElement(value), unknown);
  EXPECT_EQ(unknown.str(), text);
}

TEST(JsonWriter, WritesEachType) {
  expectWritten(Null(), "null");
  expectWritten(Boolean(true), "true");
  expectWritten(Boolean(false), "false");
  expectWritten(Number(1.5), "1.5");
  expectWritten(String("text"), R"("text")");
  expectWritten(Array(), "[]");
  expectWritten(Object(), "{}");
}

TEST(JsonWriter, WritesCompactText) {
  const std::string kText = R"({"a":[1,"x y",null,[],{}],"b":{"c":{"d":true}},"e":false})";
  expectWritten(parsed(kText), kText);
  expectWritten(static_cast<const Object&>(parsed(kText)), kText);
}

TEST(JsonWriter, KeepsTheOrderOfMembers) {
  Object object;
  for (const char* name : {"z", "a", "m"}) {
    object[name] = Null();
  }
  EXPECT_EQ(written(object), R"({"z":null,"a":null,"m":null})");
}

TEST(JsonWriter, IndentsWithTabsWhenPretty) {
  const UnknownElement document = parsed(R"({"a":[1,{"b":"x"},[]],"c":{},"d":{"e":null}})");
  EXPECT_EQ(written(document, true),
            "{\n"
            "\t\"a\" : [\n"
            "\t\t1,\n"
            "\t\t{\n"
            "\t\t\t\"b\" : \"x\"\n"
            "\t\t},\n"
            "\t\t[]\n"
            "\t],\n"
            "\t\"c\" : {},\n"
            "\t\"d\" : {\n"
            "\t\t\"e\" : null\n"
            "\t}\n"
            "}");
  std::ostringstream stream;
  Writer::Write(document, stream, true);
  EXPECT_EQ(stream.str(), written(document, true));
  EXPECT_TRUE(parsed(written(document, true)) == document);
}

struct StringCase {
  const char* name;
  std::string value;
  std::string text;
};

TEST(JsonWriter, EscapesWhatStringsCannotHold) {
  const StringCase kCases[] = {
      {"quote and backslash", R"(a"b\c)", R"("a\"b\\c")"},
      {"short escapes", "\b\f\n\r\t", R"("\b\f\n\r\t")"},
      {"control characters", std::string("\0\x01\x1f", 3), R"("\u0000\u0001\u001f")"},
      {"what other formats use", "(a)!", R"("\u0028a\u0029\u0021")"},
      {"nothing else of ASCII", "/'<>&\x7f", "\"/'<>&\x7f\""},
      {"UTF-8", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\""},
      {"empty", "", R"("")"},
      {"escape at both ends", "!x!", R"("\u0021x\u0021")"},
  };
  for (const StringCase& each : kCases) {
    EXPECT_EQ(written(String(each.value)), each.text) << each.name;
    Object object;
    object[each.value] = Number(1);
    EXPECT_EQ(written(object), "{" + each.text + ":1}") << each.name;
    String back;
    json::Reader::Read(back, each.text);
    EXPECT_EQ(back.Value(), each.value) << each.name;
  }
}

TEST(JsonWriter, LeavesNoParenthesisExclamationMarkOrBareControlCharacter) {
  std::string value;
  for (int c = 0; c < 128; ++c) {
    value.push_back(static_cast<char>(c));
  }
  UnknownElement document;
  document[value][0] = String(value);
  const std::string text = written(document);
  EXPECT_EQ(text.find_first_of("()!"), std::string::npos);
  for (const char c : text) {
    EXPECT_GE(c, 0x20);
  }
  EXPECT_TRUE(parsed(text) == document);
}

TEST(JsonWriter, ReplacesWhatIsNotUtf8) {
  const std::string kReplacement = "\xEF\xBF\xBD";
  const StringCase kCases[] = {
      {"alone", "\xFF", kReplacement},
      {"between text", "a\xE9z", "a" + kReplacement + "z"},
      {"cut at the end", "a\xE2\x82", "a" + kReplacement + kReplacement},
      {"overlong", "\xC0\x80", kReplacement + kReplacement},
      {"surrogate", "\xED\xA0\x80", kReplacement + kReplacement + kReplacement},
      {"before an escape", "\xFF\n", kReplacement + R"(\n)"},
      {"beside UTF-8", "\xC3\xA9\xC3\xC3\xA9", "\xC3\xA9" + kReplacement + "\xC3\xA9"},
  };
  for (const StringCase& each : kCases) {
    const std::string text = written(String(each.value));
    EXPECT_EQ(text, '"' + each.text + '"') << each.name;
    EXPECT_NO_THROW(parsed(text)) << each.name;
  }
}

struct NumberCase {
  double value;
  const char* text;
};

TEST(JsonWriter, WritesNumbers) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const NumberCase kCases[] = {
      {0, "0"},
      {-0.0, "-0"},
      {1, "1"},
      {-1, "-1"},
      {100000, "100000"},
      {1e15, "1000000000000000"},
      {9007199254740991.0, "9007199254740991"},
      {9007199254740992.0, "9007199254740992"},
      {-9007199254740992.0, "-9007199254740992"},
      {1e22, "1e+22"},
      {1e300, "1e+300"},
      {0.1, "0.1"},
      {-2.5, "-2.5"},
      {0.30000000000000004, "0.30000000000000004"},
      {1e-7, "1e-07"},
      {5e-324, "5e-324"},
      {1.7976931348623157e308, "1.7976931348623157e+308"},
      {kInfinity, "null"},
      {-kInfinity, "null"},
      {std::numeric_limits<double>::quiet_NaN(), "null"},
  };
  for (const NumberCase& each : kCases) {
    EXPECT_EQ(written(Number(each.value)), each.text);
    if (!std::isfinite(each.value)) continue;
    Number back;
    json::Reader::Read(back, each.text);
    EXPECT_EQ(back.Value(), each.value);
    EXPECT_EQ(std::signbit(back.Value()), std::signbit(each.value));
  }
}

TEST(JsonWriter, WritesLongDocuments) {
  Array array;
  std::string expected;
  for (int index = 0; index < 20'000; ++index) {
    array.Insert(String("element (" + std::to_string(index) + ")"));
    expected += (index == 0 ? "[\"element \\u0028" : ",\"element \\u0028") + std::to_string(index) + "\\u0029\"";
  }
  EXPECT_EQ(written(array), expected + "]");
}

}  // namespace
