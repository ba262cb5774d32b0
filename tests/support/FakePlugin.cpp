#include "support/FakePlugin.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"

namespace support {
namespace {

class OneResourcePlugin : public plugins::BasePlugin {
 public:
  OneResourcePlugin(http::HTTPCommand* command, const plugins::BasePluginProxy* proxy, FakePlugin::Handler handler)
      : BasePlugin(command, proxy) {
    addPluginApi(0, [command, serve = std::move(handler)](const std::map<std::string, std::string>& parameters,
                                                          const json::Object& body, json::Object& response) {
      return serve(Request{*command, parameters, body}, response);
    });
  }
};

class OneResourceProxy : public plugins::BasePluginProxy {
 public:
  OneResourceProxy(const launcher::PluginManager* manager, const http::RestApi& api, FakePlugin::Handler handler)
      : BasePluginProxy(manager), mHandler(std::move(handler)) {
    mSupportedRestApis.push_back(api);
  }

  plugins::BasePlugin* createPlugin(http::HTTPCommand* command) override {
    return new OneResourcePlugin(command, this, mHandler);
  }

 private:
  const FakePlugin::Handler mHandler;
};

}  // namespace

ManagerGuard::ManagerGuard(std::string version)
    : mManager(std::move(version)), mBefore(launcher::PluginManager::set_instance(&mManager)) {}

ManagerGuard::~ManagerGuard() {
  launcher::PluginManager::set_instance(mBefore);
}

std::string Request::parameter(const std::string& name) const {
  const auto found = parameters.find(name);
  return found == parameters.end() ? std::string() : found->second;
}

FakePlugin::FakePlugin() : mManager(launcher::PluginManager::get_instance()) {}

FakePlugin::~FakePlugin() {
  unregister();
}

FakePlugin& FakePlugin::serve(const http::RestApi& api, Handler handler) {
  return add(api, std::move(handler), false);
}

FakePlugin& FakePlugin::serveInProcess(const http::RestApi& api, Handler handler) {
  return add(api, std::move(handler), true);
}

FakePlugin& FakePlugin::get(const std::string& uriTemplate, Handler handler) {
  return serve(http::RestApi(http::RestApi::GET, uriTemplate, false), std::move(handler));
}

FakePlugin& FakePlugin::post(const std::string& uriTemplate, Handler handler) {
  return serve(http::RestApi(http::RestApi::POST, uriTemplate, false), std::move(handler));
}

void FakePlugin::unregister() {
  mManager->unregister(std::exchange(mProxies, {}));
}

FakePlugin& FakePlugin::add(const http::RestApi& api, Handler handler, bool inProcess) {
  auto proxy = std::make_unique<OneResourceProxy>(mManager, api, std::move(handler));
  const bool taken =
      inProcess ? mManager->registerInProcess(api, proxy.get()) : mManager->registerPluginProxys(api, proxy.get());
  if (!taken) throw std::logic_error("the manager refused " + api.to_string());
  mProxies.push_back(proxy.release());
  return *this;
}

}  // namespace support
