#include "framework/launcher/PluginManager.h"

#include <atomic>
#include <exception>
#include <utility>

#include "framework/http/Command.h"
#include "framework/http/StatusBlock.h"
#include "framework/launcher/Dispatch.h"
#include "framework/launcher/SessionUpdate.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"
#include "framework/utils/Log.h"

namespace launcher {
namespace {

using http::HTTPCommand;

/// The manager in place. Until somebody says otherwise it is one that is never destroyed.
std::atomic<PluginManager*>& instance() {
  static std::atomic<PluginManager*> manager = new PluginManager;
  return manager;
}

/// Keeps the registry that plug-ins read in step with the managers' tables; several managers may exist in tests.
std::mutex gRegistryMutex;

void enterRegistry(const http::RestApi& api, plugins::BasePluginProxy* proxy) {
  const std::lock_guard lock(gRegistryMutex);
  plugins::BasePlugin::getRegisteredRestApis().emplace(api, proxy);
}

void leaveRegistry(const http::RestApi& api, const plugins::BasePluginProxy* proxy) {
  const std::lock_guard lock(gRegistryMutex);
  auto& registry = plugins::BasePlugin::getRegisteredRestApis();
  const auto entry = registry.find(api);
  if (entry != registry.end() && entry->second == proxy) registry.erase(entry);
}

/// A request counts as running in its proxy for as long as one of these lives.
class Running {
 public:
  explicit Running(std::shared_ptr<ProxyUse> use) : mUse(std::move(use)) { mUse->enter(); }
  ~Running() { mUse->leave(); }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  const std::shared_ptr<ProxyUse> mUse;
};

void answerNotFound(HTTPCommand& command, bool otherVerb) {
  if (otherVerb) {
    http::answer(command, HTTPCommand::HTTP_METHOD_NOT_ALLOWED,
                 std::string("The resource has no ") + http::verbName(command.getRestApi().verb()));
  } else {
    http::answer(command, HTTPCommand::HTTP_NOT_FOUND, "There is no such resource");
  }
}

}  // namespace

PluginManager::PluginManager(std::string version) : mVersion(std::move(version)) {}

PluginManager::~PluginManager() {
  unregister(mResources.proxies());
}

PluginManager* PluginManager::get_instance() {
  return instance();
}

PluginManager* PluginManager::set_instance(PluginManager* manager) {
  return instance().exchange(manager);
}

bool PluginManager::registerPluginProxys(const http::RestApi& api, plugins::BasePluginProxy* proxy) {
  return add(api, proxy, false);
}

bool PluginManager::registerInProcess(const http::RestApi& api, plugins::BasePluginProxy* proxy) {
  return add(api, proxy, true);
}

bool PluginManager::add(const http::RestApi& api, plugins::BasePluginProxy* proxy, bool inProcess) {
  const std::unique_lock lock(mMutex);
  if (!mResources.add(api, proxy, inProcess)) return false;
  enterRegistry(api, proxy);
  return true;
}

HTTPCommand* PluginManager::getDummyHTTPCommand() const {
  return new http::Command;
}

HTTPCommand::HTTPStatus_ PluginManager::execute(HTTPCommand* command) {
  if (command == nullptr) return HTTPCommand::HTTP_BAD_REQUEST;
  try {
    const SessionUpdate session(command);
    run(*command);
    return command->getHTTPStatus();
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "PluginManager:execute: failed:%1%") % error.what();
  } catch (...) {
    utils::formatted_log_t(utils::LOG_ERROR, "PluginManager:execute: failed");
  }
  command->setHTTPStatus(HTTPCommand::HTTP_INTERNAL_SERVER_ERROR);
  return HTTPCommand::HTTP_INTERNAL_SERVER_ERROR;
}

void PluginManager::run(HTTPCommand& command) {
  command.getResponseBody() = json::Object();
  command.setHTTPStatus(HTTPCommand::HTTP_NONE);
  std::shared_lock lock(mMutex);
  auto match = mResources.match(command.getRestApi().verb(), command.getRestApi().uri(), command.getOrigin());
  if (!match.resource) {
    lock.unlock();
    return answerNotFound(command, match.otherVerb);
  }
  const Running running(match.resource->use);  // before the lock ends, so that no `unregister` overlooks it
  lock.unlock();
  command.setMatch(match.resource->api, std::move(match.parameters));
  runPlugin(*match.resource->use->proxy(), command);
}

std::shared_ptr<const http::RestApi> PluginManager::find(http::RestApi::RestVerb_ verb, const std::string& path) const {
  const std::shared_lock lock(mMutex);
  const auto resource = mResources.match(verb, path, HTTPCommand::ORIGIN_CLIENT).resource;
  return resource ? std::make_shared<const http::RestApi>(resource->api) : nullptr;
}

void PluginManager::unregister(const std::vector<plugins::BasePluginProxy*>& proxies) {
  std::vector<std::shared_ptr<ProxyUse>> uses;
  {
    const std::unique_lock lock(mMutex);
    for (const auto* proxy : proxies) {
      const auto removed = mResources.remove(proxy);
      for (const auto& resource : removed)
        leaveRegistry(resource->api, proxy);
      if (!removed.empty()) uses.push_back(removed.front()->use);
    }
  }
  for (const auto& use : uses) {
    use->waitUntilIdle();
    delete use->proxy();
  }
}

}  // namespace launcher
