#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "PluginTest.h"
#include "discovery/AttributeList.h"
#include "plugins/ServerDiscoveryPlugin.h"
#include "support/Wait.h"

namespace plugins {

/// The plug-in started up on a machine with the address 10.0.0.1, beside an SLP, a heartbeat and details that the test
/// makes.
class RegistrationTest : public PluginTest {
 protected:
  static constexpr const char* kMatching =
      "ServerDiscoveryPl::startIPChangeMonitorThread:Both local stored and the updated JSON strings are matching";
  static constexpr const char* kNotMatching =
      "ServerDiscoveryPl::startIPChangeMonitorThread:Both the IP set has values are not matching hence going for the "
      "re-registration";

  RegistrationTest() {
    preferences.set("listening_port", "8443");
    setDetails(serverRecord("local", "10.0.0.1"));
    host.get("/1.0/servers/{server_id}", [this](const support::Request& request, json::Object& response) {
      const std::lock_guard lock(mMutex);
      mAskedIds.push_back(request.parameter("{server_id}"));
      response["value"] = mDetails;
      return http::HTTPCommand::HTTP_OK;
    });
  }

  /// Nobody asks for the details any more when they go.
  ~RegistrationTest() override {
    stopMonitor();
    stopDiscovery();
  }

  /// What the details resource gives from now on.
  void setDetails(const json::Object& details) {
    const std::lock_guard lock(mMutex);
    mDetails = details;
  }
  /// The identifiers under which the details were asked for.
  std::vector<std::string> askedIds() const {
    const std::lock_guard lock(mMutex);
    return mAskedIds;
  }

  void startUp() { proxy.startup(launcher::Preferences::get_instance(), &managerGuard.manager()); }

  static std::string url(const std::string& address) { return "service:x-mgmt.quorvel:kvt://" + address + ":8443"; }

  std::vector<std::string> registeredUrls() const {
    std::vector<std::string> urls;
    for (const auto& registration : slp.registrations())
      urls.push_back(registration.url);
    return urls;
  }
  /// The text that the last registration tells of the server.
  std::string registeredText() const {
    const auto registrations = slp.registrations();
    if (registrations.empty()) return "";
    return discovery::parseAttributeList(registrations.back().attributes, std::nullopt).server;
  }
  json::Object registeredAttributes() const { return support::parsed(registeredText()); }

  bool waitForRegistrations(std::size_t count) const {
    return support::waitFor([&] { return slp.registrations().size() >= count; });
  }
  /// Waits until a look at the server that began after the call has found it unchanged.
  bool waitForUnchanged() const {
    const std::size_t before = log.count(kMatching);
    return support::waitFor([&] { return log.count(kMatching) >= before + 2; });
  }

  ServerDiscoveryPluginProxy proxy{&managerGuard.manager()};

 private:
  mutable std::mutex mMutex;  ///< guards what follows
  json::Object mDetails;
  std::vector<std::string> mAskedIds;
};

}  // namespace plugins
