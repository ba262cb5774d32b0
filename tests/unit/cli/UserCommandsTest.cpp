#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakePrompt.h"
#include "TemporaryFolder.h"
#include "cli/UserCommands.h"
#include "state/Accounts.h"

namespace cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* kPassword = "a horse and a battery";

class Users : public testing::Test {
 protected:
  ExitCode run(UserCommand command, const std::string& name = "", const std::string& role = "",
               bool isTerminal = false) {
    mOut.str("");
    mErr.str("");
    Options options;
    options.user = UserOptions{command, name, role, mState};
    return runUserCommand(options, mPerson.prompt(isTerminal), mOut, mErr);
  }
  ExitCode add(const std::string& name, const std::string& role = "") {
    mPerson.answers = {kPassword};
    return run(UserCommand::kAdd, name, role);
  }
  bool isPassword(const std::string& name, const std::string& password) const {
    const state::Directory directory(mState);
    return state::Accounts(directory).verify(name, password).has_value();
  }

  TemporaryFolder mFolder;
  std::string mState = mFolder.file("state");
  FakePrompt mPerson;
  std::ostringstream mOut;
  std::ostringstream mErr;
};

TEST_F(Users, AreAddedAsViewersUnlessToldOtherwise) {
  EXPECT_EQ(add("ann"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "ann: added, viewer\n");
  EXPECT_EQ(add("bob", "operator"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "bob: added, operator\n");
  EXPECT_TRUE(isPassword("ann", kPassword));
  EXPECT_EQ(run(UserCommand::kList), ExitCode::kDone);
  EXPECT_THAT(mOut.str(), MatchesRegex("NAME  ROLE      CREATED\n"
                                       "ann   viewer    [0-9T:-]+Z\n"
                                       "bob   operator  [0-9T:-]+Z\n"));
}

TEST_F(Users, TypeTheirPasswordTwice) {
  mPerson.answers = {kPassword, kPassword};
  EXPECT_EQ(run(UserCommand::kAdd, "ann", "", true), ExitCode::kDone);
  EXPECT_THAT(mPerson.questions, ElementsAre("Password for ann: ", "The same once more: "));
  mPerson.answers = {kPassword, "a horse and a batter"};
  EXPECT_EQ(run(UserCommand::kPassword, "ann", "", true), ExitCode::kUsage);
  EXPECT_EQ(mErr.str(), "kvtctl: that was not the same password twice\n");
}

TEST_F(Users, AreNotAddedWithoutAProperPassword) {
  mPerson.answers = {"short"};
  EXPECT_EQ(run(UserCommand::kAdd, "ann"), ExitCode::kUsage);
  EXPECT_THAT(mErr.str(), HasSubstr("12"));
  EXPECT_EQ(run(UserCommand::kAdd, "ann"), ExitCode::kUsage);
  EXPECT_EQ(mErr.str(), "kvtctl: no password was given\n");
  EXPECT_EQ(run(UserCommand::kList), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "NAME  ROLE  CREATED\n");
}

TEST_F(Users, AreNotAskedForAPasswordInVain) {
  EXPECT_EQ(add("No Name"), ExitCode::kUsage);
  add("ann");
  mPerson.questions.clear();
  EXPECT_EQ(run(UserCommand::kAdd, "ann"), ExitCode::kRefused);
  EXPECT_EQ(mErr.str(), "kvtctl: there is an account ann already\n");
  EXPECT_EQ(run(UserCommand::kPassword, "bob"), ExitCode::kRefused);
  EXPECT_EQ(mErr.str(), "kvtctl: there is no account bob\n");
  EXPECT_TRUE(mPerson.questions.empty());
}

TEST_F(Users, GetAnotherPasswordAndRole) {
  add("ann");
  mPerson.answers = {"another long password"};
  EXPECT_EQ(run(UserCommand::kPassword, "ann"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "ann: has a new password\n");
  EXPECT_TRUE(isPassword("ann", "another long password"));
  EXPECT_FALSE(isPassword("ann", kPassword));
  EXPECT_EQ(run(UserCommand::kRole, "ann", "operator"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "ann: is operator now\n");
}

TEST_F(Users, AreRemovedOnce) {
  add("ann");
  EXPECT_EQ(run(UserCommand::kRemove, "ann"), ExitCode::kDone);
  EXPECT_EQ(mOut.str(), "ann: removed\n");
  EXPECT_EQ(run(UserCommand::kRemove, "ann"), ExitCode::kRefused);
  EXPECT_EQ(run(UserCommand::kRole, "ann", "viewer"), ExitCode::kRefused);
}

TEST_F(Users, OfADamagedFileAreLeftAlone) {
  add("ann");
  const std::string file = mState + "/accounts.json";
  std::ofstream(file) << "{";
  for (const UserCommand command : {UserCommand::kList, UserCommand::kRemove}) {
    EXPECT_EQ(run(command, "ann"), ExitCode::kRefused);
    EXPECT_THAT(mErr.str(), HasSubstr(file));
  }
  mPerson.answers = {kPassword};
  EXPECT_EQ(run(UserCommand::kAdd, "bob"), ExitCode::kRefused);
  std::string content;
  std::getline(std::ifstream(file), content);
  EXPECT_EQ(content, "{");
}

TEST_F(Users, NeedADirectoryThatCanBeHad) {
  std::ofstream(mFolder.file("file")) << "x";
  mState = mFolder.file("file");
  EXPECT_EQ(run(UserCommand::kList), ExitCode::kRefused);
  EXPECT_THAT(mErr.str(), HasSubstr(mState));
}

}  // namespace
}  // namespace cli
