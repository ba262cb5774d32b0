#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Support.h"
#include "slp/wire/Limits.h"

namespace slp::api {
namespace {

const std::string kTooLong(65'536, 'x');

using OnHandle = std::function<SLPError(SLPHandle)>;

struct Row {
  const char* name;
  OnHandle call;
  SLPError expected = SLP_PARAMETER_BAD;
};

/// Every function that takes a handle, with arguments that are good.
const std::vector<Row>& goodCalls() {
  static const std::vector<Row>* const rows = new std::vector<Row>{
      {"Reg",
       [](SLPHandle h) {
         Recorder r;
         return SLPReg(h, "service:a://h", 1, "", "", SLP_TRUE, recordReport, &r);
       }},
      {"Dereg",
       [](SLPHandle h) {
         Recorder r;
         return SLPDereg(h, "service:a://h", recordReport, &r);
       }},
      {"DelAttrs",
       [](SLPHandle h) {
         Recorder r;
         return SLPDelAttrs(h, "service:a://h", "tag", recordReport, &r);
       }},
      {"FindSrvTypes",
       [](SLPHandle h) {
         Recorder r;
         return SLPFindSrvTypes(h, "*", "", recordText, &r);
       }},
      {"FindSrvs",
       [](SLPHandle h) {
         Recorder r;
         return SLPFindSrvs(h, "service:a", "", "", recordUrl, &r);
       }},
      {"FindAttrs",
       [](SLPHandle h) {
         Recorder r;
         return SLPFindAttrs(h, "service:a://h", "", "", recordText, &r);
       }},
      {"FindScopes",
       [](SLPHandle h) {
         char* scopes = nullptr;
         const SLPError result = SLPFindScopes(h, &scopes);
         SLPFree(scopes);
         return result;
       }},
      {"AssociateIP", [](SLPHandle h) { return SLPAssociateIP(h, "127.0.0.1"); }},
      {"AssociateIFList", [](SLPHandle h) { return SLPAssociateIFList(h, "127.0.0.1"); }},
  };
  return *rows;
}

TEST(Handle, MustNotBeNullInAnyCall) {
  for (const Row& row : goodCalls())
    EXPECT_EQ(row.call(nullptr), SLP_PARAMETER_BAD) << row.name;
}

TEST(Handle, MustNotBeClosedInAnyCall) {
  SLPHandle closed = nullptr;
  ASSERT_EQ(SLPOpen("en", SLP_FALSE, &closed), SLP_OK);
  SLPClose(closed);
  for (const Row& row : goodCalls())
    EXPECT_EQ(row.call(closed), SLP_PARAMETER_BAD) << row.name;
}

TEST(Handle, MustNotBeForeignInAnyCall) {
  int foreign = 0;
  for (const Row& row : goodCalls())
    EXPECT_EQ(row.call(&foreign), SLP_PARAMETER_BAD) << row.name;
}

TEST(Handle, IsClosedTwiceOrWhenForeignWithoutHarm) {
  int foreign = 0;
  SLPClose(nullptr);
  SLPClose(&foreign);
  SLPHandle handle = nullptr;
  ASSERT_EQ(SLPOpen("en", SLP_FALSE, &handle), SLP_OK);
  SLPClose(handle);
  SLPClose(handle);
}

class BadArgument : public testing::TestWithParam<Row> {};

TEST_P(BadArgument, IsRefused) {
  const OpenHandle handle;
  ASSERT_EQ(handle.result(), SLP_OK);
  EXPECT_EQ(GetParam().call(handle), GetParam().expected);
}

SLPError reg(SLPHandle handle, const char* url, unsigned short lifetime, const char* type, const char* attributes,
             SLPBoolean fresh = SLP_TRUE) {
  Recorder recorder;
  const SLPError result = SLPReg(handle, url, lifetime, type, attributes, fresh, recordReport, &recorder);
  EXPECT_TRUE(recorder.calls.empty() || recorder.calls.front().code == result);
  return result;
}

const char* longText() {
  return kTooLong.c_str();
}

INSTANTIATE_TEST_SUITE_P(
    OfRegistrations, BadArgument,
    testing::Values(
        Row{"NullUrl", [](SLPHandle h) { return reg(h, nullptr, 1, "", ""); }},
        Row{"EmptyUrl", [](SLPHandle h) { return reg(h, "", 1, "", ""); }},
        Row{"LongUrl", [](SLPHandle h) { return reg(h, longText(), 1, "", ""); }},
        Row{"LongType", [](SLPHandle h) { return reg(h, "http://h", 1, longText(), ""); }},
        Row{"LongAttributes", [](SLPHandle h) { return reg(h, "service:a://h", 1, "", longText()); }},
        Row{"NoLifetime", [](SLPHandle h) { return reg(h, "service:a://h", 0, "", ""); }},
        Row{"NotFresh", [](SLPHandle h) { return reg(h, "service:a://h", 1, "", "", SLP_FALSE); }, SLP_NOT_IMPLEMENTED},
        Row{"NoType", [](SLPHandle h) { return reg(h, "://h", 1, "", ""); }, SLP_INVALID_REGISTRATION},
        Row{"NoUrlAtAll", [](SLPHandle h) { return reg(h, "h", 1, "", ""); }, SLP_INVALID_REGISTRATION},
        Row{"ControlInUrl", [](SLPHandle h) { return reg(h, "service:a://h\n", 1, "", ""); }, SLP_INVALID_REGISTRATION},
        Row{"NullCallback",
            [](SLPHandle h) { return SLPReg(h, "service:a://h", 1, "", "", SLP_TRUE, nullptr, nullptr); }},
        Row{"DeregNullUrl", [](SLPHandle h) { return SLPDereg(h, nullptr, recordReport, nullptr); }},
        Row{"DeregEmptyUrl", [](SLPHandle h) { return SLPDereg(h, "", recordReport, nullptr); }},
        Row{"DeregLongUrl", [](SLPHandle h) { return SLPDereg(h, longText(), recordReport, nullptr); }},
        Row{"DeregNullCallback", [](SLPHandle h) { return SLPDereg(h, "service:a://h", nullptr, nullptr); }},
        Row{"DelAttrs", [](SLPHandle h) { return SLPDelAttrs(h, "service:a://h", "t", recordReport, nullptr); },
            SLP_NOT_IMPLEMENTED},
        Row{"DelAttrsNullUrl", [](SLPHandle h) { return SLPDelAttrs(h, nullptr, "t", recordReport, nullptr); }},
        Row{"DelAttrsNullTags",
            [](SLPHandle h) { return SLPDelAttrs(h, "service:a://h", nullptr, recordReport, nullptr); }},
        Row{"DelAttrsNullCallback",
            [](SLPHandle h) { return SLPDelAttrs(h, "service:a://h", "t", nullptr, nullptr); }}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    OfSearches, BadArgument,
    testing::Values(
        Row{"NullType", [](SLPHandle h) { return SLPFindSrvs(h, nullptr, "", "", recordUrl, nullptr); }},
        Row{"EmptyType", [](SLPHandle h) { return SLPFindSrvs(h, "", "", "", recordUrl, nullptr); }},
        Row{"LongType", [](SLPHandle h) { return SLPFindSrvs(h, longText(), "", "", recordUrl, nullptr); }},
        Row{"LongScopes", [](SLPHandle h) { return SLPFindSrvs(h, "service:a", longText(), "", recordUrl, nullptr); }},
        Row{"LongFilter", [](SLPHandle h) { return SLPFindSrvs(h, "service:a", "", longText(), recordUrl, nullptr); }},
        Row{"BrokenFilter", [](SLPHandle h) { return SLPFindSrvs(h, "service:a", "", "(a=", recordUrl, nullptr); },
            SLP_PARSE_ERROR},
        Row{"NullCallback", [](SLPHandle h) { return SLPFindSrvs(h, "service:a", "", "", nullptr, nullptr); }},
        Row{"AttrsNullUrl", [](SLPHandle h) { return SLPFindAttrs(h, nullptr, "", "", recordText, nullptr); }},
        Row{"AttrsEmptyUrl", [](SLPHandle h) { return SLPFindAttrs(h, "", "", "", recordText, nullptr); }},
        Row{"AttrsLongUrl", [](SLPHandle h) { return SLPFindAttrs(h, longText(), "", "", recordText, nullptr); }},
        Row{"AttrsLongScopes",
            [](SLPHandle h) { return SLPFindAttrs(h, "service:a", longText(), "", recordText, nullptr); }},
        Row{"AttrsLongTags",
            [](SLPHandle h) { return SLPFindAttrs(h, "service:a", "", longText(), recordText, nullptr); }},
        Row{"AttrsNullCallback", [](SLPHandle h) { return SLPFindAttrs(h, "service:a", "", "", nullptr, nullptr); }},
        Row{"TypesOfIana", [](SLPHandle h) { return SLPFindSrvTypes(h, "iana", "", recordText, nullptr); }},
        Row{"TypesLongAuthority", [](SLPHandle h) { return SLPFindSrvTypes(h, longText(), "", recordText, nullptr); }},
        Row{"TypesLongScopes", [](SLPHandle h) { return SLPFindSrvTypes(h, "*", longText(), recordText, nullptr); }},
        Row{"TypesNullCallback", [](SLPHandle h) { return SLPFindSrvTypes(h, "*", "", nullptr, nullptr); }},
        Row{"NullScopesResult", [](SLPHandle h) { return SLPFindScopes(h, nullptr); }}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(OfAssociations, BadArgument,
                         testing::Values(Row{"LongHost", [](SLPHandle h) { return SLPAssociateIP(h, longText()); }},
                                         Row{"Group", [](SLPHandle h) { return SLPAssociateIP(h, "239.255.255.253"); }},
                                         Row{"LongList", [](SLPHandle h) { return SLPAssociateIFList(h, longText()); }},
                                         Row{"NoInterface",
                                             [](SLPHandle h) { return SLPAssociateIFList(h, "lo,no-such"); }}),
                         [](const auto& row) { return row.param.name; });

TEST(Associations, AreTakenBackByNullOrAnEmptyText) {
  const OpenHandle handle;
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(SLPAssociateIP(handle, "127.0.0.1"), SLP_OK);
    EXPECT_EQ(SLPAssociateIP(handle, none), SLP_OK);
    EXPECT_EQ(SLPAssociateIFList(handle, "lo,10.77.0.1"), SLP_OK);
    EXPECT_EQ(SLPAssociateIFList(handle, none), SLP_OK);
  }
}

struct OpenRow {
  const char* name;
  const char* language;
  SLPBoolean async;
  SLPError expected;
};

class Open : public testing::TestWithParam<OpenRow> {};

TEST_P(Open, ChecksItsArguments) {
  int something = 0;
  SLPHandle handle = &something;
  const SLPError result = SLPOpen(GetParam().language, GetParam().async, &handle);
  EXPECT_EQ(result, GetParam().expected);
  EXPECT_EQ(handle != nullptr, result == SLP_OK);
  SLPClose(handle);
}

const std::string kLongestTag(limits::kMaxLanguageTag, 'a');
const std::string kLongerTag(limits::kMaxLanguageTag + 1, 'a');

INSTANTIATE_TEST_SUITE_P(Rows, Open,
                         testing::Values(OpenRow{"English", "en", SLP_FALSE, SLP_OK},
                                         OpenRow{"Dialect", "de-AT", SLP_FALSE, SLP_OK},
                                         OpenRow{"NullLanguage", nullptr, SLP_FALSE, SLP_OK},
                                         OpenRow{"EmptyLanguage", "", SLP_FALSE, SLP_OK},
                                         OpenRow{"LongestLanguage", kLongestTag.c_str(), SLP_FALSE, SLP_OK},
                                         OpenRow{"TooLongLanguage", kLongerTag.c_str(), SLP_FALSE, SLP_PARAMETER_BAD},
                                         OpenRow{"NoLanguage", "e n", SLP_FALSE, SLP_PARAMETER_BAD},
                                         OpenRow{"Asynchronous", "en", SLP_TRUE, SLP_NOT_IMPLEMENTED}),
                         [](const auto& row) { return row.param.name; });

TEST(Open, NeedsAPlaceForTheHandle) {
  EXPECT_EQ(SLPOpen("en", SLP_FALSE, nullptr), SLP_PARAMETER_BAD);
}

TEST(Open, GivesValuesThatAreNeverUsedAgain) {
  std::vector<SLPHandle> values;
  for (int i = 0; i < 3; ++i) {
    SLPHandle handle = nullptr;
    ASSERT_EQ(SLPOpen("en", SLP_FALSE, &handle), SLP_OK);
    for (const SLPHandle earlier : values)
      EXPECT_NE(handle, earlier);
    values.push_back(handle);
    SLPClose(handle);
  }
}

TEST(Open, IsBoundedInNumber) {
  std::vector<SLPHandle> handles;
  SLPHandle handle = nullptr;
  SLPError result = SLP_OK;
  while (handles.size() <= limits::kMaxHandles && (result = SLPOpen("en", SLP_FALSE, &handle)) == SLP_OK)
    handles.push_back(handle);
  EXPECT_EQ(handles.size(), limits::kMaxHandles);
  EXPECT_EQ(result, SLP_MEMORY_ALLOC_FAILED);
  EXPECT_EQ(handle, nullptr);
  SLPClose(handles.back());
  EXPECT_EQ(SLPOpen("en", SLP_FALSE, &handles.back()), SLP_OK);
  for (const SLPHandle open : handles)
    SLPClose(open);
}

}  // namespace
}  // namespace slp::api
