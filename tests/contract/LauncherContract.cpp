// Names and signatures of namespace launcher that plug-ins are compiled against.
#include <map>
#include <type_traits>

#include "contract/Pin.h"
#include "framework/http/HTTPCommand.h"
#include "framework/launcher/KVTCrypto.h"
#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/launcher/SessionManager.h"
#include "framework/launcher/SessionUpdate.h"
#include "framework/plugins/BasePluginProxy.h"

namespace {

using http::HTTPCommand;
using launcher::PluginManager;
using launcher::Preferences;
using launcher::SessionManager;
using launcher::SessionUpdate;

PIN(&PluginManager::get_instance, PluginManager* (*)());
PIN(&PluginManager::getVersion, const std::string& (PluginManager::*)() const);
PIN(&PluginManager::registerPluginProxys, bool (PluginManager::*)(const http::RestApi&, plugins::BasePluginProxy*));
PIN(&PluginManager::getDummyHTTPCommand, HTTPCommand* (PluginManager::*)() const);
PIN(&PluginManager::execute, HTTPCommand::HTTPStatus_ (PluginManager::*)(HTTPCommand*));

PIN(&SessionManager::get_instance, SessionManager* (*)());
PIN(std::declval<SessionManager&>().mutex(), utils::Mutex&);
static_assert(std::is_same_v<SessionManager::Sessions::key_type, http::SessionID>);

PIN(&Preferences::get_instance, Preferences* (*)());
PIN(&Preferences::get_listening_port, std::string (Preferences::*)() const);
PIN(&Preferences::get_uri_prefix, std::string (Preferences::*)() const);
PIN(&Preferences::getNATDetails, std::string (Preferences::*)() const);
PIN(&Preferences::get_installation_oem_type, unsigned int (Preferences::*)() const);
PIN(&Preferences::getInstallationType, unsigned int (Preferences::*)() const);
PIN(&Preferences::getIPChangePollingInterval, unsigned int (Preferences::*)() const);
PIN(&Preferences::get_slp_find_service_interval, unsigned int (Preferences::*)() const);
PIN(&Preferences::get_slp_find_service_strictness, unsigned int (Preferences::*)() const);
PIN(&Preferences::get_max_processing_threads_count, unsigned int (Preferences::*)() const);
PIN(&Preferences::get_enable_multicast, unsigned int (Preferences::*)() const);

PIN(&launcher::KVTCrypto::get_instance, launcher::KVTCrypto* (*)());
PIN(&launcher::KVTCrypto::jsonObj_to_hashstr, std::string (launcher::KVTCrypto::*)(json::Object));

static_assert(std::is_constructible_v<SessionUpdate, const HTTPCommand*>);
static_assert(std::is_destructible_v<SessionUpdate> && !std::is_polymorphic_v<SessionUpdate>);
static_assert(sizeof(SessionUpdate) == sizeof(const HTTPCommand*));  // the command and nothing else

// What is private may be named only by an explicit instantiation.
template <void (SessionUpdate::*)(bool)>
struct PrivateUpdate {};
template struct PrivateUpdate<&SessionUpdate::update>;

}  // namespace
