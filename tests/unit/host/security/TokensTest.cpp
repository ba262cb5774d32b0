#include <thread>

#include "unit/host/security/SecurityFixture.h"

namespace {

using namespace host_test;
using testing::HasSubstr;
using testing::Not;

class TokensTest : public SecurityFixture {};

TEST_F(TokensTest, LetsAScriptInByItsToken) {
  startWithAccounts();
  const Client script = withToken("admin", "operator");
  EXPECT_EQ(write(script), 200);
  EXPECT_EQ(mResources.last.user, "admin");
  EXPECT_TRUE(mResources.last.isStillAllowed());
  ASSERT_FALSE(mAccounts.removeToken("admin-operator", ""));
  EXPECT_FALSE(mResources.last.isStillAllowed());
  const Answer answer = ask(script, "GET", "/1.0/servers");
  EXPECT_EQ(answer.status, 401);
  EXPECT_EQ(headerOf(answer, "WWW-Authenticate"), "Bearer");
  EXPECT_EQ(ask(script, "GET", "/healthz").status, 200);
}

TEST_F(TokensTest, GivesATokenNoMoreThanItsAccountHas) {
  startWithAccounts();
  EXPECT_EQ(write(withToken("admin", "viewer")), 403);
  EXPECT_EQ(write(withToken("guest", "operator")), 403);
  EXPECT_EQ(read(withToken("guest", "viewer")), 200);
}

TEST_F(TokensTest, NotesWhenATokenWasUsed) {
  startWithAccounts();
  const Client script = withToken("admin", "viewer");
  EXPECT_EQ(read(script), 200);
  mSecurity->close();
  EXPECT_NO_THROW((void)mAccounts.read());
  start();
  EXPECT_EQ(read(script), 200);
  for (int i = 0; i < 2000 && mAccounts.read().book->tokens[0].lastUsed.empty(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_NE(mAccounts.read().book->tokens[0].lastUsed, "");
}

TEST_F(TokensTest, TakesNoOtherSchemeAndNoHalfToken) {
  startWithAccounts();
  Client client = withToken("admin", "operator");
  const std::string good = client.bearer;
  for (const std::string& bearer :
       {std::string("Basic YWRtaW46YWRtaW4="), std::string("Bearer"), std::string("Bearer "), good + "x",
        good.substr(0, good.size() - 1), good.substr(7), good + ", " + good}) {
    client.bearer = bearer;
    EXPECT_EQ(read(client), 401) << bearer;
  }
  client.bearer = "bearer   " + good.substr(7);
  EXPECT_EQ(read(client), 200);
}

TEST_F(TokensTest, MakesListsAndRemovesTokens) {
  startWithAccounts();
  const Client guest = loggedIn("guest");
  const Client admin = loggedIn("admin");
  const Answer made = ask(guest, "POST", "/1.0/tokens", R"({"name":"script","role":"viewer"})");
  EXPECT_EQ(made.status, 200) << made.body;
  EXPECT_EQ(textOf(made, {"value", "name"}), "script");
  EXPECT_EQ(textOf(made, {"value", "role"}), "viewer");
  Client script;
  script.bearer = "Bearer " + textOf(made, {"value", "token"});
  EXPECT_EQ(read(script), 200);
  EXPECT_EQ(ask(admin, "POST", "/1.0/tokens", R"({"name":"own","role":"operator"})").status, 200);
  const std::string ofGuest = ask(guest, "GET", "/1.0/tokens").body;
  EXPECT_THAT(ofGuest, HasSubstr(R"([{"name":"script","user":"guest","role":"viewer","created":"20)"));
  EXPECT_THAT(ofGuest, Not(HasSubstr("own")));
  EXPECT_THAT(ofGuest, Not(HasSubstr(script.bearer.substr(11))));
  EXPECT_THAT(ask(admin, "GET", "/1.0/tokens").body, testing::AllOf(HasSubstr("script"), HasSubstr("own")));
  EXPECT_EQ(ask(guest, "DELETE", "/1.0/tokens/own").status, 404);
  EXPECT_EQ(ask(admin, "DELETE", "/1.0/tokens/script").status, 200);
  EXPECT_EQ(read(script), 401);
  EXPECT_EQ(ask(admin, "DELETE", "/1.0/tokens/script").status, 404);
}

TEST_F(TokensTest, RefusesTokensThatCannotBe) {
  startWithAccounts();
  const Client guest = loggedIn("guest");
  const auto make = [&](const char* body) { return ask(guest, "POST", "/1.0/tokens", body).status; };
  EXPECT_EQ(make(R"({"name":"script","role":"operator"})"), 403);
  EXPECT_EQ(make(R"({"name":"script","role":"none"})"), 400);
  EXPECT_EQ(make(R"({"name":"script"})"), 400);
  EXPECT_EQ(make(R"({"name":"a b","role":"viewer"})"), 400);
  EXPECT_EQ(make("{}"), 400);
  EXPECT_EQ(make("x"), 400);
  EXPECT_EQ(make(R"({"name":"script","role":"viewer"})"), 200);
  EXPECT_EQ(make(R"({"name":"script","role":"viewer"})"), 409);
}

TEST_F(TokensTest, WantsALoginForTokensAlsoWhereNobodyLogsIn) {
  mSettings.access.anonymous = Role::kOperator;
  start();
  EXPECT_EQ(ask({}, "GET", "/1.0/tokens").status, 401);
  EXPECT_EQ(ask({}, "POST", "/1.0/tokens", R"({"name":"script","role":"viewer"})").status, 401);
}

TEST_F(TokensTest, GiveAndRemoveNothingThatAllowsMoreThanTheyDo) {
  startWithAccounts();
  const Client reader = withToken("admin", "viewer");
  const Client writer = withToken("admin", "operator");
  EXPECT_EQ(ask(reader, "POST", "/1.0/tokens", R"({"name":"more","role":"operator"})").status, 403);
  EXPECT_EQ(ask(reader, "DELETE", "/1.0/tokens/admin-operator").status, 403);
  EXPECT_EQ(write(writer), 200);
  EXPECT_EQ(ask(reader, "DELETE", "/1.0/tokens/admin-viewer").status, 200);
  ASSERT_FALSE(mAccounts.setRole("admin", "viewer"));
  EXPECT_EQ(ask(writer, "DELETE", "/1.0/tokens/admin-operator").status, 200)
      << "it allows no more than it may any more";
}

}  // namespace
