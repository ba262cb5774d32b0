#include <string>

#include <gtest/gtest.h>

#include "FakeServer.h"
#include "cli/RestClient.h"

namespace cli {
namespace {

TEST(RestClient, SaysThatOneHasToLogInFirst) {
  FakeServer server;
  server.answer("GET", 401, R"({"status": {"code": 401, "desc": "Log in first"}})");
  const auto answer = server.client().get("/1.0/servers");
  ASSERT_FALSE(answer);
  EXPECT_EQ(answer.failure().code, ExitCode::kNotAllowed);
  EXPECT_EQ(answer.failure().message, "log in first: kvtctl login");
}

TEST(RestClient, SaysWhichRoleIsMissing) {
  FakeServer server;
  server.answer("POST", 403, R"({"status": {"code": 403, "desc": "This takes the role operator"}})");
  const auto answer = server.client().post("/1.0/peers/forget", {});
  ASSERT_FALSE(answer);
  EXPECT_EQ(answer.failure().code, ExitCode::kNotAllowed);
  EXPECT_EQ(answer.failure().message, "This takes the role operator");
}

TEST(RestClient, TellsACertificateInItsOwnWords) {
  FakeServer server;
  server.failWith(httpclient::ErrorKind::kCertificate, "the certificate has changed");
  const auto answer = server.client().get("/1.0/servers");
  ASSERT_FALSE(answer);
  EXPECT_EQ(answer.failure().code, ExitCode::kNonsense);
  EXPECT_EQ(answer.failure().message, "the certificate has changed");
}

TEST(RestClient, DoesNotTakeALoginForAMissingServer) {
  FakeServer server;
  server.answer("", 401, R"({"status": {"code": 401, "desc": "Log in first"}})");
  for (const auto& answer : {server.api().remove("two"), server.api().add("two"), server.api().search("10.0.0.2")}) {
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.failure().message, "log in first: kvtctl login");
  }
}

TEST(RestClient, TellsTheFirstLineOfAnAnswerInPlainText) {
  FakeServer server;
  server.answer("GET", 400, "This port speaks HTTPS: use https://\r\nand more\n",
                {"Content-Type: text/plain; charset=utf-8"});
  const auto answer = server.client().get("/1.0/servers");
  ASSERT_FALSE(answer);
  EXPECT_EQ(answer.failure().code, ExitCode::kNonsense);
  EXPECT_EQ(answer.failure().message, "HTTP status 400: This port speaks HTTPS: use https://");
}

TEST(RestClient, DoesNotTellWhatOtherPagesSay) {
  for (const char* type : {"Content-Type: text/html", "Content-Type: text/plain"}) {
    FakeServer server;
    server.answer("GET", 200, std::string(type).ends_with("html") ? "<html>" : "\n", {type});
    const auto answer = server.client().get("/1.0/servers");
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.failure().message.rfind("HTTP status 200 with a body that is no JSON object: ", 0), 0u);
  }
}

TEST(RestClient, LeavesSlashesAtTheEndOfAUrlOut) {
  EXPECT_EQ(FakeServer().client("https://one:8443/prefix//").url(), "https://one:8443/prefix");
}

TEST(RestClient, FindsHeadersInAnyCaseOfLetters) {
  httpclient::Response response;
  response.headers = {"Date-Not: x", "date:  Sat", "Date: Sun", "Empty:"};
  EXPECT_EQ(headerOf(response, "Date"), "Sat");
  EXPECT_EQ(headerOf(response, "Empty"), "");
  EXPECT_EQ(headerOf(response, "Cookie"), "");
}

}  // namespace
}  // namespace cli
