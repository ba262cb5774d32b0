// The plug-in libraries as a host meets them: loaded, looked into, unloaded.

#include <dlfcn.h>
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
#include "support/FakePlugin.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/Requests.h"

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

TEST_F(PluginLibrary, StartsServesStopsAndLeavesTheProcessEveryTime) {
  for (int round = 0; round < 5; ++round) {
    support::ManagerGuard guard;
    {
      const Library library(SD_PLUGIN_LIBRARY);
      ASSERT_TRUE(library.isOpen()) << library.error();
      plugins::BasePluginProxy* const first = library.proxies().front();
      first->startup(launcher::Preferences::get_instance(), &guard.manager());
      EXPECT_EQ(support::request(http::RestApi::GET, "/1.0/servers").status, http::HTTPCommand::HTTP_OK);
      EXPECT_EQ(support::request(http::RestApi::GET, "/1.0/searchedserver/x").status,
                http::HTTPCommand::HTTP_BAD_REQUEST)
          << "an exception of the plug-in's reaches the dispatch";
      EXPECT_TRUE(isLoaded(SD_PLUGIN_LIBRARY));
      first->shutdown();
    }
    EXPECT_FALSE(isLoaded(SD_PLUGIN_LIBRARY)) << "round " << round;
    EXPECT_TRUE(plugins::BasePlugin::getRegisteredRestApis().empty());
  }
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
