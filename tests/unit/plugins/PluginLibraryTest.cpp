// The plug-in libraries as a host meets them: loaded, looked into, unloaded.

#include <dlfcn.h>
#include <filesystem>
#include <iterator>
#include <link.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/launcher/Preferences.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"
#include "framework/utils/Shutdown.h"
#include "support/FakePlugin.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/OwnNetwork.h"
#include "support/PreferencesGuard.h"
#include "support/Requests.h"
#include "support/Wait.h"

namespace {

using Registry = std::map<const http::RestApi, plugins::BasePluginProxy*>;
using GetID = unsigned int (*)();
using GetRegisteredRestApis = Registry (*)();

std::string fixture(const char* name) {
  return std::string(SD_FIXTURES) + "/libFixture" + name + ".so";
}

bool isLoaded(const std::string& path) {
  const auto compare = [](dl_phdr_info* info, std::size_t, void* wanted) {
    return static_cast<int>(*static_cast<const std::string*>(wanted) == info->dlpi_name);
  };
  return dl_iterate_phdr(compare, const_cast<std::string*>(&path)) != 0;
}

std::size_t entriesOf(const char* folder) {
  const auto size = std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
  return static_cast<std::size_t>(size);
}

/// A library in this process for as long as it lives; its proxies leave the manager first.
class Library {
 public:
  explicit Library(const std::string& path) : mHandle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (mHandle == nullptr) mError = dlerror();
  }
  ~Library() {
    if (mHandle == nullptr) return;
    launcher::PluginManager::get_instance()->unregister(proxies());
    dlclose(mHandle);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  bool isOpen() const { return mHandle != nullptr; }
  const std::string& error() const { return mError; }

  template <typename Function>
  Function find(const char* name) const {
    return reinterpret_cast<Function>(dlsym(mHandle, name));
  }

  std::vector<plugins::BasePluginProxy*> proxies() const {
    std::vector<plugins::BasePluginProxy*> proxies;
    for (const auto& [api, proxy] : plugins::BasePlugin::getRegisteredRestApis())
      proxies.push_back(proxy);
    return proxies;
  }

 private:
  void* mHandle;
  std::string mError;
};

std::vector<std::string> names(const Registry& registry) {
  std::vector<std::string> names;
  for (const auto& [api, proxy] : registry)
    names.push_back(api.to_string());
  return names;
}

class PluginLibrary : public testing::Test {
 protected:
  support::LogCapture log;
  support::FakeSystem system;
};

TEST_F(PluginLibrary, HasTheNumber300) {
  support::ManagerGuard guard;
  const Library library(SD_PLUGIN_LIBRARY);
  ASSERT_TRUE(library.isOpen()) << library.error();
  const auto getID = library.find<GetID>("getID");
  ASSERT_NE(getID, nullptr);
  EXPECT_EQ(getID(), 300u);
}

TEST_F(PluginLibrary, RegistersItsFourResourcesWhenItIsLoaded) {
  support::ManagerGuard guard;
  const Library library(SD_PLUGIN_LIBRARY);
  ASSERT_TRUE(library.isOpen()) << library.error();
  const auto getRegisteredRestApis = library.find<GetRegisteredRestApis>("getRegisteredRestApis");
  ASSERT_NE(getRegisteredRestApis, nullptr);
  EXPECT_THAT(names(getRegisteredRestApis()),
              testing::UnorderedElementsAre("GET /1.0/servers", "GET /1.0/servers/{server_id}/operations/discovery",
                                            "POST /1.0/servers/{server_id}/operations/discovery",
                                            "GET /1.0/searchedserver/{tentative_id}"));
}

TEST_F(PluginLibrary, GivesItsRegistryAsACopy) {
  support::ManagerGuard guard;
  const Library library(SD_PLUGIN_LIBRARY);
  ASSERT_TRUE(library.isOpen()) << library.error();
  const auto getRegisteredRestApis = library.find<GetRegisteredRestApis>("getRegisteredRestApis");
  Registry copy = getRegisteredRestApis();
  copy.clear();
  EXPECT_EQ(getRegisteredRestApis().size(), 4u);
}

TEST_F(PluginLibrary, HasAnEmptyRegistryWithoutARegistration) {
  support::ManagerGuard guard("0.99");
  const Library library(SD_PLUGIN_LIBRARY);
  ASSERT_TRUE(library.isOpen()) << library.error();
  EXPECT_TRUE(library.find<GetRegisteredRestApis>("getRegisteredRestApis")().empty());
  EXPECT_EQ(library.find<GetID>("getID")(), 300u);
  EXPECT_TRUE(log.has(utils::LOG_MISMATCH,
                      "plugin ServerDiscoveryPlugin-1.00.00 could not be loaded since it requires plugin manager "
                      "version 1.00.00. currect plugin manager is with version 0.99"));
}

TEST_F(PluginLibrary, TracesItsRegistrationAtLoadAndAtUnload) {
  const std::string name = "plugins::PluginRegistration<class plugins::ServerDiscoveryPluginProxy>::";
  support::ManagerGuard guard;
  {
    const Library library(SD_PLUGIN_LIBRARY);
    ASSERT_TRUE(library.isOpen()) << library.error();
    EXPECT_TRUE(log.has(utils::LOG_TRACE, name + "PluginRegistration"));
    EXPECT_FALSE(log.contains(name + "~PluginRegistration"));
  }
  EXPECT_TRUE(log.has(utils::LOG_TRACE, name + "~PluginRegistration"));
}

/// A host around the library in a network of its own: a server that registers, announces itself and searches.
class PluginLibraryAtWork : public PluginLibrary {
 protected:
  void SetUp() override {
    if (!support::hasOwnNetwork()) GTEST_SKIP() << "needs to make a network namespace";
    system.setAddresses({"127.0.0.1"});
    preferences.set("slp_find_service_interval", "10");
  }
  void TearDown() override { utils::shutdown::reset(); }

  static void serveDetails(support::FakePlugin& host) {
    host.get("/1.0/servers/{server_id}", [](const support::Request&, json::Object& response) {
      response = support::parsed(R"({"value":{"properties":{"displayId":"local"}}})");
      return http::HTTPCommand::HTTP_OK;
    });
  }
  bool waitFor(const std::string& part) const {
    return support::waitFor([&] { return log.containsPart(part); });
  }

  support::PreferencesGuard preferences;
};

TEST_F(PluginLibraryAtWork, StartsServesStopsAndLeavesTheProcessEveryTime) {
  // A stop meets discovery here and there: before its first search, in it, in a job.
  const std::vector<std::string> moments = {
      "SLPRegistration is successful ",
      "RemoteServerDiscovery:discoverSLPServers:SLPOpen is successful ",
      "RemoteServerDiscoveryJob:getAttributes: service url: service:x-mgmt.quorvel:kvt://127.0.0.1:8443",
  };
  std::size_t threads = 0;
  std::size_t descriptors = 0;
  for (std::size_t round = 0; round < 100; ++round) {
    utils::shutdown::reset();
    log.clear();
    support::ManagerGuard guard;
    support::FakePlugin host;
    serveDetails(host);
    {
      const Library library(SD_PLUGIN_LIBRARY);
      ASSERT_TRUE(library.isOpen()) << library.error();
      plugins::BasePluginProxy* const first = library.proxies().front();
      first->startup(launcher::Preferences::get_instance(), &guard.manager());
      EXPECT_EQ(support::request(http::RestApi::GET, "/1.0/servers").status, http::HTTPCommand::HTTP_OK);
      EXPECT_TRUE(isLoaded(SD_PLUGIN_LIBRARY));
      EXPECT_TRUE(log.containsPart("HeartBeatWin:performMulticast:Register:pcSrvURL:"));
      // The last one takes a whole search, so it is not waited for each time.
      const auto& moment = round % 20 == 0 ? moments[2] : moments[round % 2];
      EXPECT_TRUE(waitFor(moment)) << "round " << round << ": " << moment;
      utils::shutdown::begin();
      first->shutdown();
      EXPECT_TRUE(log.containsPart("HeartBeatWin:performMulticast:Deregister:pcSrvURL:"));
    }
    ASSERT_FALSE(isLoaded(SD_PLUGIN_LIBRARY)) << "round " << round;
    if (round == 0) {
      threads = entriesOf("/proc/self/task");
      descriptors = entriesOf("/proc/self/fd");
    }
  }
  EXPECT_EQ(entriesOf("/proc/self/task"), threads);
  EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
}

TEST_F(PluginLibraryAtWork, LeavesTheProcessWithoutAShutdown) {
  support::ManagerGuard guard;
  support::FakePlugin host;
  serveDetails(host);
  {
    const Library library(SD_PLUGIN_LIBRARY);
    ASSERT_TRUE(library.isOpen()) << library.error();
    library.proxies().front()->startup(launcher::Preferences::get_instance(), &guard.manager());
    EXPECT_TRUE(waitFor("RemoteServerDiscovery:discoverSLPServers:SLPOpen is successful "));
    utils::shutdown::begin();
  }
  EXPECT_FALSE(isLoaded(SD_PLUGIN_LIBRARY));
}

TEST_F(PluginLibraryAtWork, ReportsExceptionsOfItsHandlersToTheDispatch) {
  support::ManagerGuard guard;
  const Library library(SD_PLUGIN_LIBRARY);
  ASSERT_TRUE(library.isOpen()) << library.error();
  EXPECT_EQ(support::request(http::RestApi::GET, "/1.0/searchedserver/x").status, http::HTTPCommand::HTTP_BAD_REQUEST);
  utils::shutdown::begin();
}

TEST_F(PluginLibrary, LivesBesideTheHealthyFixture) {
  support::ManagerGuard guard;
  const Library library(SD_PLUGIN_LIBRARY);
  const Library healthy(fixture("Healthy"));
  ASSERT_TRUE(library.isOpen()) << library.error();
  ASSERT_TRUE(healthy.isOpen()) << healthy.error();
  EXPECT_EQ(library.find<GetID>("getID")(), 300u);
  EXPECT_EQ(healthy.find<GetID>("getID")(), 901u);
  const auto answer = support::request(http::RestApi::GET, "/1.0/fixture");
  EXPECT_EQ(answer.status, http::HTTPCommand::HTTP_OK);
  EXPECT_EQ(support::written(answer.body), R"({"fixture":"healthy"})");
}

TEST_F(PluginLibrary, FixturesAreBrokenAsTheySay) {
  support::ManagerGuard guard;
  EXPECT_FALSE(Library(fixture("NotElf")).isOpen());
  {
    const Library library(fixture("WithoutId"));
    ASSERT_TRUE(library.isOpen()) << library.error();
    EXPECT_EQ(library.find<GetID>("getID"), nullptr);
    EXPECT_EQ(library.proxies().size(), 1u);
  }
  {
    const Library library(fixture("NeedsNewerManager"));
    ASSERT_TRUE(library.isOpen()) << library.error();
    EXPECT_EQ(library.find<GetID>("getID")(), 903u);
    EXPECT_TRUE(library.proxies().empty());
    EXPECT_EQ(log.texts(utils::LOG_MISMATCH).size(), 1u);
  }
  {
    const Library library(fixture("ThrowsInStartup"));
    ASSERT_TRUE(library.isOpen()) << library.error();
    EXPECT_THROW(library.proxies().front()->startup(nullptr, &guard.manager()), std::runtime_error);
  }
  {
    const Library library(fixture("ThrowsInShutdown"));
    ASSERT_TRUE(library.isOpen()) << library.error();
    EXPECT_NO_THROW(library.proxies().front()->startup(nullptr, &guard.manager()));
    EXPECT_THROW(library.proxies().front()->shutdown(), std::runtime_error);
  }
}

}  // namespace
