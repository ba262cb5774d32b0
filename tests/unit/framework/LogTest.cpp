#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/Log.h"
#include "framework/utils/LogRepeats.h"
#include "support/LogCapture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using utils::formatted_log_t;
namespace logging = utils::logging;

/// An argument that tells whether it was printed.
struct Watched {
  int& printed;
};
std::ostream& operator<<(std::ostream& stream, const Watched& watched) {
  ++watched.printed;
  return stream << "watched";
}

struct Unprintable {};
std::ostream& operator<<(std::ostream&, const Unprintable&) {
  throw std::runtime_error("unprintable");
}

TEST(Log, FeedsArgumentsByPosition) {
  const support::LogCapture log;
  formatted_log_t(utils::LOG_DETAIL, "%2% before %1%, %2% again") % "one" % 2;
  EXPECT_THAT(log.texts(), ElementsAre("2 before one, 2 again"));
  EXPECT_TRUE(log.has(utils::LOG_DETAIL, "2 before one, 2 again"));
}

TEST(Log, WritesWhenTheRecordEnds) {
  const support::LogCapture log;
  {
    formatted_log_t record(utils::LOG_ERROR, "%1%");
    record % 1;
    EXPECT_THAT(log.texts(), testing::IsEmpty());
  }
  EXPECT_THAT(log.texts(), ElementsAre("1"));
}

TEST(Log, DoesNotMindTooFewOrTooManyArguments) {
  const support::LogCapture log;
  formatted_log_t(utils::LOG_ERROR, "few %1% %2%!") % 1;
  formatted_log_t(utils::LOG_ERROR, "none %1%!");
  formatted_log_t(utils::LOG_ERROR, "many %1%!") % 1 % 2 % 3;
  formatted_log_t(utils::LOG_ERROR, "plain") % 1;
  EXPECT_THAT(log.texts(), ElementsAre("few 1 !", "none !", "many 1!", "plain"));
}

TEST(Log, DoesNotMindAMalformedFormat) {
  const support::LogCapture log;
  formatted_log_t(utils::LOG_ERROR, "50% done %1%") % 1;
  formatted_log_t(utils::LOG_ERROR, "%") % 1;
  formatted_log_t(utils::LOG_ERROR, nullptr) % 1;
  EXPECT_EQ(log.records().size(), 3u);
}

TEST(Log, DoesNotMindAnArgumentThatCannotBePrinted) {
  const support::LogCapture log;
  formatted_log_t(utils::LOG_ERROR, "%1%") % Unprintable();
  formatted_log_t(utils::LOG_ERROR, "after");
  EXPECT_TRUE(log.contains("after"));
}

TEST(Log, NeverTakesAnArgumentForAFormat) {
  const support::LogCapture log;
  formatted_log_t(utils::LOG_ERROR, "%1% %2%") % "%2%%n" % 2;
  EXPECT_THAT(log.texts(), ElementsAre("%2%%n 2"));
}

TEST(Log, FormatsNothingOfAMaskedRecord) {
  const support::LogCapture log;
  logging::setMask(utils::LOG_ERROR);
  int printed = 0;
  formatted_log_t(utils::LOG_DETAIL, "%1%") % Watched{printed};
  EXPECT_EQ(printed, 0);
  EXPECT_THAT(log.texts(), testing::IsEmpty());
  formatted_log_t(utils::LOG_ERROR, "%1%") % Watched{printed};
  EXPECT_THAT(log.texts(), ElementsAre("watched"));
}

struct MaskCase {
  unsigned int mask;
  utils::log_level_t level;
  bool enabled;
};

TEST(Log, WritesARecordWhenTheMaskHasAllBitsOfItsLevel) {
  const support::LogCapture log;
  for (const MaskCase& row : {MaskCase{0x00, utils::LOG_ERROR, false}, MaskCase{0x02, utils::LOG_ERROR, true},
                              MaskCase{0x40, utils::LOG_TRACE, true}, MaskCase{0x3F, utils::LOG_TRACE, false},
                              MaskCase{0xFE, utils::LOG_LOOKUP, false}, MaskCase{0xFF, utils::LOG_LOOKUP, true},
                              MaskCase{0xFF, utils::LOG_INVENTORY_DETAIL, true}}) {
    logging::setMask(row.mask);
    EXPECT_EQ(logging::enabled(row.level), row.enabled) << row.mask << ' ' << row.level;
  }
}

TEST(Log, TracesEntryAndExitOfAFunction) {
  const support::LogCapture log;
  { const utils::FunctionTrace trace("RemoteServerDiscovery::discoverSLPServers"); }
  EXPECT_THAT(log.texts(utils::LOG_TRACE), ElementsAre("RemoteServerDiscovery::discoverSLPServers",
                                                       "RemoteServerDiscovery::discoverSLPServers: exit"));
}

TEST(Log, GivesTheTestSinkTheRawText) {
  const support::LogCapture log;
  formatted_log_t(utils::LOG_ERROR, "%1%") % ("a\nb" + std::string(10'000, 'c'));
  EXPECT_TRUE(log.contains("a\nb" + std::string(10'000, 'c')));
}

TEST(Log, IsSafeForEveryThread) {
  const support::LogCapture log;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      for (int record = 0; record < 100; ++record)
        formatted_log_t(utils::LOG_ERROR, "%1%:%2%") % i % record;
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(log.records().size(), 400u);
  EXPECT_TRUE(log.contains("3:99"));
}

class LogFile : public testing::Test {
 protected:
  LogFile() { logging::setConsole(false); }
  ~LogFile() override {
    logging::setFile("");
    logging::setConsole(true);
    std::filesystem::remove(mPath);
  }

  std::string content() const {
    std::ifstream file(mPath);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  const std::string mPath = testing::TempDir() + "log-" + std::to_string(getpid());
};

TEST_F(LogFile, GetsOneLineForEachRecord) {
  ASSERT_TRUE(logging::setFile(mPath));
  formatted_log_t(utils::LOG_ERROR, "first %1%") % "a\nforged";
  formatted_log_t(utils::LOG_FAILURE, "second");
  formatted_log_t(utils::LOG_DETAIL, "masked");
  const std::string text = content();
  EXPECT_THAT(text, HasSubstr("] first a\\nforged\n"));
  EXPECT_THAT(text, HasSubstr(" error ["));
  EXPECT_THAT(text, HasSubstr(" warning ["));
  EXPECT_THAT(text, Not(HasSubstr("masked")));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

int timesIn(const std::string& text, const std::string& part) {
  int times = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++times;
  }
  return times;
}

constexpr int kTimes = logging::LogRepeats::kTimes;

TEST_F(LogFile, TakesAFailureSoManyTimesWhateverStandsBetween) {
  ASSERT_TRUE(logging::setFile(mPath));
  logging::setMask(logging::kDefaultMask | utils::LOG_DETAIL);
  for (int i = 0; i < kTimes + 5; ++i) {
    formatted_log_t(utils::LOG_ERROR, "failed again");
    formatted_log_t(utils::LOG_DETAIL, "what goes on meanwhile");
  }
  logging::setMask(logging::kDefaultMask);
  EXPECT_EQ(timesIn(content(), "failed again"), kTimes);
  EXPECT_EQ(timesIn(content(), "what goes on meanwhile"), kTimes + 5) << "what was asked for is not left out";
}

TEST_F(LogFile, TakesTwoFailuresForTheSameWhenOnlyTheirArgumentsDiffer) {
  ASSERT_TRUE(logging::setFile(mPath));
  for (int i = 0; i < kTimes + 5; ++i) {
    formatted_log_t(utils::LOG_ERROR, "cannot reach %1%") % i;
  }
  EXPECT_EQ(timesIn(content(), "cannot reach "), kTimes);
}

TEST_F(LogFile, TellsFailuresApartByTheirTextWhereTheFormatHasNoWords) {
  ASSERT_TRUE(logging::setFile(mPath));
  for (int i = 0; i < kTimes + 5; ++i) {
    formatted_log_t(utils::LOG_ERROR, "%1% %2%") % "cannot reach" % i;
    formatted_log_t(utils::LOG_ERROR, "%1%") % "always the same";
    logging::write(utils::LOG_ERROR, "without a format");
  }
  EXPECT_EQ(timesIn(content(), "cannot reach "), kTimes + 5);
  EXPECT_EQ(timesIn(content(), "always the same"), kTimes);
  EXPECT_EQ(timesIn(content(), "without a format"), kTimes);
}

TEST_F(LogFile, IsOpenedFirstAndPutInPlaceWhenTold) {
  const auto putInPlace = logging::openFile(mPath);
  ASSERT_TRUE(putInPlace);
  formatted_log_t(utils::LOG_ERROR, "before");
  (*putInPlace)();
  formatted_log_t(utils::LOG_ERROR, "after");
  EXPECT_THAT(content(), testing::AllOf(HasSubstr("after"), Not(HasSubstr("before"))));
}

TEST_F(LogFile, IsAppendedTo) {
  ASSERT_TRUE(logging::setFile(mPath));
  formatted_log_t(utils::LOG_ERROR, "first");
  ASSERT_TRUE(logging::setFile(mPath));
  formatted_log_t(utils::LOG_ERROR, "second");
  EXPECT_THAT(content(), testing::AllOf(HasSubstr("first"), HasSubstr("second")));
}

TEST_F(LogFile, ThatCannotBeOpenedLeavesTheOldOneInPlace) {
  ASSERT_TRUE(logging::setFile(mPath));
  EXPECT_FALSE(logging::setFile("/proc/no/such/folder/log"));
  formatted_log_t(utils::LOG_ERROR, "still here");
  EXPECT_THAT(content(), HasSubstr("still here"));
}

TEST_F(LogFile, IsKeptUnderANumberWhenItIsFull) {
  ASSERT_TRUE(logging::setFile(mPath));
  const std::string record(8000, 'x');
  for (int i = 0; i < 1400; ++i)  // 11 MB, and a file takes 10
    formatted_log_t(utils::LOG_ERROR, "%1% %2%") % i % record;
  EXPECT_TRUE(std::filesystem::exists(mPath + ".1"));
  EXPECT_LT(std::filesystem::file_size(mPath), 10u << 20);
  std::filesystem::remove(mPath + ".1");
}

TEST_F(LogFile, CutsLongRecords) {
  ASSERT_TRUE(logging::setFile(mPath));
  formatted_log_t(utils::LOG_ERROR, "%1%") % std::string(100'000, 'x');
  EXPECT_THAT(content(), HasSubstr("xxx...\n"));
  EXPECT_LT(content().size(), 9000u);
}

/// Stands for a static object of a plug-in that logs when it ends, after whatever was made later.
struct LogsAtTheEnd {
  ~LogsAtTheEnd() { formatted_log_t(utils::LOG_ERROR, "written at the very end"); }
};

TEST(LogDeathTest, WorksInStaticDestructors) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        static const LogsAtTheEnd early;  // made before the log, so it ends after it
        formatted_log_t(utils::LOG_ERROR, "first");
        std::exit(0);
      },
      testing::ExitedWithCode(0), "written at the very end");
}

}  // namespace
