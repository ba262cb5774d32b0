#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "slp/config/Log.h"
#include "slp/config/LogLimiter.h"

namespace slp::config {
namespace {

using testing::ElementsAre;
using namespace std::chrono_literals;

/// Takes the messages as long as it lives.
class Capture {
 public:
  Capture() {
    setLogSink([this](LogLevel level, std::string_view text) {
      mMessages.push_back(std::to_string(static_cast<int>(level)) + " " + std::string(text));
    });
  }
  ~Capture() { setLogSink(nullptr); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  const std::vector<std::string>& messages() const { return mMessages; }

 private:
  std::vector<std::string> mMessages;
};

TEST(Log, GoesToTheSink) {
  const Capture capture;
  log(LogLevel::kWarning, "one");
  log(LogLevel::kDebug, "two");
  EXPECT_THAT(capture.messages(), ElementsAre("0 one", "2 two"));
}

TEST(Log, GoesToTheNewestSink) {
  const Capture first;
  log(LogLevel::kInfo, "one");
  const Capture second;
  log(LogLevel::kInfo, "two");
  EXPECT_THAT(first.messages(), ElementsAre("1 one"));
  EXPECT_THAT(second.messages(), ElementsAre("1 two"));
}

TEST(Log, SurvivesASinkThatThrows) {
  setLogSink([](LogLevel, std::string_view) { throw std::runtime_error("no"); });
  EXPECT_NO_THROW(log(LogLevel::kWarning, "one"));
  setLogSink(nullptr);
}

TEST(Log, CallsTheSinkForOneMessageAtATime) {
  std::atomic<int> inside{0};
  std::atomic<int> calls{0};
  std::atomic<bool> overlap{false};
  setLogSink([&](LogLevel, std::string_view) {
    if (++inside != 1) overlap = true;
    std::this_thread::yield();
    --inside;
    ++calls;
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([] {
      for (int k = 0; k < 200; ++k)
        log(LogLevel::kInfo, "x");
    });
  for (auto& thread : threads)
    thread.join();
  setLogSink(nullptr);
  EXPECT_FALSE(overlap);
  EXPECT_EQ(calls, 800);
}

TEST(Log, DropsWhatTheSinkLogsItself) {
  std::vector<std::string> messages;
  setLogSink([&](LogLevel, std::string_view text) {
    messages.emplace_back(text);
    log(LogLevel::kInfo, "from within");
    logLimited(LogLevel::kInfo, "from within the sink of this test", "from within");
  });
  log(LogLevel::kInfo, "one");
  log(LogLevel::kInfo, "two");
  setLogSink(nullptr);
  EXPECT_THAT(messages, ElementsAre("one", "two"));
}

TEST(Log, LetsASinkReplaceItself) {
  std::vector<std::string> first;
  std::vector<std::string> second;
  setLogSink([&first, &second](LogLevel, std::string_view text) {
    setLogSink([&second](LogLevel, std::string_view later) { second.emplace_back(later); });
    first.emplace_back(text);  // what it holds is still there
  });
  log(LogLevel::kInfo, "one");
  log(LogLevel::kInfo, "two");
  setLogSink(nullptr);
  EXPECT_THAT(first, ElementsAre("one"));
  EXPECT_THAT(second, ElementsAre("two"));
}

TEST(Log, CallsAReplacedSinkNoMore) {
  std::promise<void> begun;
  std::promise<void> goOn;
  std::atomic<bool> running{false};
  setLogSink([&](LogLevel, std::string_view) {
    running = true;
    begun.set_value();
    goOn.get_future().wait();
    running = false;
  });
  std::thread logging([] { log(LogLevel::kInfo, "one"); });
  begun.get_future().wait();
  std::thread replacing([&] {
    setLogSink(nullptr);
    EXPECT_FALSE(running);
  });
  goOn.set_value();
  replacing.join();
  logging.join();
}

TEST(Log, IsLimitedForEachSubject) {
  const Capture capture;
  for (int i = 0; i < 5; ++i) {
    logLimited(LogLevel::kWarning, "subject of this test", "hello");
    logLimited(LogLevel::kWarning, "another subject of this test", "there");
  }
  EXPECT_THAT(capture.messages(), ElementsAre("0 hello", "0 there"));
}

TEST(LogLimiter, CountsWhatItLeftOut) {
  LogLimiter limiter;
  const LogLimiter::TimePoint start{};
  EXPECT_EQ(limiter.admit("a", start), 0u);
  EXPECT_EQ(limiter.admit("a", start + 1s), std::nullopt);
  EXPECT_EQ(limiter.admit("a", start + 59s), std::nullopt);
  EXPECT_EQ(limiter.admit("b", start + 59s), 0u);
  EXPECT_EQ(limiter.admit("a", start + 60s), 2u);
  EXPECT_EQ(limiter.admit("a", start + 61s), std::nullopt);
  EXPECT_EQ(limiter.admit("a", start + 120s), 1u);
}

TEST(LogLimiter, ForgetsTheSubjectThatWasQuietLongest) {
  LogLimiter limiter;
  const LogLimiter::TimePoint start{};
  for (std::size_t i = 0; i < LogLimiter::kSubjects; ++i)
    ASSERT_EQ(limiter.admit(std::to_string(i), start + std::chrono::milliseconds(i)), 0u);
  EXPECT_EQ(limiter.admit("one more", start + 1s), 0u);
  EXPECT_EQ(limiter.admit("1", start + 2s), std::nullopt);
  EXPECT_EQ(limiter.admit("0", start + 2s), 0u);
}

}  // namespace
}  // namespace slp::config
