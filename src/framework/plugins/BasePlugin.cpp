#include "framework/plugins/BasePlugin.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "framework/launcher/PluginManager.h"
#include "framework/plugins/BasePluginProxy.h"

namespace plugins {
namespace {

using HTTPCommand = http::HTTPCommand;

/// Runs a command that somebody made for us, deletes it, and hands its body over.
HTTPCommand::HTTPStatus_ run(std::unique_ptr<HTTPCommand> command, json::Object& response) {
  launcher::PluginManager* const manager = launcher::PluginManager::get_instance();
  if (manager == nullptr || command == nullptr) return HTTPCommand::HTTP_BAD_REQUEST;
  const HTTPCommand::HTTPStatus_ status = manager->execute(command.get());
  response = std::move(command->getResponseBody());
  return status;
}

}  // namespace

BasePlugin::BasePlugin(HTTPCommand* command, const BasePluginProxy* proxy) : mCommand(command), mProxy(proxy) {}

BasePlugin::~BasePlugin() = default;

void BasePlugin::doGET() {
  dispatch();
}
void BasePlugin::doPOST() {
  dispatch();
}
void BasePlugin::doPUT() {
  dispatch();
}
void BasePlugin::doDELETE() {
  dispatch();
}

std::map<const http::RestApi, BasePluginProxy*>& BasePlugin::getRegisteredRestApis() {
  static auto* const registry = new std::map<const http::RestApi, BasePluginProxy*>;  // outlives every plug-in
  return *registry;
}

void BasePlugin::addPluginApi(unsigned int id, Handler handler) {
  mHandlers[id] = std::move(handler);
}

HTTPCommand::HTTPStatus_ BasePlugin::executePlugin(const http::RestApi* api, json::Object& response) const {
  if (mCommand == nullptr) return HTTPCommand::HTTP_BAD_REQUEST;
  return run(std::unique_ptr<HTTPCommand>(mCommand->createCommand(api)), response);
}

HTTPCommand::HTTPStatus_ BasePlugin::executePlugin(const http::RestApi* api, const json::Object& request,
                                                   json::Object& response) const {
  if (mCommand == nullptr) return HTTPCommand::HTTP_BAD_REQUEST;
  json::Object body;  // `response` may be `request`
  return run(std::unique_ptr<HTTPCommand>(mCommand->createCommand(api, request, body)), response);
}

void BasePlugin::dispatch() {
  if (mCommand == nullptr) return;
  mCommand->setHTTPStatus(HTTPCommand::HTTP_NOT_FOUND);
  if (mProxy == nullptr) return;
  const auto& supported = mProxy->getSupportedRestApis();
  const auto api = std::find(supported.begin(), supported.end(), mCommand->getRestApi());
  const auto handler = mHandlers.find(static_cast<unsigned int>(api - supported.begin()));
  if (api == supported.end() || handler == mHandlers.end() || !handler->second) return;
  mCommand->setHTTPStatus(
      handler->second(mCommand->getPathParameters(), mCommand->getRequestBody(), mCommand->getResponseBody()));
}

}  // namespace plugins
