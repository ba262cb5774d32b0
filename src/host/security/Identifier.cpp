#include "host/security/Identifier.h"

#include <algorithm>
#include <utility>

#include "framework/http/Command.h"
#include "framework/utils/Log.h"

namespace host {
namespace {

constexpr std::string_view kBearer = "Bearer ";

Role roleOfText(const std::string& name) {
  return roleNamed(name).value_or(Role::kNobody);
}

/// RFC 6750, section 2.1; the scheme in any case (RFC 9110, section 11.1). Nothing for another scheme.
std::optional<std::string> bearerOf(const std::string& authorization) {
  const auto sameLetter = [](char a, char b) { return (a | 0x20) == (b | 0x20); };
  const bool isBearer = authorization.size() >= kBearer.size() &&
                        std::equal(kBearer.begin(), kBearer.end(), authorization.begin(), sameLetter);
  if (!isBearer) return std::nullopt;
  const auto begin = authorization.find_first_not_of(' ', kBearer.size());
  return begin == std::string::npos ? std::string() : authorization.substr(begin);
}

}  // namespace

std::string sessionIdOf(const ClientRequest& request) {
  return http::cookieValue(request.cookies, http::SessionCookie::kName).value_or("");
}

Identifier::Identifier(const state::Accounts& accounts, Sessions& sessions, Role anonymous)
    : mAccounts(accounts), mSessions(sessions), mAnonymous(anonymous) {}

Identity Identifier::identify(const ClientRequest& request) {
  if (const auto token = bearerOf(request.headers.authorization)) return byToken(*token);
  const std::string id = sessionIdOf(request);
  return id.empty() ? nobody() : bySession(id);
}

state::Accounts::Reading Identifier::accounts() {
  auto reading = mAccounts.read();
  const std::lock_guard lock(mMutex);
  if (reading.problem != mLoggedProblem) {
    mLoggedProblem = reading.problem;
    if (!reading.problem.empty()) {
      utils::formatted_log_t(utils::LOG_ERROR, "Access: nobody can log in: %1%") % reading.problem;
    }
  }
  return reading;
}

Identity Identifier::byToken(const std::string& text) {
  const auto find = [this, text]() -> std::optional<std::pair<state::Token, Role>> {
    const auto token = mAccounts.findToken(text);
    if (!token) return std::nullopt;
    const auto reading = accounts();
    const auto account = reading.book->accounts.find(token->user);
    if (account == reading.book->accounts.end()) return std::nullopt;
    return std::pair(*token, std::min(roleOfText(account->second.role), roleOfText(token->role)));
  };
  const auto found = find();
  if (!found) {
    Identity identity = nobody();
    identity.hasWrongToken = true;
    return identity;
  }
  const auto& [token, own] = *found;
  const Role role = std::max(own, mAnonymous.load());
  return {.user = token.user, .role = role, .usedToken = token.name, .holds = [this, find, role] {
            const auto now = find();
            return now && std::max(now->second, mAnonymous.load()) >= role;
          }};
}

Identity Identifier::bySession(const std::string& id) {
  auto session = mSessions.find(id);
  const auto role = session ? roleOf(*session) : std::nullopt;
  if (session && !role) mSessions.close(id);
  if (!role || !session) return nobody();
  return {.user = session->user, .role = *role, .session = session, .holds = [this, id, role] {
            const auto live = mSessions.find(id);
            const auto now = live ? roleOf(*live) : std::nullopt;
            return now && *now >= *role;
          }};
}

void Identifier::noteUse(const LoginSession& session) {
  (void)mSessions.use(session.id);
}

bool Identifier::needsAccount() {
  const auto reading = accounts();
  return mAnonymous < Role::kOperator && reading.problem.empty() && reading.book->accounts.empty();
}

Identity Identifier::nobody() {
  const Role role = mAnonymous;
  return {.role = role, .holds = [this, role] { return mAnonymous >= role; }};
}

std::optional<Role> Identifier::roleOf(const LoginSession& session) {
  const auto reading = accounts();
  const auto account = reading.book->accounts.find(session.user);
  if (account == reading.book->accounts.end() || account->second.passwordHash != session.stamp) return std::nullopt;
  return std::max(roleOfText(account->second.role), mAnonymous.load());
}

}  // namespace host
