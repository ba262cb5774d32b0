#include <filesystem>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/Log.h"
#include "host/service/Reload.h"

namespace {

using host::Failure;
using host::Reload;
using host::Result;
using host::Settings;
using testing::ElementsAre;
using testing::IsEmpty;

/// A part that notes what it is asked for.
struct Part {
  std::vector<std::string>& notes;
  std::string name;
  std::string failure = {};

  Result<Reload::Commit> operator()(const Settings&) const {
    notes.push_back(name + " prepares");
    if (!failure.empty()) return Failure{failure};
    return Reload::Commit([*this] { notes.push_back(name + " changes over"); });
  }
};

TEST(Reload, PreparesEveryPartBeforeOneChangesOver) {
  std::vector<std::string> notes;
  Reload reload{Settings()};
  reload.add({"log"}, Part{notes, "log"});
  reload.add({"access"}, Part{notes, "access"});
  ASSERT_TRUE(reload.apply(Settings()));
  EXPECT_THAT(notes, ElementsAre("log prepares", "access prepares", "log changes over", "access changes over"));
}

TEST(Reload, ChangesNothingWhenOnePartCannot) {
  std::vector<std::string> notes;
  Reload reload{Settings()};
  reload.add({"log"}, Part{notes, "log"});
  reload.add({"tls"}, Part{notes, "tls", "the key does not belong to the certificate"});
  const auto done = reload.apply(Settings());
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error(), "the key does not belong to the certificate");
  EXPECT_THAT(notes, ElementsAre("log prepares", "tls prepares"));
}

TEST(Reload, TakesAnExceptionForAFailure) {
  std::vector<std::string> notes;
  Reload reload{Settings()};
  reload.add({"log"}, Part{notes, "log"});
  reload.add({"tls"}, [](const Settings&) -> Result<Reload::Commit> { throw std::runtime_error("no such file"); });
  const auto done = reload.apply(Settings());
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error(), "no such file");
  EXPECT_THAT(notes, ElementsAre("log prepares"));
}

TEST(Reload, NamesTheKeysThatNeedANewStart) {
  std::vector<std::string> notes;
  Reload reload{Settings()};
  reload.add({"log.level", "access"}, Part{notes, "part"});
  Settings settings;
  settings.logMask = 0;
  settings.access.loginAttempts = 7;
  settings.limits.connections = 7;
  settings.logToJournal = true;
  settings.preferences.emplace("uri_prefix", "/kvt");
  const auto done = reload.apply(settings);
  ASSERT_TRUE(done);
  EXPECT_THAT(*done, testing::UnorderedElementsAre("limits.connections", "log.journal", "preferences.uri_prefix"));
}

TEST(Reload, NamesThemAgainAsLongAsTheyDifferFromTheStart) {
  Reload reload{Settings()};
  Settings settings;
  settings.limits.connections = 7;
  EXPECT_THAT(*reload.apply(settings), ElementsAre("limits.connections"));
  EXPECT_THAT(*reload.apply(settings), ElementsAre("limits.connections"));
  EXPECT_THAT(*reload.apply(Settings()), IsEmpty());
}

class ReloadOfTheLog : public testing::Test {
 protected:
  ReloadOfTheLog() {
    addLogTo(mReload);
    utils::logging::setConsole(false);
  }
  ~ReloadOfTheLog() override {
    utils::logging::setFile("");
    utils::logging::setMask(utils::logging::kDefaultMask);
    utils::logging::setConsole(true);
    std::filesystem::remove_all(mFolder);
  }

  const std::filesystem::path mFolder = testing::TempDir() + "reload-" + std::to_string(getpid());
  Reload mReload{Settings()};
};

TEST_F(ReloadOfTheLog, ChangesLevelAndFile) {
  Settings settings;
  settings.logMask = utils::LOG_ERROR;
  settings.logFile = mFolder / "log";
  ASSERT_TRUE(mReload.apply(settings));
  EXPECT_EQ(utils::logging::mask(), utils::LOG_ERROR);
  EXPECT_TRUE(std::filesystem::exists(settings.logFile));
}

TEST_F(ReloadOfTheLog, OpensAFileAnewThatWasMoved) {
  Settings settings;
  settings.logFile = mFolder / "log";
  ASSERT_TRUE(mReload.apply(settings));
  std::filesystem::rename(settings.logFile, mFolder / "old");
  ASSERT_TRUE(mReload.apply(settings));
  utils::formatted_log_t(utils::LOG_ERROR, "written after the move");
  EXPECT_GT(std::filesystem::file_size(settings.logFile), 0u);
  EXPECT_EQ(std::filesystem::file_size(mFolder / "old"), 0u);
}

TEST_F(ReloadOfTheLog, KeepsTheLevelWhenTheFileCannotBeOpened) {
  Settings settings;
  settings.logMask = 0;
  settings.logFile = "/proc/no/such/folder/log";
  const auto done = mReload.apply(settings);
  ASSERT_FALSE(done);
  EXPECT_THAT(done.error(), testing::HasSubstr("/proc/no/such/folder/log"));
  EXPECT_EQ(utils::logging::mask(), utils::logging::kDefaultMask);
}

}  // namespace
