#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/SlpHandles.h"
#include "support/FakeSlp.h"
#include "support/Wait.h"

namespace {

using discovery::SlpHandle;
using discovery::SlpHandles;
using Use = SlpHandles::Use;

class SlpHandlesTest : public testing::Test {
 protected:
  support::FakeSlp slp;
  SlpHandles handles;
};

SLPBoolean ignoreUrl(SLPHandle, const char*, unsigned short, SLPError, void*) {
  return SLP_TRUE;
}

TEST_F(SlpHandlesTest, IsOpenFromConstructionToDestruction) {
  {
    const SlpHandle handle(handles, Use::kRegistration);
    EXPECT_EQ(handle.error(), SLP_OK);
    EXPECT_NE(handle.get(), nullptr);
    EXPECT_TRUE(handle.isOpen());
    EXPECT_EQ(slp.openHandles(), 1u);
    EXPECT_EQ(handles.current(), handle.get());
  }
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_EQ(handles.current(), nullptr);
}

TEST_F(SlpHandlesTest, HasNoHandleWhenOpeningFails) {
  slp.answerOpen(SLP_NETWORK_INIT_FAILED);
  SlpHandle handle(handles, Use::kSearch);
  EXPECT_EQ(handle.error(), SLP_NETWORK_INIT_FAILED);
  EXPECT_EQ(handle.get(), nullptr);
  EXPECT_FALSE(handle.isOpen());
  EXPECT_EQ(handles.current(), nullptr);
  handle.leaveOpen();
  handle.close();
  EXPECT_EQ(handles.leftOpen(), 0u);
}

TEST_F(SlpHandlesTest, ClosesOnlyItsOwnHandle) {
  const SlpHandle first(handles, Use::kRegistration);
  {
    SlpHandle second(handles, Use::kSearch);
    EXPECT_EQ(handles.current(), second.get()) << "the last that was opened";
    second.close();
    EXPECT_EQ(second.get(), nullptr);
    EXPECT_EQ(handles.current(), first.get());
  }
  EXPECT_EQ(slp.openHandles(), 1u);
  EXPECT_TRUE(first.isOpen());
}

TEST_F(SlpHandlesTest, CancelsSearchesAndNoRegistration) {
  SlpHandle registration(handles, Use::kRegistration);
  SlpHandle search(handles, Use::kSearch);
  handles.cancelSearches();
  EXPECT_TRUE(registration.isOpen());
  EXPECT_FALSE(search.isOpen());
  EXPECT_EQ(slp.openHandles(), 1u);
  EXPECT_EQ(handles.current(), registration.get());
}

TEST_F(SlpHandlesTest, EndsTheCallThatIsUnderWay) {
  slp.hold(true);
  SLPError result = SLP_OK;
  std::thread searcher([&] {
    const SlpHandle handle(handles, Use::kSearch);
    result = SLPFindSrvs(handle.get(), "service:wbem", nullptr, nullptr, ignoreUrl, nullptr);
  });
  EXPECT_TRUE(support::waitFor([&] { return slp.held() == 1; }));
  handles.cancelSearches();
  searcher.join();
  EXPECT_EQ(result, SLP_PARAMETER_BAD);
  EXPECT_EQ(slp.openHandles(), 0u);
}

TEST_F(SlpHandlesTest, ClosesNoHandleTwice) {
  SlpHandle search(handles, Use::kSearch);
  handles.cancelSearches();
  const SlpHandle other(handles, Use::kSearch);
  search.close();
  handles.cancelSearches();
  EXPECT_EQ(slp.closings(), 2u);
}

TEST_F(SlpHandlesTest, DoesNotMeetASearchThatOpensItsHandleLater) {
  handles.cancelSearches();
  const SlpHandle search(handles, Use::kSearch);
  EXPECT_TRUE(search.isOpen());
}

TEST_F(SlpHandlesTest, KeepsWhatIsLeftOpenUntilItIsToBeClosed) {
  {
    SlpHandle failed(handles, Use::kRegistration);
    failed.leaveOpen();
    EXPECT_EQ(failed.get(), nullptr);
  }
  EXPECT_EQ(slp.openHandles(), 1u);
  EXPECT_EQ(handles.leftOpen(), 1u);
  handles.cancelSearches();
  EXPECT_EQ(slp.openHandles(), 1u);
  handles.closeLeftOpen();
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_EQ(handles.leftOpen(), 0u);
}

TEST_F(SlpHandlesTest, LeavesNoCancelledHandleOpen) {
  SlpHandle search(handles, Use::kSearch);
  handles.cancelSearches();
  search.leaveOpen();
  EXPECT_EQ(handles.leftOpen(), 0u);
}

TEST_F(SlpHandlesTest, BoundsWhatIsLeftOpen) {
  for (std::size_t i = 0; i < SlpHandles::kMaxLeftOpen + 3; ++i)
    SlpHandle(handles, Use::kRegistration).leaveOpen();
  EXPECT_EQ(handles.leftOpen(), SlpHandles::kMaxLeftOpen);
  EXPECT_EQ(slp.openHandles(), SlpHandles::kMaxLeftOpen);
}

TEST_F(SlpHandlesTest, ClosesWhatIsLeftOpenAtItsEnd) {
  {
    SlpHandles shortLived;
    SlpHandle(shortLived, Use::kRegistration).leaveOpen();
  }
  EXPECT_EQ(slp.openHandles(), 0u);
}

TEST_F(SlpHandlesTest, MayBeCancelledWhileManyThreadsOpenAndClose) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 300; ++round) {
        SlpHandle handle(handles, i == 0 ? Use::kRegistration : Use::kSearch);
        if (i == 1) handle.leaveOpen();
        handles.current();
      }
    });
  }
  for (int round = 0; round < 300; ++round) {
    handles.cancelSearches();
    handles.closeLeftOpen();
  }
  for (auto& thread : threads)
    thread.join();
  handles.closeLeftOpen();
  EXPECT_EQ(slp.openHandles(), 0u);
  EXPECT_EQ(slp.closings(), slp.opened()) << "each once";
}

}  // namespace
