#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "state/Directory.h"

namespace {

namespace fs = std::filesystem;
using state::Directory;

class StateDirectory : public ::testing::Test {
 protected:
  StateDirectory() {
    std::string name = fs::temp_directory_path() / "kvt-state-XXXXXX";
    mBase = mkdtemp(name.data());
  }
  ~StateDirectory() override { fs::remove_all(mBase); }

  static unsigned modeOf(const fs::path& path) {
    struct stat found {};
    EXPECT_EQ(stat(path.c_str(), &found), 0);
    return found.st_mode & 07777u;
  }

  fs::path mBase;
};

TEST_F(StateDirectory, IsRefusedWhenOthersMayWriteToIt) {
  const fs::path path = mBase / "state";
  fs::create_directory(path);
  for (const mode_t mode : {0777U, 0702U, 0770U, 01777U}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    EXPECT_THROW(Directory{path}, std::system_error) << std::oct << mode;
  }
  ASSERT_EQ(chmod(path.c_str(), 0755), 0);
  EXPECT_NO_THROW(Directory{path}) << "its files are their owner's";
}

TEST_F(StateDirectory, IsRefusedWhenItIsSomebodyElsesUnlessRootAsks) {
  if (geteuid() != 0) GTEST_SKIP() << "takes root";
  const fs::path path = mBase / "state";
  fs::create_directory(path);
  ASSERT_EQ(chmod(mBase.c_str(), 0755), 0);
  ASSERT_EQ(chown(path.c_str(), 4711, 4711), 0);
  EXPECT_NO_THROW(Directory{path});
  ASSERT_EQ(seteuid(4712), 0);
  EXPECT_THROW(Directory{path}, std::system_error);
  ASSERT_EQ(seteuid(0), 0);
}

TEST_F(StateDirectory, IsMadeForItsOwnerAlone) {
  const Directory directory(mBase / "a" / "b");
  EXPECT_EQ(modeOf(mBase / "a" / "b"), 0700u);
}

TEST_F(StateDirectory, CannotBeMadeWhereAFileIs) {
  std::ofstream(mBase / "file") << "x";
  EXPECT_THROW(Directory(mBase / "file"), std::system_error);
  EXPECT_THROW(Directory(mBase / "file" / "below"), std::system_error);
}

TEST_F(StateDirectory, GivesBackWhatWasWritten) {
  const Directory directory(mBase / "state");
  EXPECT_EQ(directory.read("accounts"), std::nullopt);
  directory.write("accounts", "one");
  EXPECT_EQ(directory.read("accounts"), "one");
  EXPECT_EQ(modeOf(directory.pathOf("accounts")), 0600u);
}

TEST_F(StateDirectory, TellsOneVersionFromTheNext) {
  const Directory directory(mBase);
  EXPECT_EQ(directory.version("accounts"), "");
  directory.write("accounts", "one");
  const std::string first = directory.version("accounts");
  EXPECT_EQ(directory.version("accounts"), first);
  directory.write("accounts", "two");
  EXPECT_NE(directory.version("accounts"), first);
}

TEST_F(StateDirectory, LeavesNothingBesideItsFiles) {
  const Directory directory(mBase);
  directory.write("accounts", std::string(100'000, 'x'));
  directory.write("accounts", "two");
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(mBase))
    names.push_back(entry.path().filename());
  EXPECT_EQ(names, std::vector<std::string>{"accounts"});
}

TEST_F(StateDirectory, DoesNotReadWhatIsTooLarge) {
  const Directory directory(mBase);
  std::ofstream(directory.pathOf("accounts")) << std::string(Directory::kMaxFileBytes + 1, 'x');
  EXPECT_THROW((void)directory.read("accounts"), std::system_error);
}

TEST_F(StateDirectory, FollowsNoLink) {
  const Directory directory(mBase);
  std::ofstream(mBase / "elsewhere") << "secret";
  fs::create_symlink(mBase / "elsewhere", mBase / "accounts");
  EXPECT_THROW((void)directory.read("accounts"), std::system_error);
}

TEST_F(StateDirectory, KeepsTheFileWhenItCannotBeReplaced) {
  const Directory directory(mBase);
  fs::create_directories(mBase / "accounts" / "full");
  EXPECT_THROW(directory.write("accounts", "two"), std::system_error);
  EXPECT_TRUE(fs::is_directory(mBase / "accounts" / "full"));
}

TEST_F(StateDirectory, LetsOneWriterInAtATime) {
  const Directory first(mBase);
  const Directory second(mBase);
  first.write("count", "0");
  const auto add = [](const Directory& directory) {
    for (int i = 0; i < 100; ++i) {
      const Directory::Lock lock(directory);
      directory.write("count", std::to_string(std::stoi(*directory.read("count")) + 1));
    }
  };
  std::thread other([&] { add(second); });
  add(first);
  other.join();
  EXPECT_EQ(first.read("count"), "200");
}

}  // namespace
