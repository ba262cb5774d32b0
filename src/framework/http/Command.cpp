#include "framework/http/Command.h"

#include <utility>

namespace http {
namespace {

constexpr const char* kRequestUri = "REQUEST_URI";
constexpr const char* kRequestMethod = "REQUEST_METHOD";
constexpr const char* kRemoteAddress = "REMOTE_ADDR";
constexpr const char* kCookies = "HTTP_COOKIE";

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view unquoted(std::string_view text) {
  const bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

}  // namespace

Command::Command() : mOrigin(ORIGIN_PROCESS), mApi(RestApi::GET, "", false), mResponse(&mOwnResponse) {}

Command::Command(Request request)
    : mOrigin(ORIGIN_CLIENT),
      mApi(request.verb, std::move(request.path), false),
      mRequestBody(std::move(request.body)),
      mResponse(&mOwnResponse) {
  mVariables[kRequestUri] = std::move(request.target);
  mVariables[kRequestMethod] = verbName(request.verb);
  mVariables[kRemoteAddress] = std::move(request.remoteAddress);
  setCookie(std::move(request.cookies));
}

Command::Command(const RestApi& api, json::Object request, json::Object* response)
    : mOrigin(ORIGIN_PROCESS),
      mApi(api),
      mRequestBody(std::move(request)),
      mResponse(response != nullptr ? response : &mOwnResponse) {
  mVariables[kRequestUri] = api.uri();
  mVariables[kRequestMethod] = verbName(api.verb());
}

const SessionCookie* Command::getSessionCookie() const {
  return mSessionCookie ? &*mSessionCookie : nullptr;
}

std::string Command::getRequestVariable(std::string name) {
  const auto variable = mVariables.find(name);
  return variable == mVariables.end() ? std::string() : variable->second;
}

json::Object& Command::getResponseBody() {
  return *mResponse;
}

HTTPCommand::HTTPStatus_ Command::getHTTPStatus() {
  return mStatus;
}

void Command::setURI(std::string uri) {
  mApi = RestApi(mApi.verb(), uri, mApi.flag());
  mVariables[kRequestUri] = std::move(uri);
}

HTTPCommand* Command::createCommand(const RestApi* api, json::Object request, json::Object& response) {
  return api == nullptr ? nullptr : new Command(*api, std::move(request), &response);
}

HTTPCommand* Command::createCommand(const RestApi* api) {
  return api == nullptr ? nullptr : new Command(*api, json::Object(), nullptr);
}

void Command::setCookie(std::string cookie) {
  if (cookie.empty()) return;
  std::string& cookies = mVariables[kCookies];
  if (!cookies.empty()) cookies += "; ";
  cookies += cookie;
  auto session = cookieValue(cookies, SessionCookie::kName);
  mSessionCookie.reset();
  if (session && !session->empty()) mSessionCookie.emplace(std::move(*session));
}

HTTPCommand::Origin_ Command::getOrigin() const {
  return mOrigin;
}

const RestApi& Command::getRestApi() const {
  return mApi;
}

const json::Object& Command::getRequestBody() const {
  return mRequestBody;
}

const std::map<std::string, std::string>& Command::getPathParameters() const {
  return mPathParameters;
}

void Command::setMatch(const RestApi& api, std::map<std::string, std::string> parameters) {
  mApi = api;
  mPathParameters = std::move(parameters);
}

void Command::setHTTPStatus(HTTPStatus_ status) {
  mStatus = status;
}

std::optional<std::string> cookieValue(std::string_view header, std::string_view name) {
  while (!header.empty()) {
    const auto semicolon = header.find(';');
    const std::string_view pair = header.substr(0, semicolon);
    header = semicolon == std::string_view::npos ? std::string_view() : header.substr(semicolon + 1);
    const auto equals = pair.find('=');
    if (equals == std::string_view::npos || trimmed(pair.substr(0, equals)) != name) continue;
    return std::string(unquoted(trimmed(pair.substr(equals + 1))));
  }
  return std::nullopt;
}

}  // namespace http
