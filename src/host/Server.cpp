#include "host/Server.h"

#include <stdexcept>
#include <system_error>

#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Observer.h"
#include "framework/utils/Shutdown.h"
#include "host/events/SightingEvents.h"
#include "host/http/Descriptors.h"
#include "host/net/Address.h"
#include "host/observe/CertificateView.h"
#include "host/openapi/OpenApi.h"
#include "host/service/Notification.h"
#include "host/web/Pages.h"

namespace host {
namespace {

using launcher::PluginManager;
using launcher::Preferences;

/// What answers under way get to end with after the plug-ins have been shut down.
constexpr std::chrono::milliseconds kGrace{500};

void fill(Preferences& preferences, const Settings& settings) {
  for (const auto& [name, value] : settings.preferences) {
    if (const auto problem = preferences.set(name, value)) throw std::invalid_argument(*problem);
  }
}

/// Every address, unless something else was asked for.
std::vector<ListenAddress> listenAddresses(const Settings& settings, const Preferences& preferences) {
  if (!settings.listen.empty()) return settings.listen;
  return {ListenAddress{"", static_cast<std::uint16_t>(std::stoul(preferences.get_listening_port()))}};
}

state::Directory openState(const Settings& settings) {
  try {
    return state::Directory(settings.stateDirectory.empty() ? state::defaultDirectory() : settings.stateDirectory);
  } catch (const std::system_error& error) {
    throw ConfigurationError(std::string("the state directory ") + error.what() + ": set server.state_dir to another");
  }
}

std::shared_ptr<TlsContext> openTls(const TlsSettings& settings, const state::Directory& directory) {
  if (!settings.isEnabled) return nullptr;
  auto context = TlsContext::open(settings, directory);
  if (!context) throw ConfigurationError("TLS: " + context.error());
  return std::move(*context);
}

/// "https://[::]:8443"
json::Array urlsOf(const std::vector<Endpoint>& endpoints) {
  json::Array urls;
  for (const Endpoint& endpoint : endpoints)
    urls.Insert(
        json::String(endpoint.scheme + "://" + bracketed(endpoint.address) + ":" + std::to_string(endpoint.port)));
  return urls;
}

}  // namespace

Server::Server(const Settings& settings)
    : mSettings(settings),
      mState(openState(settings)),
      mLoader(*PluginManager::get_instance(), *Preferences::get_instance()) {
  Preferences& preferences = *Preferences::get_instance();
  fill(preferences, settings);
  mDispatcher = std::make_unique<Dispatcher>(*PluginManager::get_instance(), preferences, settings.limits,
                                             HostResources::promptTemplates());
  mRoutes = std::make_unique<Routes>(preferences.get_uri_prefix(), *mDispatcher);
  if (const auto problem = Peers::problemOf(settings.peers)) throw ConfigurationError(*problem);
  mPeers = std::make_unique<Peers>(settings.peers, mState);
  mPeers->addRoutes(*mRoutes);
  EventSource source = resourceEvents(*PluginManager::get_instance());
  addSightings(source, *mObservatory);
  mEvents = std::make_unique<Events>(std::move(source));
  mEvents->addRoutes(*mRoutes);
  addOpenApi(*mRoutes);
  addPages(*mRoutes);
  addObserveRoutes(*mRoutes, mObservatory);
  mSecurity = std::make_unique<Security>(settings, mState, preferences.get_uri_prefix(), *mRoutes);
  mSecurity->addRoutes(*mRoutes);
  mEncoding = std::make_unique<Encoding>(preferences.get_uri_prefix(), mSecurity->gate());
  mMeter = std::make_unique<Meter>(
      mObservatory, resourceNames(*mRoutes, *PluginManager::get_instance(), preferences.get_uri_prefix()), *mEncoding);
  mTls = openTls(settings.tls, mState);
  Limits limits = settings.limits;
  limits.connections = makeRoomForConnections(limits.connections);
  mFront = std::make_unique<Front>(limits, *mMeter, mTls);
  if (notification::watchdogTimeout()) {
    mWatchdog = std::make_unique<Watchdog>([this] { return mDispatcher->longestWait(); }, notification::alive);
    mFront->onHeartbeat([this] { mWatchdog->beat(); });
  }
}

/// From before the first plug-in until after the last.
void Server::observe() {
  mObserveResources = std::make_unique<ObserveResources>(*PluginManager::get_instance(), mObservatory);
  mObservatory->provideQueues([this] { return mDispatcher->waiting(); });
  mObservatory->provideFront([this] { return mFront->counts(); });
  if (mTls) mObservatory->provide("certificate", [tls = mTls] { return certificateDocument(tls->info()); });
  mObservatory->onChange([this] { mEvents->hint(); });
  utils::observer::set(mObservatory);
}

Server::~Server() {
  stop();
}

Result<std::vector<Endpoint>> Server::listen() {
  Preferences& preferences = *Preferences::get_instance();
  auto endpoints = mFront->listen(listenAddresses(mSettings, preferences));
  if (!endpoints) return endpoints;
  preferences.set("listening_port", std::to_string(endpoints->front().port));
  mResources = std::make_unique<HostResources>(*PluginManager::get_instance(), preferences, *endpoints,
                                               [this](const PeerTarget& target, std::chrono::milliseconds limit) {  //
                                                 return mPeers->ask(target, limit);
                                               });
  mObservatory->provide("listens", [listens = urlsOf(*endpoints)] { return listens; });
  observe();
  return endpoints;
}

void Server::start(const std::string& pluginDirectory) {
  mFront->start();
  mLoader.loadDirectory(pluginDirectory);
  mLoader.startAll();
  mObservatory->setReady(true);
}

void Server::stop() {
  if (!mFront) return;
  utils::shutdown::begin();
  mObservatory->setReady(false);
  mFront->stopAccepting();
  mEvents->close();
  mLoader.shutdownAll();
  mFront->stop(kGrace);
  mSecurity->close();
  mPeers->close();
  mDispatcher->close();  // what still runs may hold what a plug-in made
  mLoader.unloadAll();
  utils::observer::set(nullptr);
  mObservatory->onChange({});
  mObservatory->provideQueues({});
  mObservatory->provideFront({});
  mObserveResources.reset();
  mResources.reset();
  mFront.reset();
  mPeers.reset();  // writes what it has seen
}

}  // namespace host
