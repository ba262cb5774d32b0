#include "support/Requests.h"

#include <memory>

#include "framework/http/Command.h"
#include "framework/launcher/PluginManager.h"
#include "json/reader.h"
#include "json/writer.h"

namespace support {
namespace {

Answer execute(http::HTTPCommand& command) {
  const auto status = launcher::PluginManager::get_instance()->execute(&command);
  return {status, command.getResponseBody()};
}

}  // namespace

json::Object parsed(std::string_view text) {
  json::Object object;
  json::Reader::Read(object, text);
  return object;
}

std::string written(const json::Object& object) {
  std::string text;
  json::Writer::Write(object, text);
  return text;
}

Answer request(http::RestApi::RestVerb_ verb, const std::string& path, const json::Object& body,
               const std::string& cookies) {
  http::Command command(http::Command::Request{verb, path, path, cookies, "192.0.2.99", body});
  return execute(command);
}

Answer requestInProcess(http::RestApi::RestVerb_ verb, const std::string& path, const json::Object& body) {
  http::Command origin;
  const http::RestApi api(verb, path, false);
  json::Object response;
  const std::unique_ptr<http::HTTPCommand> command(origin.createCommand(&api, body, response));
  return execute(*command);
}

}  // namespace support
