#include <cstdlib>
#include <string>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/Options.h"
#include "unit/cli/ParsedOptions.h"

namespace cli {
namespace {

using testing::HasSubstr;

class ParseOptions : public ParsedOptions {
 protected:
  void SetUp() override { unsetenv("KVT_SERVER"); }
  void TearDown() override { unsetenv("KVT_SERVER"); }

  ExitCode code(const std::vector<const char*>& words) {
    const auto parsed = parse(words);
    EXPECT_TRUE(std::holds_alternative<ExitCode>(parsed));
    return std::holds_alternative<ExitCode>(parsed) ? std::get<ExitCode>(parsed) : ExitCode::kDone;
  }
};

TEST_F(ParseOptions, HaveDefaults) {
  const Options parsed = options({"servers", "list"});
  EXPECT_EQ(parsed.command, Command::kList);
  EXPECT_EQ(parsed.server, "https://127.0.0.1:8443");
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

TEST_F(ParseOptions, TakeAHostForItsUrl) {
  const std::vector<std::pair<const char*, const char*>> servers = {
      {"10.88.0.2", "https://10.88.0.2:8443"},      {"ten.example:9443", "https://ten.example:9443"},
      {"fe80::1", "https://[fe80::1]:8443"},        {"[fe80::1]", "https://[fe80::1]:8443"},
      {"[fe80::1]:9443", "https://[fe80::1]:9443"}, {"ten/manage", "https://ten:8443/manage"},
      {"http://10.88.0.2", "http://10.88.0.2"},     {"/", "https://:8443/"}};
  for (const auto& [server, url] : servers)
    EXPECT_EQ(options({"servers", "list", "--server", server}).server, url);
  setenv("KVT_SERVER", "ten", 1);
  EXPECT_EQ(options({"servers", "list"}).server, "https://ten:8443");
}

TEST_F(ParseOptions, KnowEveryCommandOfSlp) {
  EXPECT_FALSE(options({"servers", "list"}).slp.has_value());
  EXPECT_EQ(options({"slp", "find", "service:a"}).slp->command, SlpCommand::kFind);
  EXPECT_EQ(options({"slp", "attrs", "service:a://h"}).slp->command, SlpCommand::kAttributes);
  EXPECT_EQ(options({"slp", "types"}).slp->command, SlpCommand::kTypes);
  EXPECT_EQ(options({"slp", "agents"}).slp->command, SlpCommand::kAgents);
  const Options add = options({"slp", "register", "service:a://h", "(b=1)"});
  EXPECT_EQ(add.slp->command, SlpCommand::kRegister);
  EXPECT_EQ(add.argument, "service:a://h");
  EXPECT_EQ(add.slp->attributes, "(b=1)");
  EXPECT_EQ(options({"slp", "register", "service:a://h"}).slp->attributes, "");
}

TEST_F(ParseOptions, TakeTheOptionsOfSlpBehindItsCommands) {
  const Options plain = options({"slp", "find", "service:a"});
  EXPECT_EQ(plain.slp->port, 0);
  EXPECT_EQ(plain.slp->filter + plain.slp->scopes + plain.slp->interfaces + plain.slp->host, "");
  const Options parsed =
      options({"slp", "find", "service:a", "--filter", "(b=1)", "--scope", "x,y", "--interface", "eth0,10.0.0.1",
               "--unicast", "host", "--port", "4270", "--timeout", "2", "-o", "json"});
  EXPECT_EQ(parsed.argument, "service:a");
  EXPECT_EQ(parsed.slp->filter, "(b=1)");
  EXPECT_EQ(parsed.slp->scopes, "x,y");
  EXPECT_EQ(parsed.slp->interfaces, "eth0,10.0.0.1");
  EXPECT_EQ(parsed.slp->host, "host");
  EXPECT_EQ(parsed.slp->port, 4270);
  EXPECT_EQ(parsed.timeout, std::chrono::seconds(2));
  EXPECT_EQ(parsed.format, Format::kJson);
}

TEST_F(ParseOptions, ListenToAnnouncementsWithoutEndUnlessToldOtherwise) {
  const Options plain = options({"announce", "listen"});
  ASSERT_TRUE(plain.announce);
  EXPECT_FALSE(plain.slp);
  EXPECT_EQ(plain.announce->interfaces, "");
  EXPECT_FALSE(plain.announce->count);
  EXPECT_FALSE(plain.announce->duration);
  EXPECT_EQ(plain.format, Format::kTable);
  EXPECT_FALSE(options({"servers", "list"}).announce);
}

TEST_F(ParseOptions, TakeTheOptionsOfListening) {
  const Options parsed =
      options({"announce", "listen", "--interface", "eth0,10.0.0.1", "--count", "7", "--for", "1.5", "--json"});
  EXPECT_EQ(parsed.announce->interfaces, "eth0,10.0.0.1");
  EXPECT_EQ(parsed.announce->count, 7u);
  EXPECT_EQ(parsed.announce->duration, std::chrono::milliseconds(1500));
  EXPECT_EQ(parsed.format, Format::kJson);
  EXPECT_EQ(options({"announce", "listen", "-o", "json"}).format, Format::kJson);
  EXPECT_EQ(options({"announce", "listen", "--for", "31536000"}).announce->duration, std::chrono::hours(24 * 365));
}

TEST_F(ParseOptions, ExplainTheCommandsThatAskTheNetwork) {
  EXPECT_EQ(code({"slp", "--help"}), ExitCode::kDone);
  EXPECT_EQ(code({"announce", "--help"}), ExitCode::kDone);
  for (const char* command : {"find", "attrs", "types", "register", "agents", "listen"})
    EXPECT_THAT(mOut.str(), HasSubstr(std::string("\n  ") + command)) << command;
  EXPECT_EQ(code({"announce", "listen", "--help"}), ExitCode::kDone);
  for (const char* option : {"--interface", "--count", "--for", "--json"})
    EXPECT_THAT(mOut.str(), HasSubstr(option)) << option;
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
      {"servers", "list", "--port", "4270"},
      {"slp"},
      {"slp", "find"},
      {"slp", "find", ""},
      {"slp", "attrs", ""},
      {"slp", "register"},
      {"slp", "register", "", "(a=1)"},
      {"slp", "types", "surplus"},
      {"slp", "types", "--filter", "(a=1)"},
      {"slp", "find", "service:a", "--port", "0"},
      {"slp", "find", "service:a", "--port", "65536"},
      {"announce"},
      {"announce", "hear"},
      {"announce", "listen", "surplus"},
      {"announce", "listen", "--count", "0"},
      {"announce", "listen", "--count", "-1"},
      {"announce", "listen", "--count", "1000000001"},
      {"announce", "listen", "--count", "many"},
      {"announce", "listen", "--for", "0"},
      {"announce", "listen", "--for", "-1"},
      {"announce", "listen", "--for", "nan"},
      {"announce", "listen", "--for", "1e30"},
      {"servers", "list", "--count", "1"},
  };
  for (const auto& line : lines) {
    mErr.str("");
    EXPECT_EQ(code(line), ExitCode::kUsage) << testing::PrintToString(line);
    EXPECT_EQ(mErr.str().rfind("kvtctl: ", 0), 0u) << mErr.str();
    EXPECT_LT(mErr.str().size(), 200u) << mErr.str();
  }
  EXPECT_EQ(mOut.str(), "");
}

}  // namespace
}  // namespace cli
