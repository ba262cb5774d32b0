// The service object's part in keeping the local server findable.

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "discovery/LocalMachine.h"
#include "discovery/RunLogged.h"
#include "discovery/ServerDiscovery.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "framework/utils/StringHelper.h"
#include "framework/utils/System.h"
#include "json/writer.h"
#include "plugins/PluginState.h"
#include "plugins/RegistrationAttributes.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {
namespace {

/// The variant of the installation that does not register, so that other servers do not find it by themselves.
constexpr unsigned int kHiddenOemType = 3;

bool hasLocalAddress() {
  std::string address;  // may stay empty: a machine without an address is followed until it has one
  return utils::System::get_instance()->getLocalIPAddress(address) != 0;
}

/// One monitor follows the server for all service objects.
void startMonitor() {
  std::unique_ptr<utils::Thread>& monitor = PluginState::instance().monitor;
  if (monitor) return;
  monitor = std::make_unique<utils::Thread>("IPChangeMonitorThread", ServerDiscoveryPlugin::startIPChangeMonitorThread);
}

void logStep(bool hasWorked, const char* success, const char* failure, const std::string& subject) {
  utils::formatted_log_t(hasWorked ? utils::LOG_DETAIL : utils::LOG_FAILURE, hasWorked ? success : failure) % subject;
}

}  // namespace

void ServerDiscoveryPlugin::registerServiceDiscovery() {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::registerServiceDiscovery");
  constexpr const char* kFailed = "ServerDiscoveryPl::registerServiceDiscovery:exception caught:%1%";
  const bool isHidden = launcher::Preferences::get_instance()->get_installation_oem_type() == kHiddenOemType;
  bool isKnown = true;
  // What it throws costs the registration, which the monitor then makes.
  discovery::runLogged(kFailed, [&] { isKnown = registerLocalServer(isHidden); });
  if (isKnown && !isHidden) discovery::runLogged(kFailed, startMonitor);
  // A server that others do not see still looks for them.
  discovery::runLogged(kFailed, [] { discovery::ServerDiscovery::getInstance()->startDiscovery(); });
}

bool ServerDiscoveryPlugin::registerLocalServer(bool isHidden) {
  const auto addresses = addressesToTry();
  if (!addresses) return false;
  RegistrationState registration = describeLocalServer();
  if (!hasLocalAddress()) return false;

  const std::string attributes = registrationText(registration.details);
  registration.isPending = addresses->empty();
  for (const std::string& address : *addresses) {
    registration.url = getSlpRegistrationUrl(address);
    registration.address = address;
    utils::formatted_log_t(utils::LOG_DETAIL,
                           "ServerDiscoveryPl::registerServiceDiscovery:strTempIP for registerSLPService%1%") %
        address;
    if (isHidden) break;
    const unsigned short result =
        discovery::ServerDiscovery::getInstance()->registerSLPService(attributes, false, registration.url, address);
    if (result == 0) break;
    utils::formatted_log_t(utils::LOG_FAILURE,
                           "ServerDiscoveryPl::registerServiceDiscovery Failed WIth return code:= %1% for IP:%2%") %
        result % address;
  }
  PluginState& state = PluginState::instance();
  state.setLocalServerIp(registration.address);  // by which the list knows the local server among the found ones
  state.setRegistration(std::move(registration));
  return true;
}

unsigned short ServerDiscoveryPlugin::updateSLPRegistration(std::string attributes, bool, std::string oldUrl,
                                                            std::string address) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::updateSLPRegistration");
  discovery::ServerDiscovery* const inventory = discovery::ServerDiscovery::getInstance();
  PluginState& state = PluginState::instance();
  const bool isWithdrawn = inventory->deRegisterSLPService(oldUrl, state.stopMonitor) == 0;
  logStep(isWithdrawn, "ServerDiscoveryPl:updateSLPRegistration:deRegisterSLPService is successful with the URL:%1%",
          "ServerDiscoveryPl:updateSLPRegistration:deRegisterSLPService has failed with the URL:%1%", oldUrl);

  const std::string oldAddress = state.registration()->address;
  const bool isForgotten = inventory->removeSpecificServer(oldAddress);
  logStep(isForgotten, "ServerDiscoveryPl:updateSLPRegistration:removeSpecificServer is successful with the IP:%1%",
          "ServerDiscoveryPl:updateSLPRegistration:removeSpecificServer failed with the IP:%1%", oldAddress);

  const std::string url = getSlpRegistrationUrl(address);
  state.setRegistrationUrl(url);  // before the attempt: whatever comes of it, this is what a shutdown has to withdraw
  const unsigned short result = inventory->registerSLPService(std::move(attributes), true, url, address);
  if (result != 0) {
    utils::formatted_log_t(
        utils::LOG_DETAIL,
        "ServerDiscoveryPl:updateSLPRegistration:UpdateSLPRegistration Failed WIth return code = %1%") %
        result;
  }
  return result;
}

unsigned short ServerDiscoveryPlugin::deRegisterServiceDiscovery() {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::deRegisterServiceDiscovery");
  PluginState& state = PluginState::instance();
  if (ServerDiscoveryPlugin* const service = state.servicePlugin()) service->endCommand();
  return discovery::ServerDiscovery::getInstance()->deRegisterSLPService(state.registration()->url, state.stopMonitor);
}

std::optional<std::vector<std::string>> ServerDiscoveryPlugin::addressesToTry() {
  discovery::LocalAddresses local = discovery::localAddresses();
  if (!local.areListed) return std::nullopt;
  std::vector<std::string> addresses = std::move(local.ipV4);
  addresses.insert(addresses.end(), local.ipV6.begin(), local.ipV6.end());
  return addresses;
}

RegistrationState ServerDiscoveryPlugin::describeLocalServer() {
  RegistrationState registration;
  registration.details = fetchLocalServer();
  registration.text = compactText(registration.details);
  registration.hashCode = utils::StringHelper::getStringArrayHashCode(registration.text);
  return registration;
}

std::string ServerDiscoveryPlugin::registrationText(const json::Object& details) {
  return compactText(makeRegistrationAttributes(details, PluginState::instance().changeCounter));
}

std::string ServerDiscoveryPlugin::compactText(const json::Object& document) {
  const std::string text = convertJSONObjcetToString(withoutBlanks(document));
  return ReplaceAll(ReplaceAll(text, "\t", ""), " ", "");
}

std::string ServerDiscoveryPlugin::getSlpRegistrationUrl(std::string address) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::getSlpRegistrationUrl");
  return "service:x-mgmt.quorvel:kvt://" + address + ":" + launcher::Preferences::get_instance()->get_listening_port();
}

std::string ServerDiscoveryPlugin::convertJSONObjcetToString(json::Object object) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::convertJSONObjcetToString");
  std::ostringstream text;
  json::Writer::Write(object, text);
  return std::move(text).str();
}

std::string ServerDiscoveryPlugin::ReplaceAll(std::string text, const std::string& from, const std::string& to) {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::ReplaceAll");
  utils::StringHelper::replace(text, from, to);
  return text;
}

}  // namespace plugins
