#pragma once

#include <exception>
#include <memory>
#include <string>
#include <typeinfo>

#include <boost/core/demangle.hpp>

#include "framework/launcher/PluginManager.h"
#include "framework/plugins/BasePluginProxy.h"
#include "framework/utils/Log.h"

namespace plugins {

/// Offers a plug-in's proxies to the plug-in manager while the library's static objects are made, that is when the host
/// loads the library. One static instance per library. It takes nothing back: the host does before it unloads.
template <typename Proxy>
class PluginRegistration {
 public:
  /// Never throws: nobody could catch it while a library is being loaded.
  PluginRegistration() noexcept {
    try {
      const std::string name = qualifiedName("PluginRegistration");
      const utils::FunctionTrace trace(name.c_str());
      registerProxies(launcher::PluginManager::get_instance());
    } catch (const std::exception& exception) {
      utils::formatted_log_t(utils::LOG_ERROR, "PluginRegistration:PluginRegistration:exception caught:%1%") %
          exception.what();
    }
  }

  virtual ~PluginRegistration() {
    try {
      const std::string name = qualifiedName("~PluginRegistration");
      const utils::FunctionTrace trace(name.c_str());
    } catch (const std::exception&) {  // only the trace is lost
    }
  }

  PluginRegistration(const PluginRegistration&) = delete;
  PluginRegistration& operator=(const PluginRegistration&) = delete;

 private:
  static std::string qualifiedName(const char* function) {
    return "plugins::PluginRegistration<class " + boost::core::demangle(typeid(Proxy).name()) + ">::" + function;
  }

  /// A proxy of its own for each resource that the plug-in serves, unless the plug-in needs a newer manager. Versions
  /// are compared as texts, so that "10.00.00" ranks below "9.00.00".
  static void registerProxies(launcher::PluginManager* manager) {
    if (manager == nullptr) return;
    const auto probe = std::make_unique<Proxy>(manager);
    if (manager->getVersion() < probe->getRequiredPluginManagerVersion()) {
      utils::formatted_log_t(utils::LOG_MISMATCH,
                             "plugin %1%-%2% could not be loaded since it requires plugin manager version %3%. currect "
                             "plugin manager is with version %4%") %
          probe->getPluginName() % probe->getPluginVersion() % probe->getRequiredPluginManagerVersion() %
          manager->getVersion();
      return;
    }
    for (const http::RestApi& api : probe->getSupportedRestApis()) {
      auto proxy = std::make_unique<Proxy>(manager);
      if (manager->registerPluginProxys(api, proxy.get())) static_cast<void>(proxy.release());  // the manager's now
    }
  }
};

}  // namespace plugins
