#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "framework/http/HTTPCommand.h"
#include "framework/http/RestApi.h"
#include "framework/launcher/PluginManager.h"
#include "json/elements.h"

namespace support {

/// A manager of the test's own, in place of the process's one for its lifetime.
class ManagerGuard {
 public:
  explicit ManagerGuard(std::string version = "1.00.00");
  ~ManagerGuard();
  ManagerGuard(const ManagerGuard&) = delete;
  ManagerGuard& operator=(const ManagerGuard&) = delete;

  launcher::PluginManager& manager() { return mManager; }

 private:
  launcher::PluginManager mManager;
  launcher::PluginManager* const mBefore;
};

/// What of a request a fake's handler may look at.
struct Request {
  http::HTTPCommand& command;
  const std::map<std::string, std::string>& parameters;
  const json::Object& body;

  std::string parameter(const std::string& name) const;
  std::string cookies() const { return command.getRequestVariable("HTTP_COOKIE"); }
};

/// Resources whose handlers are functions of the test, served by the manager that is in place when the fake is made
/// through its real dispatch. The fake takes them out again when it ends, after the last request in them; the manager
/// must outlive it.
class FakePlugin {
 public:
  using Handler = std::function<http::HTTPCommand::HTTPStatus_(const Request& request, json::Object& response)>;

  FakePlugin();
  ~FakePlugin();
  FakePlugin(const FakePlugin&) = delete;
  FakePlugin& operator=(const FakePlugin&) = delete;

  /// Throws std::logic_error when the manager refuses the resource.
  FakePlugin& serve(const http::RestApi& api, Handler handler);
  /// The same for a resource that commands of clients do not find.
  FakePlugin& serveInProcess(const http::RestApi& api, Handler handler);
  FakePlugin& get(const std::string& uriTemplate, Handler handler);
  FakePlugin& post(const std::string& uriTemplate, Handler handler);

  /// Takes the resources out before the fake's end.
  void unregister();

 private:
  FakePlugin& add(const http::RestApi& api, Handler handler, bool inProcess);

  launcher::PluginManager* const mManager;
  std::vector<plugins::BasePluginProxy*> mProxies;
};

}  // namespace support
