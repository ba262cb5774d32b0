#pragma once

#include <functional>
#include <map>
#include <string>

#include "framework/http/HTTPCommand.h"
#include "framework/http/RestApi.h"
#include "json/elements.h"

namespace plugins {

class BasePluginProxy;

/// The object that serves one command on one thread. A plug-in derives from it and binds a handler to each of its
/// resources; `doGET` and its siblings find the handler of the command's resource and call it. Command and proxy belong
/// to others and outlive the object.
class BasePlugin {
 public:
  using Handler = std::function<http::HTTPCommand::HTTPStatus_(const std::map<std::string, std::string>& parameters,
                                                               const json::Object& request, json::Object& response)>;

  // The order of these is part of the contract.

  /// Run the handler bound to the command's resource and leave its status in the command. What a handler throws passes
  /// through. A resource without a handler answers 404.
  virtual void doGET();
  virtual void doPOST();
  virtual void doPUT();
  virtual void doDELETE();
  virtual ~BasePlugin();

  /// The registry of all resources with their proxies. Changed only by the plug-in manager.
  static std::map<const http::RestApi, BasePluginProxy*>& getRegisteredRestApis();

  /// Run another resource of the host in this process and fill `response` with its body. 400 when there is no manager
  /// or no command to run it with.
  http::HTTPCommand::HTTPStatus_ executePlugin(const http::RestApi* api, json::Object& response) const;
  http::HTTPCommand::HTTPStatus_ executePlugin(const http::RestApi* api, const json::Object& request,
                                               json::Object& response) const;

 protected:
  BasePlugin(http::HTTPCommand* command, const BasePluginProxy* proxy);
  BasePlugin(const BasePlugin&) = delete;
  BasePlugin& operator=(const BasePlugin&) = delete;

  /// Binds the handler of the resource at position `id` of the proxy's supported list.
  void addPluginApi(unsigned int id, Handler handler);
  http::HTTPCommand* getHTTPCommand() const { return mCommand; }
  /// For an object that outlives its command: it then runs no other resource.
  void forgetCommand() { mCommand = nullptr; }

 private:
  void dispatch();

  http::HTTPCommand* mCommand;
  const BasePluginProxy* mProxy;
  std::map<unsigned int, Handler> mHandlers;
};

}  // namespace plugins
