#include <string>

#include <gtest/gtest.h>

#include "slp/include/slp.h"

namespace slp::api {
namespace {

struct UrlRow {
  const char* name;
  const char* url;
  const char* type;
  const char* host;
  int port;
  const char* rest;
};

class ParseSrvUrl : public testing::TestWithParam<UrlRow> {};

TEST_P(ParseSrvUrl, TakesTheUrlApart) {
  SLPSrvURL* url = nullptr;
  ASSERT_EQ(SLPParseSrvURL(GetParam().url, &url), SLP_OK);
  EXPECT_STREQ(url->s_pcSrvType, GetParam().type);
  EXPECT_STREQ(url->s_pcHost, GetParam().host);
  EXPECT_EQ(url->s_iPort, GetParam().port);
  EXPECT_STREQ(url->s_pcNetFamily, "");
  EXPECT_STREQ(url->s_pcSrvPart, GetParam().rest);
  SLPFree(url);
}

INSTANTIATE_TEST_SUITE_P(Rows, ParseSrvUrl,
                         testing::Values(UrlRow{"NoType", "://10.77.0.1:8443", "", "10.77.0.1", 8443, ""},
                                         UrlRow{"Brackets", "://[2001:db8::5]:8443", "", "2001:db8::5", 8443, ""},
                                         UrlRow{"NoBrackets", "://2001:db8::5:8443", "", "2001:db8::5", 8443, ""},
                                         UrlRow{"Abstract", "service:wbem:https://10.0.0.9:5989", "service:wbem:https",
                                                "10.0.0.9", 5989, ""},
                                         UrlRow{"Path", "service:printer:lpr://host/queue;a=1", "service:printer:lpr",
                                                "host", 0, "/queue;a=1"},
                                         UrlRow{"LargestPort", "service:a://h:65535", "service:a", "h", 65535, ""}),
                         [](const auto& row) { return row.param.name; });

TEST(ParseSrvUrl, RefusesWhatIsNoUrl) {
  SLPSrvURL* url = nullptr;
  EXPECT_EQ(SLPParseSrvURL(nullptr, &url), SLP_PARAMETER_BAD);
  EXPECT_EQ(SLPParseSrvURL("service:a://h", nullptr), SLP_PARAMETER_BAD);
  EXPECT_EQ(SLPParseSrvURL(std::string(65'536, 'a').c_str(), &url), SLP_PARAMETER_BAD);
  for (const char* bad : {"", "nothing", "service:a://h:65536", "service:a://h:-1", "://[2001:db8::5:1"}) {
    EXPECT_EQ(SLPParseSrvURL(bad, &url), SLP_PARSE_ERROR) << bad;
    EXPECT_EQ(url, nullptr) << bad;
  }
}

TEST(Escape, IsUndoneByUnescape) {
  char* escaped = nullptr;
  ASSERT_EQ(SLPEscape("a,(b)=\\", &escaped, SLP_FALSE), SLP_OK);
  EXPECT_STREQ(escaped, "a\\2c\\28b\\29\\3d\\5c");
  char* plain = nullptr;
  EXPECT_EQ(SLPUnescape(escaped, &plain, SLP_FALSE), SLP_OK);
  EXPECT_STREQ(plain, "a,(b)=\\");
  SLPFree(plain);
  SLPFree(escaped);
}

TEST(Escape, RefusesCharactersThatNoTagHas) {
  char* text = nullptr;
  EXPECT_EQ(SLPEscape("under_score", &text, SLP_TRUE), SLP_PARSE_ERROR);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(SLPEscape("under_score", &text, SLP_FALSE), SLP_OK);
  SLPFree(text);
}

TEST(Escape, RefusesBadArguments) {
  char* text = nullptr;
  for (auto* const function : {SLPEscape, SLPUnescape}) {
    EXPECT_EQ(function(nullptr, &text, SLP_FALSE), SLP_PARAMETER_BAD);
    EXPECT_EQ(function("a", nullptr, SLP_FALSE), SLP_PARAMETER_BAD);
    EXPECT_EQ(function(std::string(65'536, 'a').c_str(), &text, SLP_FALSE), SLP_PARAMETER_BAD);
    EXPECT_EQ(text, nullptr);
  }
  EXPECT_EQ(SLPUnescape("\\2", &text, SLP_FALSE), SLP_PARSE_ERROR);
}

TEST(Free, PassesNullOver) {
  SLPFree(nullptr);
}

}  // namespace
}  // namespace slp::api
