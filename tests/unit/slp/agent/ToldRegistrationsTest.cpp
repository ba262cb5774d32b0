#include <algorithm>

#include <gtest/gtest.h>

#include "slp/agent/ToldRegistrations.h"

namespace slp::agent {
namespace {

using namespace std::chrono_literals;
using wire::ErrorCode;
using Task = ToldRegistrations::Task;
using Wanted = std::vector<ToldRegistrations::Wanted>;

class ToldRegistrationsTest : public testing::Test {
 protected:
  /// "+url/language/scopes" or "-..." of what is to be told now; empty when nothing is.
  std::string take(ToldRegistrations::TimePoint now) {
    mTask = mTold.take(now);
    if (!mTask) return {};
    return (mTask->deregister ? "-" : "+") + mTask->key.url + "/" + mTask->key.language + "/" + mTask->scopes;
  }
  bool done(ErrorCode error, ToldRegistrations::TimePoint now, std::optional<std::chrono::seconds> refresh = {}) {
    return mTold.done(*mTask, error, now, refresh);
  }

  const ToldRegistrations::TimePoint mStart{1'000s};
  const Wanted mEnglish{{"en", "DEFAULT"}};
  ToldRegistrations mTold;
  std::optional<Task> mTask;
};

TEST_F(ToldRegistrationsTest, TellsWhatIsWantedOnceItIsDue) {
  mTold.set("service:a://h", mEnglish, mStart + 5s);
  EXPECT_EQ(take(mStart + 4s), "");
  EXPECT_EQ(mTold.next(), mStart + 5s);
  EXPECT_EQ(take(mStart + 5s), "+service:a://h/en/DEFAULT");
  EXPECT_EQ(take(mStart + 5s), "");
  EXPECT_EQ(mTold.underWay(), 1U);
}

TEST_F(ToldRegistrationsTest, RefreshesWhenThePeerHasTakenIt) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  EXPECT_FALSE(done(ErrorCode::kOk, mStart, 600s));
  EXPECT_EQ(mTold.next(), mStart + 600s);
  EXPECT_EQ(take(mStart + 600s), "+u/en/DEFAULT");
}

TEST_F(ToldRegistrationsTest, LeavesARegistrationWithAnEndAlone) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  done(ErrorCode::kOk, mStart);
  EXPECT_EQ(mTold.next(), std::nullopt);
}

TEST_F(ToldRegistrationsTest, TellsWhatIsRefusedAgainWhereThatIsWanted) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  EXPECT_TRUE(done(ErrorCode::kInvalidRegistration, mStart));
  EXPECT_EQ(mTold.next(), std::nullopt);
  mTold = ToldRegistrations(60s);
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  EXPECT_TRUE(done(ErrorCode::kInvalidRegistration, mStart));
  EXPECT_EQ(mTold.next(), mStart + 60s);
  EXPECT_EQ(take(mStart + 60s), "+u/en/DEFAULT");
}

TEST_F(ToldRegistrationsTest, TellsAChangeUnderWayAfterwards) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  mTold.set("u", mEnglish, mStart);
  EXPECT_EQ(take(mStart), "") << "one request for a URL at a time";
  mTold.done(Task{false, {"u", "en"}, "DEFAULT"}, ErrorCode::kOk, mStart, 600s);
  EXPECT_EQ(take(mStart), "+u/en/DEFAULT");
}

TEST_F(ToldRegistrationsTest, WithdrawsWhatIsNotWantedAnyMore) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  done(ErrorCode::kOk, mStart, 600s);
  mTold.set("u", {}, mStart + 1s);
  EXPECT_EQ(take(mStart + 1s), "-u/en/DEFAULT");
  done(ErrorCode::kOk, mStart + 1s);
  EXPECT_EQ(mTold.size(), 0U);
  EXPECT_EQ(mTold.next(), std::nullopt);
}

TEST_F(ToldRegistrationsTest, ForgetsWithoutAWordWhatWasNeverTold) {
  mTold.set("u", mEnglish, mStart);
  mTold.set("u", {}, mStart);
  EXPECT_EQ(mTold.size(), 0U);
  EXPECT_EQ(take(mStart), "");
}

TEST_F(ToldRegistrationsTest, WithdrawsWhatWasUnderWay) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  const Task registering = *mTask;
  mTold.set("u", {}, mStart);
  EXPECT_EQ(take(mStart), "");
  mTold.done(registering, ErrorCode::kOk, mStart, 600s);
  EXPECT_EQ(take(mStart), "-u/en/DEFAULT");
}

TEST_F(ToldRegistrationsTest, WithdrawsWhatWasNeverAnsweredBecauseItMayHaveArrived) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  mTold.unanswered(*mTask, mStart);
  mTold.set("u", {}, mStart);
  EXPECT_EQ(take(mStart), "-u/en/DEFAULT");
}

TEST_F(ToldRegistrationsTest, WithdrawsOldScopesBeforeItTellsNewOnes) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  done(ErrorCode::kOk, mStart, 600s);
  mTold.set("u", {{"en", "OTHER"}}, mStart);
  EXPECT_EQ(take(mStart), "-u/en/DEFAULT");
  done(ErrorCode::kOk, mStart);
  EXPECT_EQ(take(mStart), "+u/en/OTHER");
}

TEST_F(ToldRegistrationsTest, TellsTheLanguagesThatStayAfterOneHasGone) {
  mTold.set("u", {{"de", "DEFAULT"}, {"en", "DEFAULT"}}, mStart);
  for (const char* expected : {"+u/de/DEFAULT", "+u/en/DEFAULT"}) {
    EXPECT_EQ(take(mStart), expected);
    done(ErrorCode::kOk, mStart, 600s);
  }
  mTold.set("u", mEnglish, mStart);
  // A deregistration takes all languages with it, so that the other one is told whatever came before.
  std::vector<std::string> told;
  for (auto now = mStart; now < mStart + 1s; now += 10ms) {
    const std::string task = take(now);
    if (task.empty()) continue;
    told.push_back(task);
    done(ErrorCode::kOk, now, 600s);
  }
  const auto withdrawal = std::find(told.begin(), told.end(), "-u/de/DEFAULT");
  ASSERT_NE(withdrawal, told.end());
  EXPECT_NE(std::find(withdrawal, told.end(), "+u/en/DEFAULT"), told.end());
}

struct RetryRow {
  std::string name;
  ErrorCode error;
  bool refused;
  bool again;
};

class ToldRegistrationsErrors : public ToldRegistrationsTest, public testing::WithParamInterface<RetryRow> {};

TEST_P(ToldRegistrationsErrors, AreRetriedOrGivenUp) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  EXPECT_EQ(done(GetParam().error, mStart, 600s), GetParam().refused);
  EXPECT_EQ(mTold.next().has_value(), GetParam().again);
}

INSTANTIATE_TEST_SUITE_P(Rows, ToldRegistrationsErrors,
                         testing::Values(RetryRow{"Ok", ErrorCode::kOk, false, true},
                                         RetryRow{"Busy", ErrorCode::kBusyNow, false, true},
                                         RetryRow{"Internal", ErrorCode::kInternalError, false, true},
                                         RetryRow{"TooSoon", ErrorCode::kRefreshRejected, false, true},
                                         RetryRow{"Scope", ErrorCode::kScopeNotSupported, true, false},
                                         RetryRow{"Invalid", ErrorCode::kInvalidRegistration, true, false},
                                         RetryRow{"Authentication", ErrorCode::kAuthenticationAbsent, true, false}),
                         [](const auto& row) { return row.param.name; });

TEST_F(ToldRegistrationsTest, DoublesTheWaitForABusyPeer) {
  mTold.set("u", mEnglish, mStart);
  auto now = mStart;
  for (const auto wait : {1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s}) {
    take(now);
    ASSERT_TRUE(mTask);
    done(ErrorCode::kBusyNow, now);
    EXPECT_EQ(mTold.next(), now + wait);
    now += wait;
  }
}

TEST_F(ToldRegistrationsTest, TriesAgainWhatWasGivenUpWhenItChanges) {
  mTold.set("u", mEnglish, mStart);
  take(mStart);
  done(ErrorCode::kScopeNotSupported, mStart);
  EXPECT_EQ(take(mStart + 3'600s), "");
  mTold.set("u", mEnglish, mStart);
  EXPECT_EQ(take(mStart), "+u/en/DEFAULT");
}

TEST_F(ToldRegistrationsTest, TellsEverythingAgainToAPeerThatHasLostIt) {
  mTold.set("a", mEnglish, mStart);
  mTold.set("b", mEnglish, mStart);
  take(mStart);
  done(ErrorCode::kOk, mStart, 600s);
  take(mStart);
  done(ErrorCode::kScopeNotSupported, mStart);
  mTold.tellAgain(mStart + 1s);
  EXPECT_EQ(take(mStart + 1s), "+a/en/DEFAULT");
  EXPECT_EQ(take(mStart + 1s), "+b/en/DEFAULT");
}

TEST_F(ToldRegistrationsTest, WithdrawsAtTheEndOnlyWhatThePeerMayKnow) {
  for (const char* url : {"a", "b", "c"})
    mTold.set(url, mEnglish, mStart);
  take(mStart);
  done(ErrorCode::kOk, mStart, 600s);
  take(mStart);
  const Task underWay = *mTask;
  mTold.withdrawAll(mStart);
  EXPECT_EQ(take(mStart), "-a/en/DEFAULT");
  done(ErrorCode::kOk, mStart);
  EXPECT_EQ(take(mStart), "");
  mTold.done(underWay, ErrorCode::kOk, mStart, 600s);
  EXPECT_EQ(take(mStart), "-b/en/DEFAULT");
  done(ErrorCode::kOk, mStart);
  EXPECT_EQ(mTold.size(), 0U);
}

TEST_F(ToldRegistrationsTest, KeepsOnlyTheUrlsThatAreNamed) {
  for (const char* url : {"a", "b", "c"}) {
    mTold.set(url, mEnglish, mStart);
    take(mStart);
    done(ErrorCode::kOk, mStart, 600s);
  }
  mTold.set("d", mEnglish, mStart);
  mTold.keepOnly({"b", "e"}, mStart + 1s);
  EXPECT_EQ(mTold.size(), 3U) << "one of those that go was never told";
  EXPECT_EQ(take(mStart), "");
  EXPECT_EQ(take(mStart + 1s), "-a/en/DEFAULT");
  EXPECT_EQ(take(mStart + 1s), "-c/en/DEFAULT");
  EXPECT_EQ(take(mStart + 1s), "");
  EXPECT_EQ(take(mStart + 600s), "+b/en/DEFAULT");
}

TEST_F(ToldRegistrationsTest, PassesOverAnswersToWhatIsNotUnderWay) {
  EXPECT_FALSE(mTold.done(Task{false, {"u", "en"}, "DEFAULT"}, ErrorCode::kOk, mStart, 600s));
  mTold.unanswered(Task{false, {"u", "en"}, "DEFAULT"}, mStart);
  EXPECT_EQ(mTold.size(), 0U);
  EXPECT_EQ(mTold.underWay(), 0U);
}

}  // namespace
}  // namespace slp::agent
