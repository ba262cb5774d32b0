#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "framework/launcher/PluginManager.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/utils/Shutdown.h"
#include "host/Server.h"
#include "host/security/AccessTable.h"
#include "support/FakePlugin.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/PreferencesGuard.h"
#include "unit/host/RawClient.h"

namespace {

namespace fs = std::filesystem;
using Resource = std::pair<std::string, std::string>;  ///< verb and path

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" `");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" `") - first + 1);
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);)
    parts.push_back(trimmed(part));
  return parts;
}

/// The rows of SECURITY.md: who may call each resource.
std::map<Resource, std::string> documented() {
  std::map<Resource, std::string> rows;
  std::ifstream file(SD_ROOT "/SECURITY.md");
  bool isInTable = false;
  for (std::string line; std::getline(file, line);) {
    if (line == "| resource | verbs | who |") isInTable = true;
    if (line.empty()) isInTable = false;
    const auto cells = split(line, '|');  // the first is what is before the first stroke
    if (!isInTable || cells.size() != 4 || !cells[1].starts_with('/')) continue;
    for (const std::string& verb : split(cells[2], ','))
      EXPECT_TRUE(rows.emplace(Resource(verb, cells[1]), cells[3]).second) << line;
  }
  return rows;
}

/// A path of a resource, with something in place of its parameters.
std::string exampleOf(std::string path) {
  while (path.find('{') != std::string::npos) {
    path.replace(path.find('{'), path.find('}') - path.find('{') + 1, "example");
  }
  return path.ends_with("...") ? path.substr(0, path.size() - 3) + "app.js" : path;
}

TEST(DocumentedAccess, IsWhatTheTableOfTheServerSays) {
  const auto rows = documented();
  EXPECT_GE(rows.size(), 20U);
  for (const auto& [resource, who] : rows) {
    EXPECT_EQ(needName(host::needOf(resource.first, exampleOf(resource.second))), who)
        << resource.first << " " << resource.second;
  }
}

class DocumentedAccessOfAServer : public testing::Test {
 protected:
  DocumentedAccessOfAServer() {
    mSettings.listen = {{"127.0.0.1", 0}};
    mSettings.tls.isEnabled = false;
    mSettings.access.anonymous = host::Role::kNobody;
    std::string name = fs::temp_directory_path() / "kvt-access-XXXXXX";
    mSettings.stateDirectory = mkdtemp(name.data());
    mServer = std::make_unique<host::Server>(mSettings);
    const auto endpoints = mServer->listen();
    EXPECT_TRUE(endpoints);
    mPort = endpoints->front().port;
    mServer->start(SD_PLUGINS);
  }
  ~DocumentedAccessOfAServer() override {
    mServer.reset();
    utils::shutdown::reset();
    fs::remove_all(mSettings.stateDirectory);
  }

  support::PreferencesGuard mPreferences;
  support::ManagerGuard mManager;
  support::FakeSystem mSystem;
  support::LogCapture mLog;
  host::Settings mSettings;
  std::unique_ptr<host::Server> mServer;
  std::uint16_t mPort = 0;
};

/// Every resource that clients reach.
std::set<Resource> served(const host::Server& server, const launcher::PluginManager& manager) {
  std::set<Resource> found;
  for (const auto& [method, path] : server.routes().all())
    found.emplace(method, path.starts_with("/web/") ? "/web/..." : path);
  for (const auto& [api, proxy] : plugins::BasePlugin::getRegisteredRestApis()) {
    if (manager.find(api.verb(), exampleOf(api.uri()))) found.emplace(http::verbName(api.verb()), api.uri());
  }
  return found;
}

TEST_F(DocumentedAccessOfAServer, HasARowForEachResource) {
  const auto rows = documented();
  const auto resources = served(*mServer, mManager.manager());
  EXPECT_TRUE(resources.contains({"GET", "/1.0/servers"}));
  EXPECT_TRUE(resources.contains({"GET", "/healthz"}));
  EXPECT_TRUE(resources.contains({"DELETE", "/1.0/tokens/{name}"}));
  for (const Resource& resource : resources)
    EXPECT_TRUE(rows.contains(resource)) << "SECURITY.md says nothing of " << resource.first << " " << resource.second;
}

TEST_F(DocumentedAccessOfAServer, IsKeptToForSomebodyWhoHasNotLoggedIn) {
  for (const auto& [resource, who] : documented()) {
    host_test::RawClient client(mPort);
    const auto& [method, path] = resource;
    const auto answer = client.ask(method + " " + exampleOf(path) + " HTTP/1.1\r\nHost: localhost\r\n" +
                                   (method == "GET" ? "" : "Content-Length: 0\r\n") + "\r\n");
    EXPECT_EQ(answer.status == 401, !who.starts_with("everybody")) << method << " " << path << " " << answer.status;
  }
}

}  // namespace
