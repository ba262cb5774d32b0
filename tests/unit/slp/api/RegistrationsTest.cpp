#include <string>

#include <gtest/gtest.h>

#include "LoopbackAgent.h"
#include "Support.h"

namespace slp::api {
namespace {

class Registrations : public LoopbackAgent {
 protected:
  /// The attributes that the process finds for a URL of its own; "(none)" when it finds none.
  std::string attributesOf(const std::string& url) {
    Recorder recorder;
    EXPECT_EQ(SLPFindAttrs(mHandle, url.c_str(), "", "", recordText, &recorder), SLP_OK);
    return recorder.calls.size() == 2 ? recorder.calls.front().text : "(none)";
  }
  /// The URLs of a type, each followed by a blank.
  std::string found(const std::string& type) {
    Recorder recorder;
    EXPECT_EQ(SLPFindSrvs(mHandle, type.c_str(), "", "", recordUrl, &recorder), SLP_OK);
    std::string urls;
    for (const CallbackRecord& call : recorder.calls) {
      if (call.code == SLP_OK) urls += call.text + " ";
    }
    return urls;
  }
};

TEST_F(Registrations, AreReportedInsideTheCall) {
  Recorder recorder;
  EXPECT_EQ(SLPReg(mHandle, "service:reg.a://h", 60, "", "", SLP_TRUE, recordReport, &recorder), SLP_OK);
  EXPECT_EQ(recorder.calls, (std::vector<CallbackRecord>{{"", 0, SLP_OK}}));
  EXPECT_EQ(SLPDereg(mHandle, "service:reg.a://h", recordReport, &recorder), SLP_OK);
  EXPECT_EQ(recorder.calls.size(), 2u);
}

TEST_F(Registrations, KeepTheirAttributesByteForByte) {
  const std::string attributes = R"((ip=2001:db8::5))(server={"a":[1,2],"b":"x, (y)  z"}))";
  const Registered registered(mHandle, "service:reg.b:kvt://2001:db8::5:8443", attributes.c_str());
  EXPECT_EQ(attributesOf("service:reg.b:kvt://2001:db8::5:8443"), attributes);
}

TEST_F(Registrations, MayHaveNoAttributes) {
  const Registered null(mHandle, "service:reg.c://null", nullptr);
  const Registered empty(mHandle, "service:reg.c://empty", "");
  EXPECT_EQ(attributesOf("service:reg.c://null"), "");
  EXPECT_EQ(attributesOf("service:reg.c://empty"), "");
}

TEST_F(Registrations, ReplaceEarlierOnesOfTheUrl) {
  const Registered first(mHandle, "service:reg.d://h", "(a=1)");
  const Registered second(mHandle, "service:reg.d://h", "(a=2)");
  EXPECT_EQ(attributesOf("service:reg.d://h"), "(a=2)");
  EXPECT_EQ(found("service:reg.d"), "service:reg.d://h ");
}

TEST_F(Registrations, EndWithTheirWithdrawal) {
  { const Registered registered(mHandle, "service:reg.e://h", "(a=1)"); }
  EXPECT_EQ(found("service:reg.e"), "");
  EXPECT_EQ(attributesOf("service:reg.e://h"), "(none)");
}

TEST_F(Registrations, CannotBeWithdrawnWhenNobodyMadeThem) {
  Recorder recorder;
  EXPECT_EQ(SLPDereg(mHandle, "service:reg.f://h", recordReport, &recorder), SLP_INVALID_REGISTRATION);
  EXPECT_EQ(recorder.calls, (std::vector<CallbackRecord>{{"", 0, SLP_INVALID_REGISTRATION}}));
}

TEST_F(Registrations, OutliveTheHandleThatMadeThem) {
  const char* const url = "service:reg.g://h";
  Recorder recorder;
  {
    const OpenHandle other;
    ASSERT_EQ(SLPReg(other, url, SLP_LIFETIME_MAXIMUM, "service", "", SLP_TRUE, recordReport, &recorder), SLP_OK);
  }
  EXPECT_EQ(found("service:reg.g"), std::string(url) + " ");
  EXPECT_EQ(SLPDereg(mHandle, url, recordReport, &recorder), SLP_OK);
}

TEST_F(Registrations, LeaveTheHandleToTheirCallback) {
  struct Reentry {
    SLPError sameHandle = SLP_OK;
    SLPError otherHandle = SLP_OK;
  } reentry;
  const auto callback = [](SLPHandle handle, SLPError, void* cookie) {
    auto& seen = *static_cast<Reentry*>(cookie);
    char* scopes = nullptr;
    seen.sameHandle = SLPFindScopes(handle, &scopes);
    const OpenHandle other;
    seen.otherHandle = SLPFindScopes(other, &scopes);
    SLPFree(scopes);
  };
  EXPECT_EQ(SLPReg(mHandle, "service:reg.h://h", 60, "", "", SLP_TRUE, callback, &reentry), SLP_OK);
  EXPECT_EQ(reentry.sameHandle, SLP_HANDLE_IN_USE);
  EXPECT_EQ(reentry.otherHandle, SLP_OK);
  EXPECT_EQ(SLPDereg(mHandle, "service:reg.h://h", callback, &reentry), SLP_OK);
}

struct TypeRow {
  const char* name;
  const char* url;
  const char* argument;
  const char* type;
};

class RegistrationType : public Registrations, public testing::WithParamInterface<TypeRow> {};

TEST_P(RegistrationType, IsThatOfTheUrlUnlessThereIsABetterOne) {
  const Registered registered(mHandle, GetParam().url, "", GetParam().argument);
  EXPECT_EQ(found(GetParam().type), std::string(GetParam().url) + " ");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RegistrationType,
    testing::Values(TypeRow{"NullArgument", "service:reg.i://h", nullptr, "service:reg.i"},
                    TypeRow{"EmptyArgument", "service:reg.i://h", "", "service:reg.i"},
                    TypeRow{"TheBareWord", "service:reg.i:kvt://10.0.0.1:8443", "service", "service:reg.i:kvt"},
                    TypeRow{"ServiceUrlWins", "service:reg.i://h", "service:reg.other", "service:reg.i"},
                    TypeRow{"AbstractFindsConcrete", "service:reg.i:kvt://h", "service", "service:reg.i"},
                    TypeRow{"OtherUrlWithType", "http://h/reg", "service:reg.web:http", "service:reg.web:http"},
                    TypeRow{"OtherUrlWithoutType", "reg-http://h/", "", "reg-http"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace slp::api
