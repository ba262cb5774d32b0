#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "slp/config/ConfigurationFile.h"
#include "slp/config/Properties.h"

namespace slp::config {
namespace {

struct LineCase {
  const char* name;
  const char* text;
  std::optional<std::string> property;
  const char* value;
};

class ConfigurationLineOf : public testing::TestWithParam<LineCase> {};

TEST_P(ConfigurationLineOf, IsRead) {
  const auto lines = linesOf(GetParam().text);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].name, GetParam().property);
  EXPECT_EQ(lines[0].value, GetParam().value);
}

const LineCase kLines[] = {
    {"Plain", "a.b=c", "a.b", "c"},
    {"Blanks", "  a.b \t=  c d\t", "a.b", "c d"},
    {"EqualsInTheValue", "a=(b=c)", "a", "(b=c)"},
    {"EscapeInTheName", "a\\3db=c", "a=b", "c"},
    {"EscapeInTheValueStays", "a=b\\2cc", "a", "b\\2cc"},
    {"EmptyValue", "a=", "a", ""},
    {"CommentBehindAValueIsItsPart", "a=b # c", "a", "b # c"},
    {"NoEquals", "a b", std::nullopt, ""},
    {"NoName", "=b", std::nullopt, ""},
    {"BadEscapeInTheName", "a\\3=b", std::nullopt, ""},
};

INSTANTIATE_TEST_SUITE_P(Lines, ConfigurationLineOf, testing::ValuesIn(kLines),
                         [](const auto& row) { return row.param.name; });

TEST(ConfigurationFile, EndsLinesInEveryManner) {
  const auto lines = linesOf("a=1\nb=2\r\nc=3\r\n\rd=4\n\n  \n# e=5\n;f=6\n  # g=7\nh=8");
  std::string read;
  for (const auto& line : lines)
    read += *line.name + std::string(line.value) + "@" + std::to_string(line.number) + " ";
  EXPECT_EQ(read, "a1@1 b2@2 c3@3 d4@5 h8@11 ");
}

TEST(ConfigurationFile, MayBeEmpty) {
  EXPECT_TRUE(linesOf("").empty());
  EXPECT_TRUE(linesOf("\n\r\n\r").empty());
}

TEST(ConfigurationFile, ThatNeverEndsIsNotRead) {
  std::string text;
  EXPECT_NE(readText("/dev/zero", text), "");
  EXPECT_LT(text.size(), 2u << 20);
}

TEST(ConfigurationFile, ThatIsNotThereIsNotRead) {
  std::string text;
  EXPECT_NE(readText("/nonexistent/slp.conf", text), "");
  EXPECT_NE(readText("/", text), "");
  EXPECT_EQ(readText("/dev/null", text), "");
}

TEST(ConfigurationFile, IsNamedByTheEnvironment) {
  // Nothing else runs in this process.
  ::setenv("SLP_CONF", "/some/where.conf", 1);
  EXPECT_EQ(configurationFile(), "/some/where.conf");
  ::setenv("SLP_CONF", "", 1);
  EXPECT_NE(configurationFile(), "");
  ::unsetenv("SLP_CONF");
  EXPECT_EQ(configurationFile().value_or("/etc/slp.conf"), "/etc/slp.conf");
}

}  // namespace
}  // namespace slp::config
