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

class AccessOptionsOf : public ParsedOptions {
 protected:
  /// What a wrong line is told.
  std::string complaint(const std::vector<const char*>& words) {
    mErr.str("");
    const auto parsed = parse(words);
    EXPECT_TRUE(std::holds_alternative<ExitCode>(parsed) && std::get<ExitCode>(parsed) == ExitCode::kUsage);
    return mErr.str();
  }
};

const std::string kDigits(64, 'a');

TEST_F(AccessOptionsOf, UsersAreNamedWithTheirRoleAndDirectory) {
  const Options add = options({"user", "add", "ann", "--role", "operator", "--state-dir", "/tmp/state"});
  ASSERT_TRUE(add.user);
  EXPECT_EQ(add.user->command, UserCommand::kAdd);
  EXPECT_EQ(add.user->name, "ann");
  EXPECT_EQ(add.user->role, "operator");
  EXPECT_EQ(add.user->stateDirectory, "/tmp/state");
  EXPECT_EQ(options({"user", "passwd", "ann"}).user->command, UserCommand::kPassword);
  EXPECT_EQ(options({"user", "role", "ann", "viewer"}).user->role, "viewer");
  EXPECT_EQ(options({"user", "remove", "ann"}).user->command, UserCommand::kRemove);
  EXPECT_EQ(options({"user", "list"}).user->command, UserCommand::kList);
}

TEST_F(AccessOptionsOf, ARoleIsOneOfTwo) {
  EXPECT_THAT(complaint({"user", "add", "ann", "--role", "king"}), HasSubstr("takes viewer or operator, not king"));
  EXPECT_THAT(complaint({"token", "add", "ci", "--role", "none"}), HasSubstr("takes viewer or operator, not none"));
  EXPECT_THAT(complaint({"user", "role", "ann"}), HasSubstr("ROLE"));
}

TEST_F(AccessOptionsOf, NamesAreNeeded) {
  for (const char* command : {"add", "passwd", "remove"}) {
    EXPECT_THAT(complaint({"user", command}), HasSubstr("NAME")) << command;
    EXPECT_THAT(complaint({"user", command, ""}), HasSubstr("empty")) << command;
  }
  EXPECT_THAT(complaint({"peers", "trust"}), HasSubstr("ADDRESS"));
  EXPECT_THAT(complaint({"token", "revoke", ""}), HasSubstr("empty"));
  complaint({"user"});
  complaint({"token"});
  complaint({"peers"});
}

TEST_F(AccessOptionsOf, LoginsTokensAndPeersAreKnown) {
  EXPECT_EQ(options({"login", "--user", "ann"}).access->name, "ann");
  EXPECT_EQ(options({"login"}).access->command, AccessCommand::kLogin);
  EXPECT_EQ(options({"logout"}).access->command, AccessCommand::kLogout);
  EXPECT_EQ(options({"token", "add", "ci", "--role", "viewer"}).access->role, "viewer");
  EXPECT_EQ(options({"token", "list"}).access->command, AccessCommand::kTokenList);
  EXPECT_EQ(options({"token", "revoke", "ci"}).access->name, "ci");
  EXPECT_EQ(options({"peers", "list"}).peers->command, PeerCommand::kList);
  EXPECT_EQ(options({"peers", "forget", "10.0.0.2:8443"}).peers->address, "10.0.0.2:8443");
  EXPECT_EQ(options({"peers", "trust", "10.0.0.2:8443", "SHA256:ab"}).peers->fingerprint, "SHA256:ab");
  EXPECT_FALSE(options({"servers", "list"}).access);
}

TEST_F(AccessOptionsOf, AFingerprintIsTakenAsBrowsersShowIt) {
  std::string shown;
  for (int i = 0; i < 32; ++i)
    shown += i == 0 ? "AA" : ":AA";
  EXPECT_EQ(options({"trust", shown.c_str()}).fingerprint, "SHA256:" + kDigits);
  EXPECT_EQ(options({"servers", "list", "--fingerprint", shown.c_str()}).fingerprint, "SHA256:" + kDigits);
  EXPECT_EQ(options({"trust"}).fingerprint, "");
  EXPECT_EQ(options({"trust"}).access->command, AccessCommand::kTrust);
  EXPECT_THAT(complaint({"trust", "12:34"}), HasSubstr("takes SHA256: and 64 hexadecimal digits"));
  EXPECT_THAT(complaint({"servers", "list", "--fingerprint", ""}), HasSubstr("takes SHA256:"));
}

TEST_F(AccessOptionsOf, WatchAndDoctorTakeNoArgument) {
  EXPECT_EQ(options({"watch"}).command, Command::kWatch);
  EXPECT_EQ(options({"watch", "--json"}).format, Format::kJson);
  EXPECT_EQ(options({"doctor", "-o", "json"}).command, Command::kDoctor);
  complaint({"watch", "10.0.0.2"});
}

}  // namespace
}  // namespace cli
