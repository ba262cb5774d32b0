#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/http/HTTPCommand.h"
#include "framework/http/RestApi.h"

namespace plugins {
class BasePluginProxy;
}

namespace launcher {

/// A proxy and the requests that run in it. Shared by the table and those requests; safe for every thread.
class ProxyUse {
 public:
  explicit ProxyUse(plugins::BasePluginProxy* proxy) : mProxy(proxy) {}

  plugins::BasePluginProxy* proxy() const { return mProxy; }
  void enter();
  void leave();
  void waitUntilIdle();

 private:
  plugins::BasePluginProxy* const mProxy;
  std::mutex mMutex;
  std::condition_variable mIdle;
  int mRunning = 0;
};

/// The registered resources, the more literal template first, so that "/servers/new" is tried before "/servers/{id}".
/// Owns no proxy and is not guarded: that is the manager's affair.
class ResourceTable {
 public:
  struct Resource {
    http::RestApi api;
    bool inProcess;  ///< not found by commands of clients
    std::shared_ptr<ProxyUse> use;
  };
  using ResourcePtr = std::shared_ptr<const Resource>;

  struct Match {
    ResourcePtr resource;    ///< null when there is none
    bool otherVerb = false;  ///< there is none, but the path has one of another verb
    std::map<std::string, std::string> parameters;
  };

  /// False when there is a resource of that verb and template, whatever its parameters are called.
  bool add(const http::RestApi& api, plugins::BasePluginProxy* proxy, bool inProcess);
  /// Takes all resources of a proxy out and returns them.
  std::vector<ResourcePtr> remove(const plugins::BasePluginProxy* proxy);
  Match match(http::RestApi::RestVerb_ verb, const std::string& path, http::HTTPCommand::Origin_ origin) const;
  /// Every proxy once.
  std::vector<plugins::BasePluginProxy*> proxies() const;

 private:
  std::shared_ptr<ProxyUse> useOf(plugins::BasePluginProxy* proxy) const;

  std::vector<ResourcePtr> mResources;
};

}  // namespace launcher
