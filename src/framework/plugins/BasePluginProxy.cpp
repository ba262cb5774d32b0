#include "framework/plugins/BasePluginProxy.h"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <typeinfo>

namespace plugins {
namespace {

std::string demangled(const char* name) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                         &std::free);
  return text ? text.get() : name;
}

}  // namespace

BasePluginProxy::BasePluginProxy(const launcher::PluginManager* manager) : mManager(manager) {}

BasePluginProxy::~BasePluginProxy() = default;

std::string BasePluginProxy::getPluginName() {
  std::string name = demangled(typeid(*this).name());
  const auto colon = name.rfind(':');
  if (colon != std::string::npos) name.erase(0, colon + 1);
  return name.substr(0, name.rfind("Proxy"));
}

PluginType_ BasePluginProxy::getPluginID() {
  return PLUGIN_TYPE_NONE;
}

std::string BasePluginProxy::getPluginVersion() {
  return "1.00.00";
}

std::string BasePluginProxy::getRequiredPluginManagerVersion() {
  return "1.00.00";
}

PluginType_ BasePluginProxy::getPluginType() {
  return PLUGIN_TYPE_NONE;
}

PluginLoadOrder_ BasePluginProxy::getPluginLoadOrder() {
  return LOAD_ORDER_DEFAULT;
}

void BasePluginProxy::startup(launcher::Preferences*, const launcher::PluginManager* manager) {
  mManager = manager;
}

void BasePluginProxy::shutdown() {}

}  // namespace plugins
