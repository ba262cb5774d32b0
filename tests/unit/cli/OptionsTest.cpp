#include <cstdlib>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/Options.h"

namespace cli {
namespace {

using testing::HasSubstr;

class ParseOptions : public testing::Test {
 protected:
  void SetUp() override { unsetenv("KVT_SERVER"); }
  void TearDown() override { unsetenv("KVT_SERVER"); }

  std::variant<Options, ExitCode> parse(std::vector<const char*> words) {
    words.insert(words.begin(), "kvtctl");
    return parseOptions(static_cast<int>(words.size()), words.data(), mOut, mErr);
  }
  Options options(const std::vector<const char*>& words) {
    const auto parsed = parse(words);
    EXPECT_TRUE(std::holds_alternative<Options>(parsed)) << mErr.str();
    return std::holds_alternative<Options>(parsed) ? std::get<Options>(parsed) : Options();
  }
  ExitCode code(const std::vector<const char*>& words) {
    const auto parsed = parse(words);
    EXPECT_TRUE(std::holds_alternative<ExitCode>(parsed));
    return std::holds_alternative<ExitCode>(parsed) ? std::get<ExitCode>(parsed) : ExitCode::kDone;
  }

  std::ostringstream mOut;
  std::ostringstream mErr;
};

TEST_F(ParseOptions, HaveDefaults) {
  const Options parsed = options({"servers", "list"});
  EXPECT_EQ(parsed.command, Command::kList);
  EXPECT_EQ(parsed.server, "http://127.0.0.1:8443");
  EXPECT_EQ(parsed.format, Format::kTable);
  EXPECT_EQ(parsed.timeout, std::chrono::seconds(10));
}

TEST_F(ParseOptions, KnowEveryCommand) {
  EXPECT_EQ(options({"servers", "search", "10.0.0.2"}).command, Command::kSearch);
  EXPECT_EQ(options({"servers", "add", "two"}).command, Command::kAdd);
  EXPECT_EQ(options({"servers", "remove", "two"}).command, Command::kRemove);
  EXPECT_EQ(options({"details", "two"}).command, Command::kDetails);
  EXPECT_EQ(options({"details", "two"}).argument, "two");
}

TEST_F(ParseOptions, TakeNoEmptyTextForAServer) {
  for (const char* command : {"search", "add", "remove"})
    EXPECT_EQ(code({"servers", command, ""}), ExitCode::kUsage) << command;
}

TEST_F(ParseOptions, AskForTheServersOwnDetailsWithoutAnIdentifier) {
  EXPECT_EQ(options({"details"}).argument, "self");
}

TEST_F(ParseOptions, TakeGlobalOptionsBeforeAndAfterTheCommand) {
  EXPECT_EQ(options({"-o", "json", "servers", "list"}).format, Format::kJson);
  const Options parsed = options({"servers", "list", "-o", "json", "--server", "https://x:1", "--timeout", "0.5"});
  EXPECT_EQ(parsed.format, Format::kJson);
  EXPECT_EQ(parsed.server, "https://x:1");
  EXPECT_EQ(parsed.timeout, std::chrono::milliseconds(500));
}

TEST_F(ParseOptions, TakeTheServerFromTheEnvironmentUnlessTheLineNamesOne) {
  setenv("KVT_SERVER", "http://elsewhere:1", 1);
  EXPECT_EQ(options({"servers", "list"}).server, "http://elsewhere:1");
  EXPECT_EQ(options({"servers", "list", "--server", "http://here:2"}).server, "http://here:2");
}

TEST_F(ParseOptions, ExplainThemselvesWithTheExitCodes) {
  EXPECT_EQ(code({"--help"}), ExitCode::kDone);
  EXPECT_THAT(mOut.str(), HasSubstr("3  the server could not be reached"));
  EXPECT_THAT(mOut.str(), HasSubstr("KVT_SERVER"));
}

TEST_F(ParseOptions, TellTheVersion) {
  EXPECT_EQ(code({"--version"}), ExitCode::kDone);
  EXPECT_THAT(mOut.str(), testing::MatchesRegex("kvtctl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(ParseOptions, RefuseWhatTheyDoNotUnderstand) {
  const std::vector<std::vector<const char*>> lines = {
      {},
      {"servers"},
      {"servers", "search"},
      {"servers", "add"},
      {"servers", "rename", "x"},
      {"servers", "list", "surplus"},
      {"details", "one", "two"},
      {"servers", "list", "-o", "yaml"},
      {"servers", "list", "--server", "ftp://x"},
      {"servers", "list", "--timeout", "0"},
      {"servers", "list", "--timeout", "soon"},
      {"servers", "list", "--unknown"},
  };
  for (const auto& line : lines) {
    mErr.str("");
    EXPECT_EQ(code(line), ExitCode::kUsage) << testing::PrintToString(line);
    EXPECT_EQ(mErr.str().rfind("kvtctl: ", 0), 0u) << mErr.str();
  }
  EXPECT_EQ(mOut.str(), "");
}

}  // namespace
}  // namespace cli
