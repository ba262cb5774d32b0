// Keeps the registration of the local server in step with its details.

#include <string>
#include <utility>

#include "discovery/RunLogged.h"
#include "discovery/ServerDiscovery.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Condition.h"
#include "framework/utils/Log.h"
#include "framework/utils/Mutex.h"
#include "plugins/PluginState.h"
#include "plugins/ServerDiscoveryPlugin.h"

namespace plugins {

void ServerDiscoveryPlugin::startIPChangeMonitorThread() {
  const utils::FunctionTrace trace("plugins::ServerDiscoveryPlugin::startIPChangeMonitorThread");
  discovery::ServerDiscovery::getInstance();
  PluginState& state = PluginState::instance();
  const auto interval = static_cast<int>(launcher::Preferences::get_instance()->getIPChangePollingInterval());
  while (!state.stopMonitor) {
    utils::Mutex mutex;
    utils::Lock lock(&mutex, false);
    utils::Condition condition;
    // What it throws costs this look at the server, not those to come.
    discovery::runLogged("ServerDiscoveryPl::startIPChangeMonitorThread:exception caught:%1%", [&] {
      if (ServerDiscoveryPlugin* const service = state.servicePlugin()) service->followLocalServer();
    });
    if (state.stopMonitor) return;
    condition.timed_wait(&lock, interval);
  }
}

void ServerDiscoveryPlugin::followLocalServer() {
  const auto addresses = addressesToTry();
  if (!addresses) return;
  RegistrationState registration = describeLocalServer();
  PluginState& state = PluginState::instance();
  const auto last = state.registration();
  const bool isDue = last->isPending && !addresses->empty();
  if (registration.text == last->text && !isDue) {
    utils::formatted_log_t(utils::LOG_DETAIL,
                           "ServerDiscoveryPl::startIPChangeMonitorThread:Both local stored and the updated JSON "
                           "strings are matching");
    return;
  }
  utils::formatted_log_t(utils::LOG_DETAIL,
                         "ServerDiscoveryPl::startIPChangeMonitorThread:Both the IP set has values are not matching "
                         "hence going for the re-registration");
  ++state.changeCounter;
  const std::string attributes = registrationText(registration.details);
  registration.isPending = addresses->empty();
  registration.url = last->url;  // without an address the old registration stays, to be withdrawn later
  registration.address = last->address;
  for (const std::string& address : *addresses) {
    registration.url = getSlpRegistrationUrl(address);
    registration.address = address;
    const unsigned short result = updateSLPRegistration(attributes, false, state.registration()->url, address);
    if (result == 0) break;
    utils::formatted_log_t(
        utils::LOG_FAILURE,
        "ServerDiscoveryPl::startIPChangeMonitorThread:Registration Failed WIth return code:= %1% for IP:%2%") %
        result % address;
  }
  state.setLocalServerIp(registration.address);
  state.setRegistration(std::move(registration));
}

}  // namespace plugins
