#include "host/http/Dispatcher.h"

#include <algorithm>
#include <array>
#include <exception>
#include <memory>
#include <utility>

#include "framework/http/Command.h"
#include "framework/launcher/PluginManager.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "framework/utils/Shutdown.h"
#include "json/writer.h"

namespace host {
namespace {

using http::RestApi;

constexpr std::array kVerbs{RestApi::GET, RestApi::POST, RestApi::PUT, RestApi::DELETE};
constexpr const char* kInternalError = "Internal error: the server's log says more";

Answer busy(const std::string& text) {
  Answer answer = failureAnswer(503, text);
  answer.headers.emplace_back("Retry-After", "1");
  return answer;
}

Answer toAnswer(http::Command& command) {
  const int status = command.getHTTPStatus();
  if (status >= 400 && command.getResponseBody().Empty()) return failureAnswer(status, kInternalError);
  Answer answer;
  answer.status = status;
  json::Writer::Write(std::as_const(command.getResponseBody()), answer.body);
  return answer;
}

/// The whole of one request, on a lane's thread.
Answer run(launcher::PluginManager& manager, const Aim& aim, ClientRequest&& request) {
  auto body = readBody(request.body);
  if (auto* refusal = std::get_if<Answer>(&body)) return std::move(*refusal);
  http::Command command(http::Command::Request{aim.verb, std::move(request.target), aim.path,
                                               std::move(request.cookies), std::move(request.remoteAddress),
                                               std::move(std::get<json::Object>(body))});
  manager.execute(&command);
  return toAnswer(command);
}

Answer runGuarded(launcher::PluginManager& manager, const Aim& aim, ClientRequest&& request) {
  try {
    return run(manager, aim, std::move(request));
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "Dispatcher:serve: %1% failed:%2%") % aim.path % error.what();
    return failureAnswer(500, kInternalError);
  }
}

}  // namespace

Dispatcher::Dispatcher(launcher::PluginManager& manager, const launcher::Preferences& preferences, const Limits& limits,
                       std::vector<std::string> prompt)
    : mManager(manager),
      mPreferences(preferences),
      mPromptTemplates(std::move(prompt)),
      mPrompt("kvt-prompt", limits.promptThreads, limits.promptBacklog),
      mReads("kvt-reads", limits.readThreads, limits.readBacklog),
      mActions("kvt-actions", limits.actionThreads, limits.actionBacklog) {}

Dispatcher::~Dispatcher() = default;

void Dispatcher::serve(ClientRequest request, Done done) {
  if (utils::shutdown::inProgress()) {
    Answer answer = busy("The server is shutting down: try again when it is back");
    answer.close = true;
    return done(std::move(answer));
  }
  auto read = readAim(request, mPreferences.get_uri_prefix());
  if (auto* refusal = std::get_if<Answer>(&read)) return done(std::move(*refusal));
  const Aim& aim = std::get<Aim>(read);
  const auto api = aim.knownVerb ? mManager.find(aim.verb, aim.path) : nullptr;
  if (!api) return done(refuse(aim));
  // A job must be copyable, so what it holds is shared.
  auto work = std::make_shared<std::pair<Aim, ClientRequest>>(aim, std::move(request));
  const bool taken = laneOf(*api).submit([this, work, done] {  //
    done(runGuarded(mManager, work->first, std::move(work->second)));
  });
  if (taken) return;
  utils::formatted_log_t(utils::LOG_DETAIL, "Dispatcher:serve: backlog full, refused %1%") % api->to_string();
  done(busy("The server is busy: try again in a second"));
}

std::chrono::milliseconds Dispatcher::longestWait() const {
  return std::max({mPrompt.longestWait(), mReads.longestWait(), mActions.longestWait()});
}

std::map<std::string, std::size_t> Dispatcher::waiting() const {
  return {{"prompt", mPrompt.waiting()}, {"read", mReads.waiting()}, {"action", mActions.waiting()}};
}

void Dispatcher::close() {
  mActions.close();
  mReads.close();
  mPrompt.close();
}

Answer Dispatcher::refuse(const Aim& aim) const {
  const std::string methods = allowedMethods(aim.path);
  if (methods.empty()) return failureAnswer(404, "There is no such resource: /openapi.json lists those that there are");
  Answer answer = failureAnswer(405, "The resource takes " + methods);
  answer.headers.emplace_back("Allow", methods);
  return answer;
}

std::string Dispatcher::allowedMethods(const std::string& path) const {
  std::string methods;
  for (const auto verb : kVerbs) {
    if (mManager.find(verb, path) == nullptr) continue;
    if (!methods.empty()) methods += ", ";
    methods += verb == RestApi::GET ? "GET, HEAD" : http::verbName(verb);
  }
  return methods;
}

Lane& Dispatcher::laneOf(const RestApi& api) {
  if (std::find(mPromptTemplates.begin(), mPromptTemplates.end(), api.uri()) != mPromptTemplates.end()) return mPrompt;
  return api.verb() == RestApi::GET ? mReads : mActions;
}

}  // namespace host
