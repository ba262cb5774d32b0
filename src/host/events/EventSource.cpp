#include "host/events/EventSource.h"

#include <memory>

#include "framework/http/HTTPCommand.h"
#include "framework/launcher/PluginManager.h"
#include "json/lookup.h"

namespace host {

std::optional<json::Array> listServers(launcher::PluginManager& manager) {
  const std::unique_ptr<http::HTTPCommand> command(manager.getDummyHTTPCommand());
  command->setURI("/1.0/servers");
  if (manager.execute(command.get()) != http::HTTPCommand::HTTP_OK) return std::nullopt;
  const auto* values = json::arrayAt(std::as_const(command->getResponseBody()), {"values"});
  if (values == nullptr) return std::nullopt;
  return *values;
}

}  // namespace host
