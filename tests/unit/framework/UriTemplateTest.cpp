#include <gtest/gtest.h>

#include "framework/http/UriTemplate.h"

namespace {

using Parameters = std::map<std::string, std::string>;
using http::matchUriTemplate;

struct Case {
  const char* name;
  const char* uriTemplate;
  const char* path;
  std::optional<Parameters> expected;
};

class UriTemplate : public testing::TestWithParam<Case> {};

TEST_P(UriTemplate, Matches) {
  EXPECT_EQ(matchUriTemplate(GetParam().uriTemplate, GetParam().path), GetParam().expected);
}

constexpr const char* kOperation = "/1.0/servers/{server_id}/operations/discovery";

INSTANTIATE_TEST_SUITE_P(
    Paths, UriTemplate,
    testing::Values(
        Case{"Literal", "/1.0/servers", "/1.0/servers", Parameters{}},
        Case{"LiteralOfOtherCase", "/1.0/servers", "/1.0/Servers", std::nullopt},
        Case{"ShorterPath", "/1.0/servers", "/1.0", std::nullopt},
        Case{"LongerPath", "/1.0/servers", "/1.0/servers/a", std::nullopt},
        Case{"TrailingSlash", "/1.0/servers", "/1.0/servers/", std::nullopt},
        Case{"Parameter", kOperation, "/1.0/servers/a.b/operations/discovery", Parameters{{"{server_id}", "a.b"}}},
        Case{"EmptyParameterInside", kOperation, "/1.0/servers//operations/discovery", Parameters{{"{server_id}", ""}}},
        Case{"EmptyParameterAtTheEnd", "/1.0/searchedserver/{tentative_id}", "/1.0/searchedserver/",
             Parameters{{"{tentative_id}", ""}}},
        Case{"ParameterSpansOneSegment", "/a/{x}", "/a/b/c", std::nullopt},
        Case{"TwoParameters", "/{x}/{y}", "/1/2", Parameters{{"{x}", "1"}, {"{y}", "2"}}},
        Case{"QueryIsLeftOut", "/a/{x}", "/a/b?c=d/e", Parameters{{"{x}", "b"}}},
        Case{"EscapesAreDecoded", "/a/{x}", "/a/fe80::1%25eth0", Parameters{{"{x}", "fe80::1%eth0"}}},
        Case{"EncodedSlashStaysInItsSegment", "/a/{x}", "/a/b%2Fc", Parameters{{"{x}", "b/c"}}},
        Case{"LiteralMayBeEncoded", "/abc", "/a%62c", Parameters{}},
        Case{"MalformedEscape", "/a/{x}", "/a/b%zz", std::nullopt}, Case{"CutEscape", "/a/{x}", "/a/b%2", std::nullopt},
        Case{"ZeroByte", "/a/{x}", "/a/b%00", std::nullopt},
        Case{"BracesAloneAreLiteral", "/a/{}", "/a/{}", Parameters{}}, Case{"EmptyPath", "/a", "", std::nullopt}),
    [](const auto& testCase) { return testCase.param.name; });

TEST(PercentEncoding, EncodesWhatMayNotStandInASegment) {
  EXPECT_EQ(http::percentEncode("fe80::1%eth0"), "fe80::1%25eth0");
  EXPECT_EQ(http::percentEncode("a/b?c#d e\xC3\xA9"), "a%2Fb%3Fc%23d%20e%C3%A9");
  EXPECT_EQ(http::percentEncode("[2001:db8::1]"), "%5B2001:db8::1%5D");
  EXPECT_EQ(http::percentEncode("Az09-._~"), "Az09-._~");
}

TEST(PercentEncoding, EveryTextComesBack) {
  std::string everyByte;
  for (int byte = 1; byte < 256; ++byte)
    everyByte += static_cast<char>(byte);
  EXPECT_EQ(http::percentDecode(http::percentEncode(everyByte)), everyByte);
}

TEST(PercentEncoding, DecodesBothCases) {
  EXPECT_EQ(http::percentDecode("%c3%A9"), "\xC3\xA9");
  EXPECT_EQ(http::percentDecode("100%"), std::nullopt);
  EXPECT_EQ(http::percentDecode("%%41"), std::nullopt);
}

TEST(LastPathSegment, IsWhatThePathEndsIn) {
  EXPECT_EQ(http::lastPathSegment("/1.0/servers/alpha"), "alpha");
  EXPECT_EQ(http::lastPathSegment("/1.0/servers/alpha?a=/b"), "alpha");
  EXPECT_EQ(http::lastPathSegment("/1.0/servers/fe80::1%25eth0"), "fe80::1%eth0");
  EXPECT_EQ(http::lastPathSegment("/1.0/servers/100%"), "100%");
  EXPECT_EQ(http::lastPathSegment("/1.0/servers/"), "");
  EXPECT_EQ(http::lastPathSegment("alpha"), "alpha");
  EXPECT_EQ(http::lastPathSegment(""), "");
}

}  // namespace
