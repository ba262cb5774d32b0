#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "framework/http/HTTPCommand.h"
#include "framework/plugins/BasePlugin.h"
#include "json/elements.h"

namespace launcher {
class PluginManager;
}

namespace plugins {

class ServerDiscoveryPluginProxy;
struct RegistrationState;

/// Serves one request, or, as the service object that the proxy makes at start-up, is the context in which the plug-in
/// itself asks for the host's resources and keeps the local server registered. A request object lives on one thread for
/// one command, which belongs to the host; a service object owns its command.
class ServerDiscoveryPlugin : public BasePlugin {
 public:
  using Parameters = std::map<std::string, std::string>;
  using Status = http::HTTPCommand::HTTPStatus_;

  /// For one request.
  ServerDiscoveryPlugin(http::HTTPCommand* command, const BasePluginProxy* proxy);
  /// The service object: with a command of the manager's, and known to the whole plug-in from now on.
  ServerDiscoveryPlugin(const launcher::PluginManager* manager, ServerDiscoveryPluginProxy* proxy);
  ~ServerDiscoveryPlugin() override;

  // The resources. A wrong request ends in its status, or in an utils::InputException for the caller to report.

  /// GET "/1.0/servers": all known servers, the local one marked.
  Status getDiscoveredServers(const Parameters& parameters, const json::Object& request, json::Object& response);
  /// GET "/1.0/servers/{server_id}/operations/discovery": what the operation can do.
  Status manualDiscovery(const Parameters& parameters, const json::Object& request, json::Object& response);
  /// POST "/1.0/servers/{server_id}/operations/discovery": searches for, adds or removes a server.
  Status postManualDiscoverySearch(const Parameters& parameters, const json::Object& request, json::Object& response);
  /// GET "/1.0/searchedserver/{tentative_id}": what a search found.
  Status getSearchedServer(const Parameters& parameters, const json::Object& request, json::Object& response);

  // The registration of the local server, by the service object: on the host's thread, but for what the monitor does.

  /// Registers the local server under the first of its addresses that works, starts the monitor, and in any case the
  /// discovery of others.
  void registerServiceDiscovery();
  /// Ends the registration and with it the service object's command; the result is SLP's, 0 for success.
  unsigned short deRegisterServiceDiscovery();
  /// Withdraws the registration under `oldUrl`, and registers the local server with these attributes under the address.
  /// The flag has no meaning. The result is that of the new registration, 0 for success.
  unsigned short updateSLPRegistration(std::string attributes, bool, std::string oldUrl, std::string address);
  /// The monitor: registers the local server anew whenever its details have changed, until PluginState::stopMonitor.
  static void startIPChangeMonitorThread();

  /// "service:x-mgmt.quorvel:kvt://<address>:<listening port>"
  std::string getSlpRegistrationUrl(std::string address);
  std::string convertJSONObjcetToString(json::Object object);
  /// Every occurrence, left to right; what was put in is not searched again. An empty `from` changes nothing.
  std::string ReplaceAll(std::string text, const std::string& from, const std::string& to);

 private:
  ServerDiscoveryPlugin(std::unique_ptr<http::HTTPCommand> command, const BasePluginProxy* proxy);

  void initializePluginApis();
  /// Deletes the service object's command; from then on it asks for nothing.
  void endCommand();
  /// A hidden server is only described. False when this machine does not tell its addresses.
  bool registerLocalServer(bool isHidden);
  /// Compares the local server's details with those registered last, and registers it anew when they differ.
  void followLocalServer();
  /// The machine's addresses in the order in which registration tries them; nothing when it cannot list them.
  static std::optional<std::vector<std::string>> addressesToTry();
  /// The local server as it is now, without URL and address.
  RegistrationState describeLocalServer();
  /// The attributes to register these details with.
  std::string registrationText(const json::Object& details);
  /// The document's text without any blank or TAB, so that texts that differ in nothing else are equal.
  std::string compactText(const json::Object& document);
  /// The local server's record as its details resource gives it, empty when it does not.
  json::Object fetchLocalServer();
  /// Marks the local server among the records; false when it is not among them.
  bool markLocalServer(json::Array& servers);
  void appendLocalServer(json::Array& servers);

  std::unique_ptr<http::HTTPCommand> mServiceCommand;  ///< the service object's, else null
};

}  // namespace plugins
