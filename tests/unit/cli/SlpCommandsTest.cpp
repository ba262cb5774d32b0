#include <arpa/inet.h>
#include <cstdint>
#include <functional>
#include <slp.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/SlpCommands.h"

namespace cli {
namespace {

using testing::HasSubstr;

/// A port above 1023 that nobody has just now.
std::uint16_t freePort() {
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  socklen_t size = sizeof address;
  const bool good = bind(fd, reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
                    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  close(fd);
  return good ? ntohs(address.sin_port) : 0;
}

/// Runs commands against the library itself. Nothing leaves the machine.
class RunSlpCommand : public testing::Test {
 protected:
  static std::uint16_t port() {
    static const std::uint16_t sPort = freePort();
    return sPort;
  }
  void SetUp() override { SLPSetProperty("net.slp.interfaces", "lo"); }

  Options options(SlpCommand command, const std::string& argument, Format format = Format::kTable) const {
    Options result;
    result.argument = argument;
    result.format = format;
    result.slp = SlpOptions();
    result.slp->command = command;
    result.slp->port = port();
    return result;
  }
  ExitCode run(
      const Options& options, const std::function<void()>& awaitEnd = [] {}) {
    mOut.str("");
    mErr.str("");
    return runSlpCommand(options, mOut, mErr, awaitEnd);
  }
  /// Runs the rest of a test while the service is registered.
  void whileRegistered(const std::string& url, const std::string& attributes, const std::function<void()>& rest) const {
    Options registration = options(SlpCommand::kRegister, url);
    registration.slp->attributes = attributes;
    std::ostringstream out;
    std::ostringstream err;
    bool ran = false;
    EXPECT_EQ(runSlpCommand(registration, out, err,
                            [&] {
                              ran = true;
                              EXPECT_EQ(out.str(), url + ": registered until interrupted\n");
                              rest();
                            }),
              ExitCode::kDone);
    EXPECT_TRUE(ran) << err.str();
    EXPECT_THAT(out.str(), HasSubstr(url + ": deregistered\n"));
  }

  std::ostringstream mOut;
  std::ostringstream mErr;
};

TEST_F(RunSlpCommand, FindsWhatIsRegisteredUntilItIsInterrupted) {
  whileRegistered("service:cli.a://h:1", "", [this] {
    EXPECT_EQ(run(options(SlpCommand::kFind, "service:cli.a")), ExitCode::kDone);
    EXPECT_EQ(mOut.str(), "LIFETIME  URL\n65535     service:cli.a://h:1\n");
    EXPECT_EQ(mErr.str(), "");
  });
  EXPECT_EQ(run(options(SlpCommand::kFind, "service:cli.a")), ExitCode::kRefused);
  EXPECT_EQ(mOut.str(), "");
}

TEST_F(RunSlpCommand, FindsOnlyWhatTheFilterMatches) {
  whileRegistered("service:cli.b://h", "(speed=5)", [this] {
    Options find = options(SlpCommand::kFind, "service:cli.b");
    find.slp->filter = "(speed>=6)";
    EXPECT_EQ(run(find), ExitCode::kRefused);
    find.slp->filter = "(speed>=5)";
    EXPECT_EQ(run(find), ExitCode::kDone);
  });
}

TEST_F(RunSlpCommand, PrintsServicesAsJson) {
  whileRegistered("service:cli.c://h", "", [this] {
    EXPECT_EQ(run(options(SlpCommand::kFind, "service:cli.c", Format::kJson)), ExitCode::kDone);
    EXPECT_EQ(parsed(R"({"values": )" + mOut.str() + "}"),
              parsed(R"({"values": [{"url": "service:cli.c://h", "lifetime": 65535}]})"));
  });
}

TEST_F(RunSlpCommand, ShowsAttributesAsTheyAre) {
  const std::string attributes = R"((ip=1))(server={"a":[1,2]}))";
  whileRegistered("service:cli.d://h", attributes, [&] {
    EXPECT_EQ(run(options(SlpCommand::kAttributes, "service:cli.d://h")), ExitCode::kDone);
    EXPECT_EQ(mOut.str(), attributes + "\n");
    EXPECT_EQ(run(options(SlpCommand::kAttributes, "service:cli.d", Format::kJson)), ExitCode::kDone);
    EXPECT_EQ(parsed(R"({"values": )" + mOut.str() + "}"),
              parsed(R"x({"values": [{"attributes": "(ip=1))(server={\"a\":[1,2]})"}]})x"));
  });
}

TEST_F(RunSlpCommand, LetsNoServiceDrawOnTheTerminal) {
  whileRegistered("service:cli.e://h", "(a=\x1b[2J)", [this] {
    EXPECT_EQ(run(options(SlpCommand::kAttributes, "service:cli.e://h")), ExitCode::kDone);
    EXPECT_EQ(mOut.str(), "(a=\\u001b[2J)\n");
  });
}

TEST_F(RunSlpCommand, ListsTypesOneByOne) {
  whileRegistered("service:cli.f://h", "", [this] {
    whileRegistered("service:cli2.f://h", "", [this] {
      EXPECT_EQ(run(options(SlpCommand::kTypes, "")), ExitCode::kDone);
      EXPECT_EQ(mOut.str().rfind("TYPE\n", 0), 0u);
      EXPECT_THAT(mOut.str(), HasSubstr("service:cli.f\n"));
      EXPECT_THAT(mOut.str(), HasSubstr("service:cli2.f\n"));
    });
  });
}

TEST_F(RunSlpCommand, ListsTheAgentOfAHost) {
  whileRegistered("service:cli.g://h", "", [this] {
    Options agents = options(SlpCommand::kAgents, "");
    agents.slp->host = "127.0.0.1";
    EXPECT_EQ(run(agents), ExitCode::kDone);
    EXPECT_EQ(mOut.str(),
              "AGENT            URL\n"
              "service-agent    service:service-agent://127.0.0.1\n");
  });
}

TEST_F(RunSlpCommand, PrintsAnEmptyArrayForNothingFound) {
  whileRegistered("service:cli.h://h", "", [this] {
    EXPECT_EQ(run(options(SlpCommand::kFind, "service:cli.nothing", Format::kJson)), ExitCode::kRefused);
    EXPECT_EQ(mOut.str(), "[]\n");
    EXPECT_EQ(mErr.str(), "kvtctl: no service of type service:cli.nothing was found\n");
  });
}

struct FailureRow {
  const char* name;
  std::function<void(Options&)> change;
  ExitCode code;
  const char* words;
};

class SlpFailures : public RunSlpCommand, public testing::WithParamInterface<FailureRow> {};

TEST_P(SlpFailures, AreOneLineAndAnExitCode) {
  whileRegistered("service:cli.i://h", "", [this] {
    Options find = options(SlpCommand::kFind, "service:cli.i");
    GetParam().change(find);
    EXPECT_EQ(run(find), GetParam().code);
    EXPECT_EQ(mOut.str(), "");
    EXPECT_THAT(mErr.str(), HasSubstr(GetParam().words));
    EXPECT_EQ(mErr.str().find('\n'), mErr.str().size() - 1);
  });
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SlpFailures,
    testing::Values(FailureRow{"UnreadableFilter", [](Options& o) { o.slp->filter = "(a="; }, ExitCode::kUsage,
                               "the filter or another text cannot be read"},
                    FailureRow{"UnknownInterface", [](Options& o) { o.slp->interfaces = "no-such"; }, ExitCode::kUsage,
                               "no such interface: no-such"},
                    FailureRow{"NoAddressOfHost", [](Options& o) { o.slp->host = "239.255.255.253"; },
                               ExitCode::kUnreachable, "cannot find the host"},
                    FailureRow{"ForeignScope",
                               [](Options& o) {
                                 o.slp->scopes = "elsewhere";
                                 o.slp->host = "127.0.0.1";
                               },
                               ExitCode::kRefused, "nobody serves the scope"},
                    FailureRow{"NobodyListens",
                               [](Options& o) {
                                 o.slp->port = freePort();
                                 o.slp->host = "127.0.0.1";
                               },
                               ExitCode::kUnreachable, "cannot find service:cli.i"},
                    FailureRow{"NoTypeInUrl",
                               [](Options& o) {
                                 o.slp->command = SlpCommand::kRegister;
                                 o.argument = "nothing";
                               },
                               ExitCode::kUsage, "cannot register nothing: this is no URL of a service"},
                    FailureRow{"PortOutOfRange",
                               [](Options& o) {
                                 o.slp->command = SlpCommand::kRegister;
                                 o.argument = "service:x://h:99999";
                               },
                               ExitCode::kUsage, "this is no URL of a service"}),
    [](const auto& row) { return row.param.name; });

TEST(SlpLog, GoesToTheStreamWithoutDebugging) {
  static std::ostringstream err;  // the library keeps it until the process ends
  sendSlpLogTo(err);
  SLPSetProperty("net.slp.multicastTTL", "a\nb");
  SLPSetLog(nullptr, nullptr);
  EXPECT_THAT(err.str(), testing::StartsWith("kvtctl: "));
  EXPECT_EQ(err.str().find('\n'), err.str().size() - 1);
}

}  // namespace
}  // namespace cli
