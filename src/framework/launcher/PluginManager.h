#pragma once

#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include "framework/http/HTTPCommand.h"
#include "framework/http/RestApi.h"
#include "framework/launcher/ResourceTable.h"

namespace plugins {
class BasePluginProxy;
}

namespace launcher {

/// The registry of resources and the dispatch of commands to them. Safe for every thread. One per process, reached
/// through `get_instance`; the host makes it before it loads a library, and it outlives every plug-in.
class PluginManager {
 public:
  explicit PluginManager(std::string version = "1.00.00");
  ~PluginManager();
  PluginManager(const PluginManager&) = delete;
  PluginManager& operator=(const PluginManager&) = delete;

  /// The manager of the process: one of version "1.00.00" until `set_instance` puts another in place.
  static PluginManager* get_instance();
  /// Puts another manager in place, which the caller owns, or none (null); returns the one that was there, so that the
  /// caller can put it back.
  static PluginManager* set_instance(PluginManager* manager);

  const std::string& getVersion() const { return mVersion; }

  /// Registers `proxy` for `api`; one proxy may serve several resources. True: the manager owns the proxy from now on;
  /// false (null proxy, or a resource of that verb and template exists): the caller keeps it.
  bool registerPluginProxys(const http::RestApi& api, plugins::BasePluginProxy* proxy);

  /// A fresh command bound to no client; the caller owns it.
  http::HTTPCommand* getDummyHTTPCommand() const;

  /// Finds the resource of the command's verb and path, has its proxy make a plug-in object and runs it. The command
  /// then holds status and body, with a status block when there is no such resource (404), it has no such verb (405),
  /// or the handler threw. Never throws. Returns the command's status.
  http::HTTPCommand::HTTPStatus_ execute(http::HTTPCommand* command);

  // The substitute's own.

  /// The same as `registerPluginProxys`, for a resource that commands of clients do not find.
  bool registerInProcess(const http::RestApi& api, plugins::BasePluginProxy* proxy);
  /// The registered resource that a client's command of this verb and path reaches, if any.
  std::shared_ptr<const http::RestApi> find(http::RestApi::RestVerb_ verb, const std::string& path) const;
  /// Takes the resources of these proxies out of the registry, waits until no request runs in them, and deletes them.
  /// Must not be called from a request of one of them.
  void unregister(const std::vector<plugins::BasePluginProxy*>& proxies);

 private:
  bool add(const http::RestApi& api, plugins::BasePluginProxy* proxy, bool inProcess);
  void run(http::HTTPCommand& command);

  const std::string mVersion;
  mutable std::shared_mutex mMutex;
  ResourceTable mResources;
};

}  // namespace launcher
