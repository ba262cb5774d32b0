#include "host/security/SessionRoutes.h"

#include <optional>
#include <utility>
#include <variant>

#include "host/IsoTime.h"
#include "host/security/Answers.h"
#include "host/security/Origin.h"
#include "host/security/Work.h"
#include "json/lookup.h"
#include "state/Password.h"

namespace host {
namespace {

constexpr const char* kWrong = "The user name or the password is wrong";
constexpr const char* kUnusable = "The accounts cannot be used; the log of the server says why";

}  // namespace

SessionRoutes::SessionRoutes(Parts parts, std::string cookiePath) : mParts(parts), mCookiePath(std::move(cookiePath)) {}

void SessionRoutes::addTo(Routes& routes) {
  using Done = Service::Done;
  routes.add("GET", "/1.0/session", [this](ClientRequest request, Done done) { done(show(request)); });
  routes.add("POST", "/1.0/session",
             [this](ClientRequest request, Done done) { login(std::move(request), std::move(done)); });
  routes.add("DELETE", "/1.0/session", [this](ClientRequest request, Done done) { done(logout(request)); });
  routes.add("POST", "/1.0/setup",
             [this](ClientRequest request, Done done) { setup(std::move(request), std::move(done)); });
}

Answer SessionRoutes::show(const ClientRequest& request) {
  const auto session = request.user.empty() ? std::nullopt : mParts.sessions.find(sessionIdOf(request));
  const bool isOwn = session && session->user == request.user;
  return valueAnswer(valueOf(request.user, request.role, isOwn ? &*session : nullptr, setupState(request)));
}

namespace {

/// User and password of a body; the answer is a refusal.
template <typename Credentials>
std::variant<Credentials, Answer> readCredentials(const std::string& body) {
  auto document = readShortBody(body);
  if (auto* refusal = std::get_if<Answer>(&document)) return std::move(*refusal);
  const auto& object = std::get<json::Object>(document);
  Credentials read{json::textAt(object, {"user"}), json::textAt(object, {"password"})};
  if (!read.user.empty() && !read.password.empty()) return read;
  return failureAnswer(400, "Give the texts \"user\" and \"password\"");
}

}  // namespace

void SessionRoutes::login(ClientRequest request, Service::Done done) {
  auto read = readCredentials<Credentials>(request.body);
  if (auto* refusal = std::get_if<Answer>(&read)) return done(std::move(*refusal));
  const auto& credentials = std::get<Credentials>(read);
  const std::string throttled = state::userNameProblem(credentials.user) ? "" : credentials.user;
  if (const auto wait = mParts.throttle.admit(throttled, request.remoteAddress)) {
    Audit::loginPutOff(called(credentials.user), request.remoteAddress, static_cast<long>(wait->count()));
    return done(
        laterAnswer(429, "Too many logins have failed: try again in " + std::to_string(wait->count()) + " s", *wait));
  }
  const bool taken = workOn(mParts.lane, done, [this, request, credentials] {  //
    return verify(request, credentials);
  });
  if (!taken) mParts.throttle.withdrawn(throttled, request.remoteAddress);
}

Answer SessionRoutes::verify(const ClientRequest& request, const Credentials& credentials) {
  const std::string throttled = state::userNameProblem(credentials.user) ? "" : credentials.user;
  const auto account = mParts.accounts.verify(credentials.user, credentials.password);
  if (account) {
    mParts.throttle.succeeded(throttled, request.remoteAddress);
    return loggedIn(request, credentials.user, *account);
  }
  if (!mParts.identifier.accounts().problem.empty()) {
    mParts.throttle.withdrawn(throttled, request.remoteAddress);
    return failureAnswer(503, kUnusable);
  }
  const std::string name = called(credentials.user);
  Audit::loginFailed(name, request.remoteAddress);
  if (mParts.throttle.isLockedOut(throttled, request.remoteAddress)) Audit::lockedOut(name, request.remoteAddress);
  return failureAnswer(401, kWrong);
}

Answer SessionRoutes::loggedIn(const ClientRequest& request, const std::string& user, const state::Account& account) {
  const std::string before = sessionIdOf(request);
  if (!before.empty()) mParts.sessions.close(before);
  const LoginSession session = mParts.sessions.open(user, account.passwordHash);
  Audit::note(user + " has logged in from " + request.remoteAddress);
  const Role own = roleNamed(account.role).value_or(Role::kNobody);
  Answer answer = valueAnswer(valueOf(user, std::max(own, mParts.identifier.anonymous()), &session, "done"));
  answer.headers.emplace_back("Set-Cookie", cookie(request, session.id));
  return answer;
}

Answer SessionRoutes::logout(const ClientRequest& request) {
  const auto session = mParts.sessions.find(sessionIdOf(request));
  if (session && session->user == request.user) {
    mParts.sessions.close(session->id);
    Audit::note(request.user + " has logged out from " + request.remoteAddress);
  }
  Answer answer = doneAnswer();
  answer.headers.emplace_back("Set-Cookie", cookie(request, "; Max-Age=0"));
  return answer;
}

void SessionRoutes::setup(ClientRequest request, Service::Done done) {
  const auto reading = mParts.identifier.accounts();
  if (!reading.problem.empty()) return done(failureAnswer(503, kUnusable));
  if (!reading.book->accounts.empty()) return done(failureAnswer(409, "There is an account already: log in"));
  auto read = readCredentials<Credentials>(request.body);
  if (auto* refusal = std::get_if<Answer>(&read)) return done(std::move(*refusal));
  workOn(mParts.lane, done, [this, request, credentials = std::get<Credentials>(std::move(read))] {
    return makeFirst(request, credentials);
  });
}

Answer SessionRoutes::makeFirst(const ClientRequest& request, const Credentials& credentials) {
  if (const auto refusal = mParts.accounts.addFirst(credentials.user, credentials.password)) {
    return refusedAnswer(*refusal);
  }
  Audit::note("the first account, " + credentials.user + ", was made from " + request.remoteAddress);
  const auto reading = mParts.identifier.accounts();
  const auto account = reading.book->accounts.find(credentials.user);
  if (account == reading.book->accounts.end()) return failureAnswer(503, kUnusable);  // changed meanwhile
  return loggedIn(request, credentials.user, account->second);
}

json::Object SessionRoutes::valueOf(const std::string& user, Role role, const LoginSession* session,
                                    const std::string& setup) const {
  json::Object value;
  value["user"] = json::String(user);
  value["role"] = json::String(std::string(roleName(role)));
  value["csrfToken"] = json::String(session != nullptr ? session->csrfToken : "");
  value["expires"] = json::String(session != nullptr ? isoTime(session->expires) : "");
  value["setup"] = json::String(setup);
  return value;
}

std::string SessionRoutes::setupState(const ClientRequest& request) {
  if (!mParts.identifier.needsAccount()) return "done";
  return isLocal(request) ? "open" : "loopback";
}

std::string SessionRoutes::cookie(const ClientRequest& request, const std::string& content) const {
  return std::string(http::SessionCookie::kName) + "=" + content + "; Path=" + mCookiePath +
         "; HttpOnly; SameSite=Strict" + (request.isSecure ? "; Secure" : "");
}

std::string SessionRoutes::called(const std::string& user) {
  return mParts.identifier.accounts().book->accounts.contains(user) ? user : "an unknown user";
}

}  // namespace host
