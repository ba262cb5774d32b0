#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "json/diagnosis.h"
#include "json/reader.h"

namespace {

using json::Reader;
using Location = Reader::Location;

struct ScanCase {
  const char* name;
  std::string text;
  Location error;
};

struct ParseCase {
  const char* name;
  std::string text;
  Location begin;
  Location end;
};

// Names only: test discovery does not bear every text.
void PrintTo(const ScanCase& each, std::ostream* out) {
  *out << each.name;
}
void PrintTo(const ParseCase& each, std::ostream* out) {
  *out << each.name;
}

std::string text(const Location& location) {
  return std::to_string(location.m_nLine) + ":" + std::to_string(location.m_nLineOffset) + " at " +
         std::to_string(location.m_nDocOffset);
}

class JsonScanError : public testing::TestWithParam<ScanCase> {};

TEST_P(JsonScanError, SaysWhere) {
  json::UnknownElement element;
  try {
    Reader::Read(element, GetParam().text);
    FAIL() << "nothing was thrown";
  } catch (const Reader::ScanException& error) {
    EXPECT_EQ(text(error.m_locError), text(GetParam().error));
    EXPECT_STRNE(error.what(), "");
  }
}

Location inLine0(unsigned offset) {
  return {0, offset, offset};
}

const ScanCase kScanCases[] = {
    {"StrayCharacter", "[1,@]", inLine0(3)},
    {"StrayCharacterAlone", "?", inLine0(0)},
    {"ZeroByte", std::string("[1]\0", 4), inLine0(3)},
    {"ByteOrderMark", "\xEF\xBB\xBF[1]", inLine0(0)},
    {"SingleQuotes", "['a']", inLine0(1)},
    {"Comment", "[1] // no", inLine0(4)},
    {"LeadingPlus", "[+1]", inLine0(1)},
    {"LeadingPoint", "[.5]", inLine0(1)},
    {"VerticalTab", "[\v1]", inLine0(1)},
    {"LongSpace", "[\xC2\xA0]", inLine0(1)},
    {"CutLiteral", "[tru]", inLine0(1)},
    {"WrongLiteral", "[nil]", inLine0(1)},
    {"UpperCaseLiteral", "TRUE", inLine0(0)},
    {"LongLiteral", "[falsehood]", inLine0(1)},
    {"CutLiteralAtTheEnd", "nul", inLine0(0)},
    {"NotANumber", "[1,NaN]", inLine0(3)},
    {"Infinity", "[-Infinity]", inLine0(2)},
    {"Hexadecimal", "[0x10]", inLine0(2)},
    {"UnquotedName", "{a:1}", inLine0(1)},
    {"UnterminatedString", "[\"abc", inLine0(1)},
    {"UnterminatedAfterBackslash", "\"abc\\", inLine0(4)},
    {"UnterminatedAfterEscapedQuote", "\"abc\\\"", inLine0(0)},
    {"UnterminatedName", "{\"a", inLine0(1)},
    {"BadEscape", R"(["ab\q"])", inLine0(4)},
    {"BadEscapeInAName", R"({"ab\x":1})", inLine0(4)},
    {"BadHexDigit", R"(["\u12G4"])", inLine0(2)},
    {"CutHexDigits", R"(["\u12"])", inLine0(2)},
    {"CutHexDigitsAtTheEnd", R"("\u1)", inLine0(1)},
    {"LoneLeadingSurrogate", R"(["\uD800"])", inLine0(2)},
    {"LeadingSurrogateBeforeText", R"("x\uDBFFx")", inLine0(2)},
    {"LeadingSurrogateBeforeOtherEscape", R"("\uD800\n")", inLine0(1)},
    {"LeadingSurrogateTwice", R"("\uD800\uD800")", inLine0(1)},
    {"LeadingSurrogateBeforeCutEscape", R"("\uD800\uDC")", inLine0(7)},
    {"LoneTrailingSurrogate", R"("\uDC00")", inLine0(1)},
    {"LineFeedInAString", "[\"a\nb\"]", inLine0(3)},
    {"TabInAString", "\"\t\"", inLine0(1)},
    {"ZeroByteInAString", std::string("\"\0\"", 3), inLine0(1)},
    {"InAnotherLine", "[1,\n 2,\r\n  @]", {2, 2, 11}},
    {"AfterAnErrorOfOrder", "[,]\n@", {1, 0, 4}},
    {"AfterTheDocument", "[1] \"", inLine0(4)},
    {"AfterARepeatedName", R"({"a":1,"a":2,b})", inLine0(13)},
};

INSTANTIATE_TEST_SUITE_P(Json, JsonScanError, testing::ValuesIn(kScanCases),
                         [](const auto& test) { return std::string(test.param.name); });

// Every kind of byte sequence that is not UTF-8, at the start of a string's third character.
const std::pair<const char*, std::string> kMalformedUtf8[] = {
    {"LoneContinuation", "\x80"},
    {"LoneContinuationHigh", "\xBF"},
    {"TwoByteCut", "\xC3"},
    {"TwoByteBeforeAscii", "\xC3z"},
    {"TwoByteOverlong", "\xC0\x80"},
    {"TwoByteOverlongHigh", "\xC1\xBF"},
    {"ThreeByteCut", "\xE2\x82"},
    {"ThreeByteCutEarly", "\xE2"},
    {"ThreeByteBeforeAscii", "\xE2\x82z"},
    {"ThreeByteOverlong", "\xE0\x9F\xBF"},
    {"FirstSurrogate", "\xED\xA0\x80"},
    {"LastSurrogate", "\xED\xBF\xBF"},
    {"SurrogatePairInUtf8", "\xED\xA0\xBD\xED\xB8\x80"},
    {"FourByteCut", "\xF0\x9F\x98"},
    {"FourByteBeforeAscii", "\xF0\x9F\x98z"},
    {"FourByteOverlong", "\xF0\x8F\xBF\xBF"},
    {"BeyondUnicode", "\xF4\x90\x80\x80"},
    {"FarBeyondUnicode", "\xF5\x80\x80\x80"},
    {"FiveByteForm", "\xF8\x88\x80\x80\x80"},
    {"SixByteForm", "\xFC\x84\x80\x80\x80\x80"},
    {"ByteFE", "\xFE"},
    {"ByteFF", "\xFF"},
    {"Latin1", "\xE9t\xE9"},
};

std::vector<ScanCase> malformedUtf8Cases() {
  std::vector<ScanCase> cases;
  for (const auto& [name, bytes] : kMalformedUtf8) {
    cases.push_back({name, "[\"ab" + bytes + "\"]", inLine0(4)});
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(JsonMalformedUtf8, JsonScanError, testing::ValuesIn(malformedUtf8Cases()),
                         [](const auto& test) { return std::string(test.param.name); });

class JsonParseError : public testing::TestWithParam<ParseCase> {};

TEST_P(JsonParseError, SaysWhere) {
  json::UnknownElement element;
  try {
    Reader::Read(element, GetParam().text);
    FAIL() << "nothing was thrown";
  } catch (const Reader::ParseException& error) {
    EXPECT_EQ(text(error.m_locTokenBegin), text(GetParam().begin)) << error.what();
    EXPECT_EQ(text(error.m_locTokenEnd), text(GetParam().end)) << error.what();
    EXPECT_STRNE(error.what(), json::detail::kNoDiagnosis);
  }
}

ParseCase parseCase(const char* name, const std::string& text, unsigned begin, unsigned end) {
  return {name, text, inLine0(begin), inLine0(end)};
}

const ParseCase kParseCases[] = {
    parseCase("Nothing", "", 0, 0),
    parseCase("OnlyBlanks", "  ", 2, 2),
    parseCase("OpenObject", "{", 1, 1),
    parseCase("OpenArray", "[", 1, 1),
    parseCase("OpenArrayAfterComma", "[1, ", 4, 4),
    parseCase("NameWithoutColon", R"({"a")", 4, 4),
    parseCase("NameWithoutValue", R"({"a":)", 5, 5),
    parseCase("ValueWithoutEnd", R"({"a":1)", 6, 6),
    parseCase("CommaWithoutEnd", R"({"a":1,)", 7, 7),
    parseCase("TrailingCommaInArray", "[1,]", 3, 4),
    parseCase("TrailingCommaInObject", R"({"a":1,})", 7, 8),
    parseCase("OnlyAComma", "[,]", 1, 2),
    parseCase("TwoCommas", "[1,,2]", 3, 4),
    parseCase("MissingComma", "[1 22]", 3, 5),
    parseCase("MissingCommaInObject", R"({"a":1 "b":2})", 7, 10),
    parseCase("MissingColon", R"({"a" 1})", 5, 6),
    parseCase("CommaForColon", R"({"a",1})", 4, 5),
    parseCase("ColonInArray", "[1:2]", 2, 3),
    parseCase("NumberAsName", "{1:2}", 1, 2),
    parseCase("LiteralAsName", "{null:2}", 1, 5),
    parseCase("NameWithoutValueAtTheEnd", R"({"a":})", 5, 6),
    parseCase("WrongEndOfArray", "[1}", 2, 3),
    parseCase("WrongEndOfObject", R"({"a":1])", 6, 7),
    parseCase("WrongEndOfEmptyArray", "[}", 1, 2),
    parseCase("WrongEndOfEmptyObject", "{]", 1, 2),
    parseCase("OnlyAnEnd", "]", 0, 1),
    parseCase("OnlyAColon", ":", 0, 1),
    parseCase("TextAfterTheDocument", "[1] [2]", 4, 5),
    parseCase("TwoNumbers", "1 2", 2, 3),
    parseCase("TwoStrings", R"("a""b")", 3, 6),
    parseCase("EndAfterTheDocument", "{}}", 2, 3),
    parseCase("RepeatedName", R"({"a":1,"b":2,"a":3})", 13, 16),
    parseCase("RepeatedNameByEscape", R"({"a":1,"\u0061":3})", 7, 15),
    parseCase("RepeatedNameBySurrogates",
              R"({"\uD83D\uDE00":1,")"
              "\xF0\x9F\x98\x80"
              R"(":3})",
              18, 24),
    parseCase("RepeatedEmptyName", R"({"":1,"":3})", 6, 8),
    parseCase("RepeatedNameInside", R"([{"a":{"x":1,"x":1}}])", 13, 16),
    parseCase("RepeatedNameBeforeAnotherError", R"({"a":1,"a":2,})", 7, 10),
    parseCase("LeadingZero", "[01]", 1, 3),
    parseCase("LoneMinus", "[-]", 1, 2),
    parseCase("MinusAtTheEnd", "-", 0, 1),
    parseCase("MinusMinus", "[--1]", 1, 4),
    parseCase("NoDigitAfterPoint", "[1.]", 1, 3),
    parseCase("NoDigitBeforePoint", "[-.5]", 1, 4),
    parseCase("NoDigitInExponent", "[1e]", 1, 3),
    parseCase("NoDigitAfterSign", "[1e+]", 1, 4),
    parseCase("TwoPoints", "[1.2.3]", 1, 6),
    parseCase("TwoExponents", "[1e2e3]", 1, 6),
    parseCase("PointInExponent", "[1e2.5]", 1, 6),
    parseCase("Difference", "[1-2]", 1, 4),
    parseCase("TooLarge", "[1e999]", 1, 6),
    parseCase("TooLargeNegative", "[-1e309]", 1, 7),
    parseCase("BarelyTooLarge", "[1.797693134862315808e308]", 1, 25),
    parseCase("AbsurdExponent", "[0e99999999999999999999]", 1, 23),
    parseCase("AbsurdNegativeExponent", "[1e-2147483649]", 1, 14),
    parseCase("ExponentBeyondUse", "[0e1000000001]", 1, 13),
    parseCase("TooDeep", std::string(300, '['), 256, 257),
    parseCase("TooDeepObject", std::string(256, '[') + "{}", 256, 257),
    {"InAnotherLine", "{\n\t\"a\" : 1,\r\n  \"b\" 22\n}", {2, 6, 19}, {2, 8, 21}},
    {"EndInAnotherLine", "[1,\n\n", {2, 0, 5}, {2, 0, 5}},
};

INSTANTIATE_TEST_SUITE_P(Json, JsonParseError, testing::ValuesIn(kParseCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(JsonParseErrorOfALargeObject, PointsAtTheRepeatedName) {
  std::string text = "{";
  for (int index = 0; index < 100'000; ++index) {
    text += "\"name" + std::to_string(index) + "\":0,\n";
  }
  const auto begin = static_cast<unsigned>(text.size());
  text += "\"name77\":1}";
  json::Object object;
  try {
    Reader::Read(object, text);
    FAIL() << "nothing was thrown";
  } catch (const Reader::ParseException& error) {
    EXPECT_EQ(error.m_locTokenBegin, (Location{100'000, 0, begin}));
    EXPECT_EQ(error.m_locTokenEnd, (Location{100'000, 8, begin + 8}));
  }
}

// Whatever is cut off a document, the rest is a text of which the reader says what it lacks.
TEST(JsonParseErrorOfACutDocument, IsDiagnosed) {
  const std::string document = R"({"a":[1.5e3,-2,true,null],"b":{"c":"\u00e9\n","d":[[],{}]},"e":false})";
  json::UnknownElement element;
  for (std::size_t size = 0; size < document.size(); ++size) {
    const std::string_view cut = std::string_view(document).substr(0, size);
    try {
      Reader::Read(element, cut);
      ADD_FAILURE() << cut;
    } catch (const Reader::ScanException& error) {
      EXPECT_LT(error.m_locError.m_nDocOffset, size) << cut;
    } catch (const Reader::ParseException& error) {
      EXPECT_STRNE(error.what(), json::detail::kNoDiagnosis) << cut;
      EXPECT_EQ(error.m_locTokenEnd.m_nDocOffset, size) << cut;
    }
  }
}

}  // namespace
