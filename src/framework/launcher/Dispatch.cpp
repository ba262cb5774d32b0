#include "framework/launcher/Dispatch.h"

#include <exception>
#include <memory>

#include "framework/http/StatusBlock.h"
#include "framework/plugins/BasePlugin.h"
#include "framework/plugins/BasePluginProxy.h"
#include "framework/utils/Exceptions.h"
#include "framework/utils/Log.h"

namespace launcher {
namespace {

using http::HTTPCommand;
using http::RestApi;

constexpr const char* kInternalError = "Internal error";

void run(plugins::BasePluginProxy& proxy, HTTPCommand& command) {
  const std::unique_ptr<plugins::BasePlugin> plugin(proxy.createPlugin(&command));
  if (plugin == nullptr) throw utils::AppException(__FILE_NAME__, __LINE__, "the proxy made no plug-in object");
  switch (command.getRestApi().verb()) {
    case RestApi::GET:
      return plugin->doGET();
    case RestApi::POST:
      return plugin->doPOST();
    case RestApi::PUT:
      return plugin->doPUT();
    case RestApi::DELETE:
      return plugin->doDELETE();
  }
}

/// The status that an exception asks for, unless it is none of a failure.
HTTPCommand::HTTPStatus_ failure(int asked, HTTPCommand::HTTPStatus_ otherwise) {
  return asked >= 400 && asked <= 599 ? static_cast<HTTPCommand::HTTPStatus_>(asked) : otherwise;
}

void report(HTTPCommand& command, const char* what) {
  utils::formatted_log_t(utils::LOG_ERROR, "PluginManager:execute: %1% failed:%2%") % command.getRestApi().to_string() %
      what;
  http::answer(command, HTTPCommand::HTTP_INTERNAL_SERVER_ERROR, kInternalError);
}

}  // namespace

void runPlugin(plugins::BasePluginProxy& proxy, HTTPCommand& command) {
  try {
    run(proxy, command);
    if (command.getHTTPStatus() == HTTPCommand::HTTP_NONE) report(command, "the handler left no status");
  } catch (const utils::InputException& error) {
    http::answer(command, failure(error.getErrorStatusCode(), HTTPCommand::HTTP_BAD_REQUEST),
                 error.getErrorStatusMessage());
  } catch (const utils::PluginException& error) {
    http::answer(command, failure(error.getErrorStatusCode(), HTTPCommand::HTTP_INTERNAL_SERVER_ERROR),
                 error.getErrorStatusMessage());
  } catch (const std::exception& error) {
    report(command, error.what());
  } catch (...) {
    report(command, "unknown exception");
  }
}

}  // namespace launcher
