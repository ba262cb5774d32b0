#include "host/security/Gate.h"

#include <optional>
#include <utility>
#include <variant>

#include "host/http/RequestHead.h"
#include "host/http/Translate.h"
#include "host/security/Audit.h"
#include "host/security/Origin.h"
#include "state/Secrets.h"

namespace host {
namespace {

constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;

Answer unauthorized(const std::string& text) {
  Answer answer = failureAnswer(kUnauthorized, text);
  answer.headers.emplace_back("WWW-Authenticate", "Bearer");
  return answer;
}

/// Whether the identity may do that at all; the answer is a refusal.
std::optional<Answer> refusal(Need need, const Identity& identity, const ClientRequest& request) {
  if (need == Need::kNothing) return std::nullopt;
  if (need == Need::kLoopback) {
    if (isLocal(request)) return std::nullopt;
    return failureAnswer(kForbidden, "This can be done on the server itself only, by its address localhost");
  }
  if (identity.hasWrongToken) return unauthorized("There is no such token: it is wrong, or was removed");
  const Role least = need == Need::kOperator ? Role::kOperator : Role::kViewer;
  if (need == Need::kLogin && identity.user.empty()) return unauthorized("Log in first");
  if (identity.role >= least) return std::nullopt;
  if (identity.user.empty()) return unauthorized("Log in first");
  return failureAnswer(kForbidden, "That takes the role " + std::string(roleName(least)) + ", and " + identity.user +
                                       " has the role " + std::string(roleName(identity.role)));
}

/// A write must come from our own page, or from no page at all.
std::optional<Answer> forgery(Need need, const Identity& identity, const ClientRequest& request) {
  if (isRead(request.method)) return std::nullopt;
  const std::string foreign = foreignOrigin(request);
  if (!foreign.empty()) return failureAnswer(kForbidden, "The request was refused: " + foreign);
  if (need == Need::kNothing || need == Need::kLoopback || !identity.session) return std::nullopt;
  if (state::isSame(request.headers.csrfToken, identity.session->csrfToken)) return std::nullopt;
  return failureAnswer(kForbidden,
                       "The header X-CSRF-Token is missing or wrong: send the csrfToken that GET /1.0/session tells");
}

std::string who(const Identity& identity, const ClientRequest& request) {
  return (identity.user.empty() ? "somebody who is not logged in" : identity.user) + " from " + request.remoteAddress;
}

/// Tells the log who has changed what, once it is answered.
Service::Done noted(const std::string& who, const ClientRequest& request, Service::Done done) {
  std::string text = who + ": " + request.method + " " + printable(request.target) + " " + printable(request.body);
  return [text = std::move(text), done = std::move(done)](Answer answer) {
    Audit::note(text + " was answered " + std::to_string(answer.status));
    done(std::move(answer));
  };
}

}  // namespace

Gate::Gate(Identifier& identifier, std::string uriPrefix, Service& next, TokenUsed tokenUsed)
    : mIdentifier(identifier), mUriPrefix(std::move(uriPrefix)), mNext(next), mTokenUsed(std::move(tokenUsed)) {}

void Gate::serve(ClientRequest request, Done done) {
  auto read = readAim(request, mUriPrefix);
  if (auto* malformed = std::get_if<Answer>(&read)) return done(std::move(*malformed));
  const std::string& path = std::get<Aim>(read).path;
  const Need need = needOf(request.method, path);
  Identity identity = mIdentifier.identify(request);
  auto refused = forgery(need, identity, request);
  if (!refused) refused = refusal(need, identity, request);
  if (refused) {
    if (!isRead(request.method)) {
      Audit::writeRefused(request.method + " " + path, who(identity, request), refused->status);
    }
    return done(std::move(*refused));
  }
  if (!identity.usedToken.empty()) mTokenUsed(identity.usedToken);
  if (identity.session) mIdentifier.noteUse(*identity.session);
  if (need == Need::kOperator && !isRead(request.method))
    done = noted(who(identity, request), request, std::move(done));
  request.user = std::move(identity.user);
  request.role = identity.role;
  request.isStillAllowed = std::move(identity.holds);
  mNext.serve(std::move(request), std::move(done));
}

}  // namespace host
