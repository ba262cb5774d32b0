#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "slp/config/PropertyValues.h"

namespace slp::config {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(PropertyText, IsTrimmedAtBothEnds) {
  EXPECT_EQ(trimmed(" \t a b\t "), "a b");
  EXPECT_EQ(trimmed(""), "");
  EXPECT_EQ(trimmed(" \t"), "");
}

struct EscapeCase {
  const char* name;
  std::string text;
  std::optional<std::string> plain;
};

class PropertyEscape : public testing::TestWithParam<EscapeCase> {};

TEST_P(PropertyEscape, IsRead) {
  EXPECT_EQ(unescaped(GetParam().text), GetParam().plain);
}

const EscapeCase kEscapes[] = {
    {"None", "plain", "plain"},
    {"Comma", "a\\2cb", "a,b"},
    {"UpperCase", "\\2C\\5C", ",\\"},
    {"Last", "a\\28", "a("},
    {"ZeroByte", "\\00", std::string(1, '\0')},
    {"AboveAscii", "\\c3\\a4", "\xC3\xA4"},
    {"Cut", "a\\2", std::nullopt},
    {"CutBehindTheBackslash", "a\\", std::nullopt},
    {"NoDigits", "\\xy", std::nullopt},
    {"OneDigit", "\\2g", std::nullopt},
};

INSTANTIATE_TEST_SUITE_P(Escapes, PropertyEscape, testing::ValuesIn(kEscapes),
                         [](const auto& row) { return row.param.name; });

TEST(PropertyList, IsTakenApartAtCommas) {
  EXPECT_THAT(elements("a, b c ,,d,"), ElementsAre("a", "b c", "d"));
  EXPECT_THAT(elements(""), IsEmpty());
  EXPECT_THAT(elements(" ,\t, "), IsEmpty());
}

TEST(PropertyList, KeepsACommaThatIsEscaped) {
  std::vector<std::string> read;
  EXPECT_EQ(readStrings("a\\2cb,c", read), "");
  EXPECT_THAT(read, ElementsAre("a,b", "c"));
}

TEST(PropertyScopes, KeepTheEscapesOfMessages) {
  std::string scopes;
  EXPECT_EQ(readScopes(" one , a\\2cb", scopes), "");
  EXPECT_EQ(scopes, "one,a\\2cb");
}

}  // namespace
}  // namespace slp::config
