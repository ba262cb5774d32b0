#include "host/security/TokenRoutes.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <variant>

#include "host/security/Answers.h"
#include "host/security/Work.h"
#include "json/lookup.h"

namespace host {
namespace {

json::Object shown(const state::Token& token) {
  json::Object value;
  value["name"] = json::String(token.name);
  value["user"] = json::String(token.user);
  value["role"] = json::String(token.role);
  value["created"] = json::String(token.created);
  value["lastUsed"] = json::String(token.lastUsed);
  return value;
}

}  // namespace

void TokenRoutes::addTo(Routes& routes) {
  using Done = Service::Done;
  routes.add("GET", "/1.0/tokens", [this](ClientRequest request, Done done) { done(list(request)); });
  routes.add("POST", "/1.0/tokens",
             [this](ClientRequest request, Done done) { add(std::move(request), std::move(done)); });
  routes.add("DELETE", "/1.0/tokens/{name}",
             [this](ClientRequest request, Done done) { remove(std::move(request), std::move(done)); });
}

Answer TokenRoutes::list(const ClientRequest& request) {
  json::Array tokens;
  for (const state::Token& token : mParts.identifier.accounts().book->tokens) {
    if (token.user == request.user || request.role == Role::kOperator) tokens.Insert(shown(token));
  }
  return valueAnswer(tokens);
}

Role TokenRoutes::roleOf(const std::string& token, const std::string& user) {
  const auto reading = mParts.identifier.accounts();
  const auto account = reading.book->accounts.find(user);
  const auto& tokens = reading.book->tokens;
  const auto found = std::find_if(tokens.begin(), tokens.end(),
                                  [&](const state::Token& each) { return each.name == token && each.user == user; });
  if (account == reading.book->accounts.end() || found == tokens.end()) return Role::kNobody;
  return std::min(roleNamed(account->second.role), roleNamed(found->role)).value_or(Role::kNobody);
}

void TokenRoutes::add(ClientRequest request, Service::Done done) {
  auto body = readShortBody(request.body);
  if (auto* refusal = std::get_if<Answer>(&body)) return done(std::move(*refusal));
  const auto& object = std::get<json::Object>(body);
  const std::string name = json::textAt(object, {"name"});
  const std::string role = json::textAt(object, {"role"});
  const auto wanted = roleNamed(role);
  if (wanted && *wanted > request.role) {
    return done(failureAnswer(403, "A token allows at most what you may: " + std::string(roleName(request.role))));
  }
  workOn(mParts.lane, done, [this, user = request.user, from = request.remoteAddress, name, role] {
    auto made = mParts.accounts.addToken(name, user, role);
    if (const auto* refusal = std::get_if<state::Accounts::Refusal>(&made)) return refusedAnswer(*refusal);
    Audit::note(user + " has made the token " + name + " (" + role + ") from " + from);
    json::Object value;
    value["name"] = json::String(name);
    value["role"] = json::String(role);
    value["token"] = json::String(std::get<std::string>(std::move(made)));
    return valueAnswer(value);
  });
}

void TokenRoutes::remove(ClientRequest request, Service::Done done) {
  if (roleOf(request.pathParameter, request.user) > request.role) {
    return done(failureAnswer(403, "That token allows more than what you may: " + std::string(roleName(request.role))));
  }
  const std::string owner = request.role == Role::kOperator ? "" : request.user;
  workOn(mParts.lane, done,
         [this, owner, user = request.user, from = request.remoteAddress, name = request.pathParameter] {
           if (const auto refusal = mParts.accounts.removeToken(name, owner)) return refusedAnswer(*refusal);
           Audit::note(user + " has removed the token " + name + " from " + from);
           return doneAnswer();
         });
}

}  // namespace host
