#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "framework/http/HTTPCommand.h"
#include "json/elements.h"
#include "json/lookup.h"
#include "plugins/PluginRegistration.h"
#include "plugins/PluginState.h"
#include "plugins/ServerDiscoveryPluginProxy.h"
#include "support/FakeHeartBeat.h"
#include "support/FakePlugin.h"
#include "support/FakeSlp.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/PreferencesGuard.h"
#include "support/Requests.h"

namespace plugins {

/// A server's record with one interface.
inline json::Object serverRecord(const std::string& displayId, const std::string& ipV4, const std::string& ipV6 = "") {
  return support::parsed(R"({"properties":{"displayId":")" + displayId + R"(","health":{"state":"unknown"},)" +
                         R"("os":{"network":{"nics":[{"ipV4":")" + ipV4 + R"(","ipV6":")" + ipV6 + R"("}]}}}})");
}

/// The text at a path, "(none)" where there is no text: tests tell "" from nothing.
inline std::string textOrNone(const json::Object& object, json::Path path) {
  const json::UnknownElement* const element = json::find(object, path);
  const auto* const text = element == nullptr ? nullptr : element->getIf<json::String>();
  return text == nullptr ? "(none)" : text->Value();
}

/// The plug-in's resources in a manager of their own, beside a host whose machine, settings and resources the test
/// makes. Every test begins with an inventory that shows nothing.
class PluginTest : public testing::Test {
 protected:
  static constexpr const char* kOperation = "/1.0/servers/local/operations/discovery";

  PluginTest() {
    preferences.set("installation_type", "1");  // looks for no other server, unless a test wants it to
    preferences.set("ip_change_polling_interval", "10");
    preferences.set("slp_find_service_interval", "10");
    state().stopMonitor = false;
    state().changeCounter = 0;
    state().setLocalServer({});
    state().setRegistration({});
    letDiscoveryRun();
    clearInventory();
  }
  ~PluginTest() override {
    stopMonitor();
    stopDiscovery();
    clearInventory();
  }

  static PluginState& state() { return PluginState::instance(); }
  static void stopMonitor();
  static void clearInventory();
  static void letDiscoveryRun();
  static void stopDiscovery();
  static bool hasDiscoveryThread();
  static discovery::ServerDiscovery& inventory() { return *discovery::ServerDiscovery::getInstance(); }

  /// Serves the local server's details, whatever the identifier.
  void serveDetails(const json::Object& record) {
    host.get("/1.0/servers/{server_id}", [this, record](const support::Request& request, json::Object& response) {
      ++detailsCalls;
      detailsId = request.parameter("{server_id}");
      response["value"] = record;
      return http::HTTPCommand::HTTP_OK;
    });
  }

  /// Serves the search with a reply for every address.
  void serveSearch(http::HTTPCommand::HTTPStatus_ status, const json::Object& reply) {
    const http::RestApi api(http::RestApi::POST, "/1.0/searchserver_", false);
    host.serveInProcess(api, [this, status, reply](const support::Request& request, json::Object& response) {
      searchBody = request.body;
      response = reply;
      return status;
    });
  }

  static support::Answer get(const std::string& path) { return support::request(http::RestApi::GET, path); }
  static support::Answer post(const std::string& path, const std::string& body) {
    return support::request(http::RestApi::POST, path, support::parsed(body));
  }
  static support::Answer act(const std::string& action, const std::string& parameter, const std::string& value) {
    return post(kOperation, R"({"action":")" + action + R"(","parameters":{")" + parameter + R"(":")" + value + "\"}}");
  }
  static support::Answer search(const std::string& address) { return act("SEARCH", "address", address); }
  static support::Answer add(const std::string& uri) { return act("ADD", "server", uri); }
  static support::Answer remove(const std::string& uri) { return act("REMOVE", "server", uri); }

  /// Files a server as announced.
  static void announce(const std::string& address, const json::Object& record) {
    discovery::DiscoveryMap::addDiscoveredHost(address, support::written(record), false);
  }
  /// Files a server as searched for.
  static void fileSearched(const std::string& key, const json::Object& record) {
    json::Object reply;
    reply["value"] = record;
    inventory().addToSearchHostList(key, {}, reply, false);
  }

  static std::vector<std::string> announcedAddresses() {
    std::vector<std::string> addresses;
    for (const auto& [address, record] : discovery::DiscoveryMap::getDiscoveredHost())
      addresses.push_back(address);
    return addresses;
  }
  static std::vector<std::string> searchedKeys() {
    std::map<std::string, json::Object> hosts;
    inventory().getDiscoveredHosts(hosts);
    std::vector<std::string> keys;
    for (const auto& [key, record] : hosts)
      keys.push_back(key);
    return keys;
  }

  support::LogCapture log;
  support::PreferencesGuard preferences;
  support::FakeSystem system;
  support::FakeSlp slp;
  support::FakeHeartBeat heartBeat;
  support::ManagerGuard managerGuard;
  PluginRegistration<ServerDiscoveryPluginProxy> resources;
  support::FakePlugin host;

  int detailsCalls = 0;
  std::string detailsId;
  std::optional<json::Object> searchBody;
};

}  // namespace plugins
