#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/utils/Shutdown.h"
#include "host/loader/Library.h"
#include "host/loader/PluginLoader.h"
#include "host/resources/HostResources.h"
#include "support/FakePlugin.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/PreferencesGuard.h"
#include "support/Requests.h"
#include "support/Wait.h"

namespace {

using host::Library;
using host::PluginLoader;
using http::HTTPCommand;
using http::RestApi;
namespace fs = std::filesystem;

const std::string kFixtures = SD_FIXTURES;
const std::string kServerDiscovery = SD_SERVER_DISCOVERY;

std::string fixture(const std::string& name) {
  return kFixtures + "/libFixture" + name + ".so";
}

/// Whether any part of the file is mapped into this process.
bool isMapped(const std::string& file) {
  std::ifstream maps("/proc/self/maps");
  const std::string name = fs::canonical(file).string();
  for (std::string line; std::getline(maps, line);) {
    if (line.ends_with(name)) return true;
  }
  return false;
}

std::size_t registered() {
  return plugins::BasePlugin::getRegisteredRestApis().size();
}

HTTPCommand::HTTPStatus_ statusOf(const std::string& path) {
  return support::request(RestApi::GET, path).status;
}

class PluginLoaderTest : public testing::Test {
 protected:
  ~PluginLoaderTest() override { utils::shutdown::reset(); }

  bool warned(const std::string& file, const std::string& what) const {
    const auto texts = mLog.texts(utils::LOG_FAILURE);
    return std::any_of(texts.begin(), texts.end(),
                       [&](const std::string& text) { return text.starts_with("PluginLoader:" + file + " " + what); });
  }

  support::PreferencesGuard mPreferences;
  support::ManagerGuard mManager;
  support::FakeSystem mSystem;
  support::LogCapture mLog;
  PluginLoader mLoader{mManager.manager(), *launcher::Preferences::get_instance()};
};

TEST_F(PluginLoaderTest, LoadsStartsAndUnloadsAHealthyPlugin) {
  EXPECT_TRUE(mLoader.load(fixture("Healthy")));
  mLoader.startAll();
  ASSERT_EQ(mLoader.plugins().size(), 1U);
  EXPECT_EQ(mLoader.plugins()[0].file, "libFixtureHealthy.so");
  EXPECT_EQ(mLoader.plugins()[0].name, "HealthyPlugin");
  EXPECT_EQ(mLoader.plugins()[0].version, "1.00.00");
  EXPECT_EQ(mLoader.plugins()[0].id, 901U);
  EXPECT_EQ(statusOf("/1.0/fixture"), HTTPCommand::HTTP_OK);
  EXPECT_TRUE(isMapped(fixture("Healthy")));
  mLoader.shutdownAll();
  mLoader.unloadAll();
  EXPECT_TRUE(mLoader.plugins().empty());
  EXPECT_EQ(statusOf("/1.0/fixture"), HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_FALSE(isMapped(fixture("Healthy")));
  EXPECT_TRUE(mLog.texts(utils::LOG_FAILURE).empty());
}

TEST_F(PluginLoaderTest, LeavesOutALibraryWithoutItsFunctions) {
  EXPECT_FALSE(mLoader.load(fixture("WithoutId")));
  EXPECT_TRUE(warned(fixture("WithoutId"), "was unloaded: it does not export getID and getRegisteredRestApis. "));
  EXPECT_EQ(statusOf("/1.0/fixture/withoutid"), HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_FALSE(isMapped(fixture("WithoutId")));
}

TEST_F(PluginLoaderTest, LeavesOutALibraryWithAnUnresolvedSymbol) {
  EXPECT_FALSE(mLoader.load(fixture("UnresolvedSymbol")));
  EXPECT_TRUE(warned(fixture("UnresolvedSymbol"), "was not loaded: "));
  EXPECT_FALSE(isMapped(fixture("UnresolvedSymbol")));
}

TEST_F(PluginLoaderTest, LeavesOutALibraryThatNeedsAnotherManager) {
  EXPECT_FALSE(mLoader.load(fixture("NeedsNewerManager")));
  EXPECT_TRUE(warned(fixture("NeedsNewerManager"), "was unloaded: it registered no resource. "));
  EXPECT_TRUE(mLog.has(utils::LOG_MISMATCH,
                       "plugin NeedsNewerManagerPlugin-1.00.00 could not be loaded since it requires plugin manager "
                       "version 99.00.00. currect plugin manager is with version 1.00.00"));
  EXPECT_FALSE(isMapped(fixture("NeedsNewerManager")));
}

TEST_F(PluginLoaderTest, LeavesOutAFileThatIsNoLibrary) {
  EXPECT_FALSE(mLoader.load(fixture("NotElf")));
  EXPECT_TRUE(warned(fixture("NotElf"), "was not loaded: "));
  EXPECT_FALSE(mLoader.load(kFixtures + "/libNothing.so"));
  EXPECT_TRUE(warned(kFixtures + "/libNothing.so", "was not loaded: "));
}

TEST_F(PluginLoaderTest, LeavesOutALibraryWhoseResourcesAreTaken) {
  EXPECT_TRUE(mLoader.load(fixture("Healthy")));
  support::FakePlugin taken;
  taken.get("/1.0/fixture/throwsinstartup",
            [](const support::Request&, json::Object&) { return HTTPCommand::HTTP_NO_CONTENT; });
  EXPECT_FALSE(mLoader.load(fixture("ThrowsInStartup")));
  EXPECT_EQ(statusOf("/1.0/fixture/throwsinstartup"), HTTPCommand::HTTP_NO_CONTENT);
  EXPECT_EQ(statusOf("/1.0/fixture"), HTTPCommand::HTTP_OK);
}

TEST_F(PluginLoaderTest, UnloadsALibraryThatThrowsWhenItStarts) {
  EXPECT_TRUE(mLoader.load(fixture("ThrowsInStartup")));
  EXPECT_TRUE(mLoader.load(fixture("Healthy")));
  mLoader.startAll();
  EXPECT_TRUE(warned(fixture("ThrowsInStartup"), "was unloaded: its start threw: this plug-in throws in startup. "));
  EXPECT_EQ(statusOf("/1.0/fixture/throwsinstartup"), HTTPCommand::HTTP_NOT_FOUND);
  EXPECT_FALSE(isMapped(fixture("ThrowsInStartup")));
  EXPECT_EQ(mLoader.plugins().size(), 1U);
  EXPECT_EQ(statusOf("/1.0/fixture"), HTTPCommand::HTTP_OK);
}

TEST_F(PluginLoaderTest, UnloadsALibraryThatThrowsWhenItEnds) {
  EXPECT_TRUE(mLoader.load(fixture("ThrowsInShutdown")));
  mLoader.startAll();
  EXPECT_EQ(statusOf("/1.0/fixture/throwsinshutdown"), HTTPCommand::HTTP_OK);
  mLoader.shutdownAll();
  EXPECT_TRUE(warned(fixture("ThrowsInShutdown"),
                     "did not end in order: its shutdown threw: this plug-in throws in shutdown. "));
  mLoader.unloadAll();
  EXPECT_FALSE(isMapped(fixture("ThrowsInShutdown")));
}

TEST_F(PluginLoaderTest, DoesNotShutDownWhatNeverStarted) {
  EXPECT_TRUE(mLoader.load(fixture("ThrowsInShutdown")));
  mLoader.shutdownAll();
  EXPECT_TRUE(mLog.texts(utils::LOG_FAILURE).empty());
}

TEST_F(PluginLoaderTest, SurvivesADirectoryOfBrokenLibraries) {
  EXPECT_TRUE(mLoader.loadDirectory(kFixtures));
  mLoader.startAll();
  std::vector<std::string> names;
  for (const auto& plugin : mLoader.plugins()) {
    names.push_back(plugin.file);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"libFixtureHealthy.so", "libFixtureThrowsInShutdown.so"}));
  EXPECT_EQ(statusOf("/1.0/fixture"), HTTPCommand::HTTP_OK);
}

TEST_F(PluginLoaderTest, SaysThatThereIsNoSuchDirectory) {
  EXPECT_FALSE(mLoader.loadDirectory("/no/such/directory"));
  EXPECT_TRUE(warned("/no/such/directory", "cannot be read: No such file or directory. "));
}

/// A directory with links to libraries, gone after the test.
class LinkedDirectory {
 public:
  explicit LinkedDirectory(const std::vector<std::pair<std::string, std::string>>& links)
      : mPath(fs::path(testing::TempDir()) / "kvt-linked-plugins") {
    fs::remove_all(mPath);
    fs::create_directory(mPath);
    for (const auto& [name, target] : links) {
      fs::create_symlink(target, mPath / name);
    }
  }
  ~LinkedDirectory() { fs::remove_all(mPath); }
  std::string path() const { return mPath.string(); }

 private:
  const fs::path mPath;
};

TEST_F(PluginLoaderTest, PassesOverWhatTheProcessHoldsAndWhatIsNoPlugin) {
  const LinkedDirectory directory({{"libkvtframework.so", SD_FRAMEWORK},
                                   {"libA.txt", fixture("NotElf")},
                                   {"other.so", fixture("NotElf")},
                                   {"libDirectory.so", kFixtures},
                                   {"libHealthy.so", fixture("Healthy")}});
  EXPECT_TRUE(mLoader.loadDirectory(directory.path()));
  EXPECT_EQ(mLoader.plugins().size(), 1U);
  EXPECT_TRUE(mLog.texts(utils::LOG_FAILURE).empty());
  EXPECT_TRUE(mLoader.loadDirectory(directory.path())) << "what is loaded is passed over, too";
  EXPECT_EQ(mLoader.plugins().size(), 1U);
  EXPECT_TRUE(mLog.texts(utils::LOG_FAILURE).empty());
}

TEST_F(PluginLoaderTest, UnloadsWhenItEnds) {
  {
    PluginLoader loader(mManager.manager(), *launcher::Preferences::get_instance());
    EXPECT_TRUE(loader.load(fixture("Healthy")));
    loader.startAll();
  }
  EXPECT_FALSE(isMapped(fixture("Healthy")));
  EXPECT_EQ(registered(), 0U);
}

/// Asks without pause, until told to end, and counts the answers that are neither good nor "not found".
class Asking {
 public:
  explicit Asking(const std::string& path) {
    for (std::thread& thread : mThreads) {
      thread = std::thread([this, path] {
        while (!mEnd) {
          const auto status = statusOf(path);
          (status == HTTPCommand::HTTP_OK || status == HTTPCommand::HTTP_NOT_FOUND ? mExpected : mUnexpected) += 1;
        }
      });
    }
  }
  ~Asking() {
    mEnd = true;
    for (std::thread& thread : mThreads) {
      thread.join();
    }
    EXPECT_EQ(mUnexpected, 0);
  }
  int answers() const { return mExpected; }

 private:
  std::atomic<bool> mEnd = false;
  std::atomic<int> mExpected = 0;
  std::atomic<int> mUnexpected = 0;
  std::thread mThreads[2];
};

TEST_F(PluginLoaderTest, UnloadsUnderRequests) {
  const Asking asking("/1.0/fixture");
  for (int round = 0; round < 20; ++round) {
    ASSERT_TRUE(mLoader.load(fixture("Healthy")));
    mLoader.startAll();
    const int before = asking.answers();
    EXPECT_TRUE(support::waitFor([&] { return asking.answers() > before + 5; }));
    mLoader.shutdownAll();
    mLoader.unloadAll();
    ASSERT_FALSE(isMapped(fixture("Healthy")));
  }
}

TEST_F(PluginLoaderTest, LoadsTheServerDiscoveryAHundredTimesAnew) {
  const host::HostResources resources(mManager.manager(), *launcher::Preferences::get_instance(),
                                      {{"127.0.0.1", 8443, "http"}}, {});
  const std::size_t before = registered();
  for (int round = 0; round < 100; ++round) {
    utils::shutdown::reset();
    mLog.clear();
    ASSERT_TRUE(mLoader.load(kServerDiscovery)) << "round " << round;
    ASSERT_EQ(registered(), before + 4) << "round " << round;
    mLoader.startAll();
    ASSERT_EQ(mLoader.plugins().size(), 1U) << "round " << round;
    ASSERT_EQ(mLoader.plugins()[0].id, 300U);
    ASSERT_EQ(statusOf("/1.0/servers"), HTTPCommand::HTTP_OK) << "round " << round;
    utils::shutdown::begin();
    mLoader.shutdownAll();
    mLoader.unloadAll();
    ASSERT_EQ(registered(), before) << "round " << round;
    ASSERT_FALSE(isMapped(kServerDiscovery)) << "round " << round;
  }
}

}  // namespace
