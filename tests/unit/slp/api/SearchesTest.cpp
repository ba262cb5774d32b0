#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LoopbackAgent.h"
#include "Support.h"
#include "support/Wait.h"

namespace slp::api {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr unsigned kForEver = SLP_LIFETIME_MAXIMUM;

class Searches : public LoopbackAgent {
 protected:
  Recorder find(const char* type, const char* filter = "") {
    Recorder recorder;
    EXPECT_EQ(SLPFindSrvs(mHandle, type, "", filter, recordUrl, &recorder), SLP_OK);
    return recorder;
  }
};

TEST_F(Searches, HandOutEachUrlAndThenTheLastCall) {
  const Registered a(mHandle, "service:find.a://one", "");
  const Registered b(mHandle, "service:find.a://two", "");
  const Recorder recorder = find("service:find.a");
  ASSERT_EQ(recorder.calls.size(), 3u);
  EXPECT_THAT((std::vector(recorder.calls.begin(), recorder.calls.begin() + 2)),
              UnorderedElementsAre(CallbackRecord{"service:find.a://one", kForEver, SLP_OK},
                                   CallbackRecord{"service:find.a://two", kForEver, SLP_OK}));
  EXPECT_EQ(recorder.calls[2], kLastCall);
}

TEST_F(Searches, MakeOnlyTheLastCallWhenNothingIsFound) {
  EXPECT_THAT(find("service:find.nothing").calls, ElementsAre(kLastCall));
}

TEST_F(Searches, EndWithoutALastCallWhenTheCallbackSaysSo) {
  const Registered a(mHandle, "service:find.b://one", "");
  const Registered b(mHandle, "service:find.b://two", "");
  Recorder recorder;
  recorder.stopAfter = 1;
  EXPECT_EQ(SLPFindSrvs(mHandle, "service:find.b", nullptr, nullptr, recordUrl, &recorder), SLP_OK);
  ASSERT_EQ(recorder.calls.size(), 1u);
  EXPECT_EQ(recorder.calls.front().code, SLP_OK);
}

TEST_F(Searches, HandOutOnlyWhatTheFilterMatches) {
  const Registered slow(mHandle, "service:find.c://slow", "(speed=1)");
  const Registered fast(mHandle, "service:find.c://fast", "(speed=9)");
  EXPECT_THAT(find("service:find.c", "(speed>=5)").calls,
              ElementsAre(CallbackRecord{"service:find.c://fast", kForEver, SLP_OK}, kLastCall));
}

TEST_F(Searches, GiveTheAttributesOfAUrlInOneCall) {
  const Registered registered(mHandle, "service:find.d://h", "(a=1),(b=2)");
  Recorder recorder;
  EXPECT_EQ(SLPFindAttrs(mHandle, "service:find.d://h", "", "b", recordText, &recorder), SLP_OK);
  EXPECT_THAT(recorder.calls, ElementsAre(CallbackRecord{"(b=2)", 0, SLP_OK}, kLastCall));
}

TEST_F(Searches, GiveTheTypesInOneList) {
  const Registered a(mHandle, "service:find.e://h", "");
  const Registered b(mHandle, "service:find2.e://h", "");
  Recorder recorder;
  EXPECT_EQ(SLPFindSrvTypes(mHandle, "e", "", recordText, &recorder), SLP_OK);
  ASSERT_EQ(recorder.calls.size(), 2u);
  EXPECT_THAT(recorder.calls[0].text,
              testing::AnyOf("service:find.e,service:find2.e", "service:find2.e,service:find.e"));
  EXPECT_EQ(recorder.calls[1], kLastCall);
}

TEST_F(Searches, AskOneHostWhenTheHandleIsTiedToIt) {
  const Registered registered(mHandle, "service:find.f://h", "(a=1)");
  ASSERT_EQ(SLPAssociateIP(mHandle, "127.0.0.1"), SLP_OK);
  EXPECT_THAT(find("service:find.f").calls,
              ElementsAre(testing::Field(&CallbackRecord::text, "service:find.f://h"), kLastCall));
  Recorder recorder;
  EXPECT_EQ(SLPFindAttrs(mHandle, "service:find.f://h", "", "", recordText, &recorder), SLP_OK);
  EXPECT_THAT(recorder.calls, ElementsAre(CallbackRecord{"(a=1)", 0, SLP_OK}, kLastCall));
}

TEST_F(Searches, ReturnTheErrorOfAHostThatRefuses) {
  ASSERT_EQ(SLPAssociateIP(mHandle, "127.0.0.1"), SLP_OK);
  Recorder recorder;
  EXPECT_EQ(SLPFindSrvs(mHandle, "service:find.g", "elsewhere", "", recordUrl, &recorder), SLP_SCOPE_NOT_SUPPORTED);
  EXPECT_TRUE(recorder.calls.empty());
}

/// A host that never answers, with so much patience for it that only closing can end a search in time.
class SilentHost : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(mPort.error(), 0);
    ASSERT_EQ(SLPOpen("en", SLP_FALSE, &mHandle), SLP_OK);
    ASSERT_EQ(SLPAssociateIP(mHandle, "127.0.0.1"), SLP_OK);
  }
  void TearDown() override { SLPClose(mHandle); }

  SilentPort mPort;
  PropertyGuard mPortProperty{"net.slp.port", std::to_string(mPort.port())};
  SLPHandle mHandle = nullptr;
};

TEST_F(SilentHost, IsATimeoutWithoutACallback) {
  const PropertyGuard impatient("net.slp.datagramTimeouts", "10,10");
  Recorder recorder;
  const SLPError result = SLPFindSrvs(mHandle, "service:a", "", "", recordUrl, &recorder);
  EXPECT_THAT(result, testing::AnyOf(SLP_NETWORK_TIMED_OUT, SLP_NETWORK_ERROR));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(SilentHost, IsLeftAtOnceWhenAnotherThreadCloses) {
  const PropertyGuard patient("net.slp.datagramTimeouts", "60000,60000");
  const PropertyGuard patientToo("net.slp.multicastMaximumWait", "60000");
  const std::vector<std::function<SLPError(Recorder&)>> searches{
      [&](Recorder& r) { return SLPFindSrvs(mHandle, "service:a", "", "", recordUrl, &r); },
      [&](Recorder& r) { return SLPFindAttrs(mHandle, "service:a", "", "", recordText, &r); },
      [&](Recorder& r) { return SLPFindSrvTypes(mHandle, "*", "", recordText, &r); }};
  for (const auto& search : searches) {
    Recorder recorder;
    auto searching = std::async(std::launch::async, [&] {
      SLPError result = SLP_HANDLE_IN_USE;  // while the other thread is looking
      while (result == SLP_HANDLE_IN_USE)
        result = search(recorder);
      return result;
    });
    ASSERT_TRUE(support::waitFor([&] { return SLPAssociateIFList(mHandle, "") == SLP_HANDLE_IN_USE; }));
    SLPClose(mHandle);
    ASSERT_EQ(searching.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(searching.get(), SLP_PARAMETER_BAD);
    EXPECT_TRUE(recorder.calls.empty());
    SetUp();
  }
}

struct Closer {
  int calls = 0;
  std::promise<void> inCallback;
  std::shared_future<void> closed;
};

TEST_F(Searches, CallNobodyAfterAnotherThreadHasClosed) {
  const Registered a(mHandle, "service:close.a://one", "");
  const Registered b(mHandle, "service:close.a://two", "");
  SLPHandle handle = nullptr;
  ASSERT_EQ(SLPOpen("en", SLP_FALSE, &handle), SLP_OK);
  Closer closer;
  std::promise<void> closed;
  closer.closed = closed.get_future().share();
  auto searching = std::async(std::launch::async, [&] {
    const auto callback = [](SLPHandle, const char*, unsigned short, SLPError, void* cookie) {
      auto& self = *static_cast<Closer*>(cookie);
      if (++self.calls == 1) self.inCallback.set_value();
      self.closed.wait();
      return SLP_TRUE;
    };
    return SLPFindSrvs(handle, "service:close.a", "", "", callback, &closer);
  });
  closer.inCallback.get_future().wait();
  SLPClose(handle);  // does not wait for ever for the callback, which waits for us
  closed.set_value();
  EXPECT_EQ(searching.get(), SLP_PARAMETER_BAD);
  EXPECT_EQ(closer.calls, 1);
}

TEST_F(Searches, EndWhenTheirOwnCallbackCloses) {
  const Registered a(mHandle, "service:close.b://one", "");
  const Registered b(mHandle, "service:close.b://two", "");
  SLPHandle handle = nullptr;
  ASSERT_EQ(SLPOpen("en", SLP_FALSE, &handle), SLP_OK);
  int calls = 0;
  const auto callback = [](SLPHandle self, const char*, unsigned short, SLPError, void* cookie) {
    ++*static_cast<int*>(cookie);
    SLPClose(self);
    return SLP_TRUE;
  };
  EXPECT_EQ(SLPFindSrvs(handle, "service:close.b", "", "", callback, &calls), SLP_PARAMETER_BAD);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(SLPAssociateIP(handle, ""), SLP_PARAMETER_BAD);
}

struct Reentry {
  std::vector<SLPError> same;
  SLPError other = SLP_INTERNAL_SYSTEM_ERROR;
};

TEST_F(Searches, KeepTheHandleForThemselves) {
  const Registered registered(mHandle, "service:busy://one", "");
  Reentry reentry;
  const auto callback = [](SLPHandle handle, const char*, unsigned short, SLPError code, void* cookie) {
    if (code != SLP_OK) return SLP_TRUE;
    auto& seen = *static_cast<Reentry*>(cookie);
    Recorder inner;
    char* scopes = nullptr;
    seen.same = {SLPFindSrvs(handle, "service:busy", "", "", recordUrl, &inner),
                 SLPFindAttrs(handle, "service:busy", "", "", recordText, &inner),
                 SLPFindSrvTypes(handle, "", "", recordText, &inner),
                 SLPReg(handle, "service:busy://two", 1, "", "", SLP_TRUE, recordReport, &inner),
                 SLPDereg(handle, "service:busy://one", recordReport, &inner),
                 SLPDelAttrs(handle, "service:busy://one", "a", recordReport, &inner),
                 SLPFindScopes(handle, &scopes),
                 SLPAssociateIP(handle, ""),
                 SLPAssociateIFList(handle, "")};
    EXPECT_TRUE(inner.calls.empty());
    const OpenHandle other;
    seen.other = SLPFindAttrs(other, "service:busy://one", "", "", recordText, &inner);
    return SLP_TRUE;
  };
  EXPECT_EQ(SLPFindSrvs(mHandle, "service:busy", "", "", callback, &reentry), SLP_OK);
  EXPECT_THAT(reentry.same, testing::AllOf(testing::SizeIs(9), testing::Each(SLP_HANDLE_IN_USE)));
  EXPECT_EQ(reentry.other, SLP_OK);
}

TEST_F(Searches, OfManyThreadsDoNotMeet) {
  constexpr int kThreads = 32;
  const Registered common(mHandle, "service:many://common", "");
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      const OpenHandle handle;
      const std::string url = "service:many.t" + std::to_string(i) + "://h";
      const Registered own(handle, url.c_str(), "(mine=true)");
      Recorder recorder;
      const SLPError result = SLPFindAttrs(handle, url.c_str(), "", "", recordText, &recorder);
      if (result == SLP_OK && recorder.calls.size() == 2 && recorder.calls[0].text == "(mine=true)") ++good;
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(good, kThreads);
}

TEST_F(Searches, StopExceptionsOfTheirCallbacks) {
  const Registered registered(mHandle, "service:throws://h", "");
  const auto callback = [](SLPHandle, const char*, unsigned short, SLPError, void*) -> SLPBoolean { throw 1; };
  EXPECT_EQ(SLPFindSrvs(mHandle, "service:throws", "", "", callback, nullptr), SLP_INTERNAL_SYSTEM_ERROR);
  EXPECT_EQ(find("service:throws").calls.size(), 2u);  // the handle is free again
}

}  // namespace
}  // namespace slp::api
