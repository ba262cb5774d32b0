#include "host/events/EventSource.h"

#include <memory>
#include <utility>

#include "framework/http/HTTPCommand.h"
#include "framework/launcher/PluginManager.h"
#include "json/lookup.h"

namespace host {
namespace {

/// What GET of a path answers; nothing when it is no success.
std::optional<json::Object> read(launcher::PluginManager& manager, const char* path) {
  const std::unique_ptr<http::HTTPCommand> command(manager.getDummyHTTPCommand());
  command->setURI(path);
  if (manager.execute(command.get()) != http::HTTPCommand::HTTP_OK) return std::nullopt;
  return command->getResponseBody();
}

}  // namespace

EventSource resourceEvents(launcher::PluginManager& manager) {
  EventSource source;
  source.servers = [&manager]() -> std::optional<json::Array> {
    const auto answer = read(manager, "/1.0/servers");
    const auto* values = answer ? json::arrayAt(*answer, {"values"}) : nullptr;
    return values == nullptr ? std::nullopt : std::optional(*values);
  };
  source.status = [&manager]() -> std::optional<json::Object> {
    const auto answer = read(manager, "/1.0/status");
    const auto* value = answer ? json::objectAt(*answer, {"value"}) : nullptr;
    return value == nullptr ? std::nullopt : std::optional(*value);
  };
  return source;
}

}  // namespace host
