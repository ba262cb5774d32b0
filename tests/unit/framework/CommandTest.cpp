#include <memory>

#include <gtest/gtest.h>

#include "framework/http/Command.h"
#include "support/Requests.h"

namespace {

using http::Command;
using http::RestApi;

Command clientCommand(std::string cookies = "") {
  return Command(Command::Request{RestApi::POST, "/prefix/1.0/servers?x=1", "/1.0/servers", std::move(cookies),
                                  "192.0.2.1", support::parsed(R"({"a":1})")});
}

TEST(Command, OfAClientHoldsWhatTheClientSent) {
  Command command = clientCommand("a=b");
  EXPECT_EQ(command.getOrigin(), http::HTTPCommand::ORIGIN_CLIENT);
  EXPECT_EQ(command.getRequestVariable("REQUEST_URI"), "/prefix/1.0/servers?x=1");
  EXPECT_EQ(command.getRequestVariable("REQUEST_METHOD"), "POST");
  EXPECT_EQ(command.getRequestVariable("REMOTE_ADDR"), "192.0.2.1");
  EXPECT_EQ(command.getRequestVariable("HTTP_COOKIE"), "a=b");
  EXPECT_EQ(command.getRestApi(), RestApi(RestApi::POST, "/1.0/servers", false));
  EXPECT_EQ(support::written(command.getRequestBody()), R"({"a":1})");
  EXPECT_EQ(command.getHTTPStatus(), http::HTTPCommand::HTTP_NONE);
}

TEST(Command, KnowsNoOtherVariables) {
  EXPECT_EQ(clientCommand().getRequestVariable("PATH"), "");
}

TEST(Command, OfTheProcessIsAimedByItsUri) {
  Command command;
  EXPECT_EQ(command.getOrigin(), http::HTTPCommand::ORIGIN_PROCESS);
  command.setURI("/1.0/servers/a");
  EXPECT_EQ(command.getRequestVariable("REQUEST_URI"), "/1.0/servers/a");
  EXPECT_EQ(command.getRestApi().uri(), "/1.0/servers/a");
}

TEST(Command, MakesCommandsOfTheProcess) {
  Command client = clientCommand();
  const RestApi api(RestApi::GET, "/1.0/remoteservercall", true);
  json::Object response;
  const std::unique_ptr<http::HTTPCommand> made(client.createCommand(&api, support::parsed(R"({"b":2})"), response));
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->getOrigin(), http::HTTPCommand::ORIGIN_PROCESS);
  EXPECT_EQ(made->getRestApi(), api);
  EXPECT_EQ(made->getRequestVariable("REQUEST_URI"), "/1.0/remoteservercall");
  EXPECT_EQ(support::written(made->getRequestBody()), R"({"b":2})");
  EXPECT_EQ(&made->getResponseBody(), &response);
}

TEST(Command, MadeWithoutABodyHasAResponseOfItsOwn) {
  Command command;
  const RestApi api(RestApi::GET, "/a", false);
  const std::unique_ptr<http::HTTPCommand> made(command.createCommand(&api));
  ASSERT_NE(made, nullptr);
  EXPECT_TRUE(made->getRequestBody().Empty());
  made->getResponseBody()["a"] = json::Number(1);
  EXPECT_TRUE(command.getResponseBody().Empty());
}

TEST(Command, MakesNothingForNoResource) {
  Command command;
  json::Object response;
  EXPECT_EQ(command.createCommand(nullptr), nullptr);
  EXPECT_EQ(command.createCommand(nullptr, json::Object(), response), nullptr);
}

TEST(Command, CollectsCookies) {
  Command command;
  command.setCookie("lastCommunicatedNIC=10.0.0.5");
  command.setCookie("");
  command.setCookie("b=c");
  EXPECT_EQ(command.getRequestVariable("HTTP_COOKIE"), "lastCommunicatedNIC=10.0.0.5; b=c");
}

TEST(Command, FindsItsSessionCookie) {
  EXPECT_EQ(clientCommand("a=b").getSessionCookie(), nullptr);
  EXPECT_EQ(clientCommand("kvtSession=").getSessionCookie(), nullptr);
  Command command = clientCommand("a=b; kvtSession=s1");
  ASSERT_NE(command.getSessionCookie(), nullptr);
  EXPECT_EQ(command.getSessionCookie()->getSessionId().text(), "s1");
  EXPECT_EQ(command.getSessionCookie()->get_type(), http::COOKIE_SESSION);
  EXPECT_EQ(command.getSessionCookie()->name(), "kvtSession");
  EXPECT_EQ(command.getSessionCookie()->value(), "s1");
}

struct CookieCase {
  const char* name;
  const char* header;
  std::optional<std::string> value;
};

class CookieValue : public testing::TestWithParam<CookieCase> {};

TEST_P(CookieValue, OfTheNameX) {
  EXPECT_EQ(http::cookieValue(GetParam().header, "x"), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, CookieValue,
    testing::Values(CookieCase{"Empty", "", std::nullopt}, CookieCase{"Alone", "x=1", "1"},
                    CookieCase{"Second", "a=b; x=1", "1"}, CookieCase{"WithoutBlank", "a=b;x=1", "1"},
                    CookieCase{"FirstOfTwo", "x=1; x=2", "1"}, CookieCase{"Blanks", " x = 1 ", "1"},
                    CookieCase{"Quoted", "x=\"1\"", "1"}, CookieCase{"NoValue", "x=", ""},
                    CookieCase{"EqualsInValue", "x=a=b", "a=b"}, CookieCase{"NameAlone", "x", std::nullopt},
                    CookieCase{"LongerName", "xx=1", std::nullopt}, CookieCase{"OtherCase", "X=1", std::nullopt},
                    CookieCase{"OnlySeparators", ";;; ;", std::nullopt}),
    [](const auto& testCase) { return testCase.param.name; });

TEST(SessionID, IsOrderedByItsBytes) {
  EXPECT_TRUE(http::SessionID("a") < http::SessionID("b"));
  EXPECT_FALSE(http::SessionID("b") < http::SessionID("a"));
  EXPECT_FALSE(http::SessionID("a") < http::SessionID("a"));
  EXPECT_TRUE(http::SessionID("B") < http::SessionID("a"));
}

TEST(Cookie, IsPlainUnlessItNamesASession) {
  const http::Cookie cookie("a", "b");
  EXPECT_EQ(cookie.get_type(), http::COOKIE_PLAIN);
}

}  // namespace
