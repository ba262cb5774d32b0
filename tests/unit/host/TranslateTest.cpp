#include <ostream>

#include <gtest/gtest.h>

#include "framework/http/UriTemplate.h"
#include "host/http/Translate.h"
#include "json/lookup.h"
#include "support/Requests.h"

namespace {

using host::Aim;
using host::Answer;
using host::ClientRequest;
using host::readAim;
using host::readBody;
using http::RestApi;

ClientRequest request(const std::string& method, const std::string& target) {
  return {method, target, "", "", ""};
}

struct Aimed {
  const char* name;
  const char* target;
  const char* prefix;
  const char* path;
};

class Targets : public testing::TestWithParam<Aimed> {};

TEST_P(Targets, LeadToAPath) {
  const auto aim = readAim(request("GET", GetParam().target), GetParam().prefix);
  ASSERT_TRUE(std::holds_alternative<Aim>(aim));
  EXPECT_EQ(std::get<Aim>(aim).path, GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    Translate, Targets,
    testing::Values(
        Aimed{"Plain", "/1.0/servers", "", "/1.0/servers"}, Aimed{"Root", "/", "", "/"},
        Aimed{"Query", "/1.0/servers?a=b", "", "/1.0/servers"}, Aimed{"QueryWithAQuestionMark", "/a?b?c", "", "/a"},
        Aimed{"QueryWithAUrl", "/a?u=http://x/y", "", "/a"},
        Aimed{"EscapesStay", "/1.0/servers/fe80::1%2525eth0", "", "/1.0/servers/fe80::1%2525eth0"},
        Aimed{"EmptyLastSegment", "/1.0/servers/", "", "/1.0/servers/"},
        Aimed{"Absolute", "http://here:8443/1.0/servers?x", "", "/1.0/servers"},
        Aimed{"AbsoluteInCapitals", "HTTPS://HERE/a", "", "/a"}, Aimed{"AbsoluteWithoutPath", "http://here", "", "/"},
        Aimed{"AbsoluteWithQueryOnly", "http://here?x=/y", "", "/"},
        Aimed{"Prefix", "/kvt/1.0/servers", "/kvt", "/1.0/servers"},
        Aimed{"PrefixWithSlash", "/kvt/1.0/servers", "/kvt/", "/1.0/servers"},
        Aimed{"PrefixIsAUrl", "/kvt/1.0/servers", "https://here:1/kvt", "/1.0/servers"},
        Aimed{"PrefixIsAUrlWithoutPath", "/1.0/servers", "https://here:1", "/1.0/servers"},
        Aimed{"PrefixIsAbsent", "/1.0/servers", "/kvt", "/1.0/servers"},
        Aimed{"DotsStay", "/1.0/servers/../../etc/passwd", "", "/1.0/servers/../../etc/passwd"},
        Aimed{"EscapedDotsStay", "/1.0/servers/%2e%2e", "", "/1.0/servers/%2e%2e"},
        Aimed{"EscapedSlashesStay", "/1.0%2Fservers", "", "/1.0%2Fservers"},
        Aimed{"DoubleSlashesStay", "//1.0//servers", "", "//1.0//servers"},
        Aimed{"EscapedZeroStays", "/1.0/servers%00", "", "/1.0/servers%00"},
        Aimed{"EscapedQuestionMarkStays", "/1.0/servers%3Fx", "", "/1.0/servers%3Fx"},
        Aimed{"PrefixBehindDots", "/../kvt/1.0/servers", "/kvt", "/../kvt/1.0/servers"},
        Aimed{"PrefixOnce", "/kvt/kvt/1.0/servers", "/kvt", "/kvt/1.0/servers"},
        Aimed{"PrefixInCapitals", "/KVT/1.0/servers", "/kvt", "/KVT/1.0/servers"},
        Aimed{"AbsoluteWithUser", "http://a:b@here/1.0/servers", "", "/1.0/servers"},
        Aimed{"AbsoluteInAnotherTarget", "/http://here/1.0/servers", "", "/http://here/1.0/servers"},
        Aimed{"PrefixIsPartOfAWord", "/kvtx/1.0", "/kvt", "/kvtx/1.0"}, Aimed{"PrefixAlone", "/kvt", "/kvt", "/"}),
    [](const auto& tested) { return tested.param.name; });

TEST(Translate, RefusesTargetsThatAreNoPaths) {
  for (const char* target : {"", "*", "servers", "?x", "/a#b", "/a\tb", "/\xC3\xA9", "ftp://here/a", "here:443"}) {
    const auto aim = readAim(request("GET", target), "");
    ASSERT_TRUE(std::holds_alternative<Answer>(aim)) << target;
    EXPECT_EQ(std::get<Answer>(aim).status, 400) << target;
  }
}

TEST(Translate, SaysWhatATargetShouldBe) {
  const auto descOf = [](const char* target) {
    return json::textAt(support::parsed(std::get<Answer>(readAim(request("GET", target), "")).body),
                        {"status", "desc"});
  };
  EXPECT_EQ(descOf("/a b"), "The request target holds what no URI has, such as a blank or \"#\": percent-encode it");
  EXPECT_EQ(descOf("servers"), "The request target must be a path, such as /1.0/servers");
}

constexpr const char* kTemplates[] = {"/1.0/servers", "/1.0/servers/{server_id}",
                                      "/1.0/servers/{server_id}/operations/discovery", "/1.0/searchedserver/{address}",
                                      "/healthz"};

/// The template that a client's target reaches, "" for none, and what it gives for its parameter.
std::pair<std::string, std::string> reached(const std::string& target) {
  const auto aim = readAim(request("GET", target), "");
  if (!std::holds_alternative<Aim>(aim)) return {"refused", ""};
  for (const char* uriTemplate : kTemplates) {
    const auto parameters = http::matchUriTemplate(uriTemplate, std::get<Aim>(aim).path);
    if (parameters) return {uriTemplate, parameters->empty() ? "" : parameters->begin()->second};
  }
  return {"", ""};
}

TEST(Translate, LeadsNoTrickOfPathsAnywhereElse) {
  for (const char* target : {"//1.0/servers",
                             "/1.0//servers",
                             "/1.0/servers//",
                             "/./1.0/servers",
                             "/1.0/./servers",
                             "/1.0/x/../servers",
                             "/1.0%2fservers",
                             "/1.0%2Fservers",
                             "%2f1.0/servers",
                             "/1.0/servers%00",
                             "/1.0/servers%20",
                             "/1.0/servers%3F",
                             "/1.0/servers%23",
                             "/1.0/servers;x",
                             "/1.0/servers\\",
                             "/1.0\\servers",
                             "/1.0/SERVERS",
                             "/healthz/",
                             "/healthz%00",
                             "/healthz/..",
                             "/1.0/servers/../../healthz",
                             "/1.0/servers/self/operations/../discovery",
                             "/1.0/servers/%zz",
                             "/1.0/servers/%",
                             "/1.0/servers/a%00b",
                             "/1.0/searchedserver/a/b",
                             "/%c0%af1.0/servers"}) {
    const auto [uriTemplate, parameter] = reached(target);
    EXPECT_TRUE(uriTemplate.empty() || uriTemplate == "refused") << target << " reaches " << uriTemplate;
  }
}

TEST(Translate, TakesAnEscapeForTheCharacterThatItStandsFor) {
  EXPECT_EQ(reached("/1%2e0/server%73").first, "/1.0/servers") << "RFC 3986 section 6.2.2.2: it is the same path";
}

TEST(Translate, TakesAnEscapeInAParameterForACharacterOfItAndNothingElse) {
  const std::pair<const char*, const char*> parameters[] = {{"/1.0/servers/..", ".."},
                                                            {"/1.0/servers/%2e%2e%2fetc%2fpasswd", "../etc/passwd"},
                                                            {"/1.0/servers/a%3fb%23c", "a?b#c"},
                                                            {"/1.0/servers/a%2525", "a%25"},
                                                            {"/1.0/servers/%c0%af", "\xC0\xAF"},
                                                            {"/1.0/servers/?x=/../y", ""},
                                                            {"http://here/1.0/servers/self", "self"}};
  for (const auto& [target, parameter] : parameters) {
    EXPECT_EQ(reached(target), (std::pair<std::string, std::string>("/1.0/servers/{server_id}", parameter))) << target;
  }
}

TEST(Translate, KnowsTheVerbs) {
  const std::pair<const char*, RestApi::RestVerb_> verbs[] = {{"GET", RestApi::GET},
                                                              {"HEAD", RestApi::GET},
                                                              {"POST", RestApi::POST},
                                                              {"PUT", RestApi::PUT},
                                                              {"DELETE", RestApi::DELETE}};
  for (const auto& [method, verb] : verbs) {
    const auto aim = std::get<Aim>(readAim(request(method, "/"), ""));
    EXPECT_TRUE(aim.knownVerb) << method;
    EXPECT_EQ(aim.verb, verb) << method;
  }
  for (const char* method : {"PATCH", "OPTIONS", "TRACE", "CONNECT", "get", "GET2", ""}) {
    EXPECT_FALSE(std::get<Aim>(readAim(request(method, "/"), "")).knownVerb) << method;
  }
}

TEST(Translate, TakesAnEmptyBodyForAnEmptyObject) {
  EXPECT_TRUE(std::get<json::Object>(readBody("")).Empty());
  EXPECT_TRUE(std::get<json::Object>(readBody(" {} \n")).Empty());
}

TEST(Translate, ReadsABody) {
  const auto body = std::get<json::Object>(readBody(R"({"a":{"b":"c"}})"));
  EXPECT_EQ(json::textAt(body, {"a", "b"}), "c");
}

struct Malformed {
  const char* name;
  std::string text;
  const char* where;  ///< "" when it does not matter
};

class MalformedBodies : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedBodies, AreRefusedWithTheirLineAndColumn) {
  const auto body = readBody(GetParam().text);
  ASSERT_TRUE(std::holds_alternative<Answer>(body));
  const auto& answer = std::get<Answer>(body);
  EXPECT_EQ(answer.status, 400);
  const auto document = support::parsed(answer.body);
  EXPECT_EQ(json::numberAt(document, {"status", "code"}), 400);
  const std::string text = json::textAt(document, {"status", "desc"});
  EXPECT_TRUE(text.starts_with("The body is not a JSON object: ")) << text;
  EXPECT_NE(text.find(GetParam().where), std::string::npos) << text;
}

INSTANTIATE_TEST_SUITE_P(Translate, MalformedBodies,
                         testing::Values(Malformed{"Open", "{", "(line 1, column 2)"},
                                         Malformed{"Word", "hello", "(line 1, column 1)"},
                                         Malformed{"LaterLine", "{\n\n  \"a\": ?}", "(line 3, column 8)"},
                                         Malformed{"Array", "[]", "(line 1, column 1)"}, Malformed{"Number", "1", ""},
                                         Malformed{"Null", "null", ""}, Malformed{"Text", "\"a\"", ""},
                                         Malformed{"Surplus", "{} {}", "(line 1, column 4)"},
                                         Malformed{"TwiceTheSame", R"({"a":1,"a":2})", ""},
                                         Malformed{"NoUtf8", "{\"a\":\"\xFF\"}", ""}, Malformed{"Blanks", "   ", ""},
                                         Malformed{"TooDeep", "{\"a\":" + std::string(300, '['), ""}),
                         [](const auto& tested) { return tested.param.name; });

TEST(Translate, EscapesWhatAFailureQuotes) {
  const auto answer = host::failureAnswer(404, "no \"such\"\nthing");
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(json::textAt(support::parsed(answer.body), {"status", "desc"}), "no \"such\"\nthing");
}

}  // namespace
