#include "cli/AccessCommands.h"

#include <array>
#include <cstdlib>
#include <ostream>
#include <random>
#include <unistd.h>

#include "cli/Output.h"
#include "cli/ServerTrust.h"
#include "cli/Table.h"
#include "cli/Text.h"
#include "cli/WireNames.h"
#include "json/lookup.h"

namespace cli {
namespace {

constexpr const char* kSession = "/1.0/session";
constexpr const char* kTokenList = "/1.0/tokens";

json::Object document(std::initializer_list<std::pair<std::string_view, std::string>> members) {
  json::Object object;
  for (const auto& [name, value] : members)
    object[name] = json::String(value);
  return object;
}

std::string tokenPath(const std::string& name) {
  return std::string(kTokenList) + "/" + encodeSegment(name);
}

std::string hostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

std::string randomDigits() {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::random_device random;
  std::string digits(8, '0');
  for (char& digit : digits)
    digit = kDigits[random() % kDigits.size()];
  return digits;
}

/// A login of this very moment, for as long as it takes to make a token.
class BriefSession {
 public:
  static Result<BriefSession> open(const RestClient& client, const std::string& user, const std::string& password) {
    const auto response =
        client.exchange(postRequest(kSession, document({{wire::kUser, user}, {wire::kPassword, password}})));
    // Here a 401 is about the password.
    httpclient::Response plain = response;
    if (plain.status == 401) plain.status = 400;
    const auto answer = readAnswer(plain, client.url());
    if (!answer) {
      const bool isWrong = response.status == 401;
      return Failure{isWrong ? ExitCode::kNotAllowed : answer.failure().code, answer.failure().message};
    }
    const std::string cookie = headerOf(response, "Set-Cookie");
    BriefSession session;
    session.mCookie = cookie.substr(0, cookie.find(';'));
    session.mCsrfToken = json::textAt(*answer, {wire::kValue, wire::kCsrfToken});
    session.mRole = json::textAt(*answer, {wire::kValue, wire::kRole});
    if (session.mCookie.empty()) return Failure{ExitCode::kNonsense, "the answer to the login holds no session"};
    return session;
  }

  const std::string& role() const { return mRole; }

  Result<json::Object> send(const RestClient& client, httpclient::Request request) const {
    request.cookie = mCookie;
    request.headers.push_back("X-CSRF-Token: " + mCsrfToken);
    return readAnswer(client.exchange(std::move(request)), client.url());
  }

  void close(const RestClient& client) const {
    httpclient::Request request;
    request.method = "DELETE";
    request.url = kSession;
    (void)send(client, std::move(request));  // it ends by itself, too
  }

 private:
  std::string mCookie;
  std::string mCsrfToken;
  std::string mRole;
};

struct KeptLogin {
  std::string name;
  std::string user;
  std::string token;
};

KeptLogin keptLogin(const std::string& url, const UserFiles& files) {
  const auto kept = files.read(kTokens);
  if (!kept) return {};
  return {json::textAt(*kept, {url, wire::kName}), json::textAt(*kept, {url, wire::kUser}),
          json::textAt(*kept, {url, wire::kToken})};
}

std::optional<Failure> keepLogin(const std::string& url, const KeptLogin& login, const UserFiles& files) {
  return files.change(kTokens, [&](json::Object& kept) {
    kept[url] = document({{wire::kName, login.name}, {wire::kUser, login.user}, {wire::kToken, login.token}});
  });
}

std::optional<Failure> forgetLogin(const std::string& url, const UserFiles& files) {
  return files.change(kTokens, [&](json::Object& kept) {
    if (const auto entry = std::as_const(kept).Find(url); entry != std::as_const(kept).End()) kept.Erase(entry);
  });
}

Result<KeptLogin> makeToken(const BriefSession& session, const RestClient& client, const std::string& user) {
  const std::string name = loginTokenName(user, hostName(), randomDigits());
  const auto made =
      session.send(client, postRequest(kTokenList, document({{wire::kName, name}, {wire::kRole, session.role()}})));
  if (!made) return made.failure();
  const std::string token = json::textAt(*made, {wire::kValue, wire::kToken});
  if (token.empty()) return Failure{ExitCode::kNonsense, "the answer holds no token"};
  return KeptLogin{name, user, token};
}

/// The answer in JSON, or the words.
std::string said(const Options& options, const json::Object& record, const std::string& words) {
  return options.format == Format::kJson ? jsonText(record) : neutralise(words) + "\n";
}

std::optional<Failure> refusalOfLogins(const RestClient& client) {
  const auto there = client.get(kSession);
  if (!there) return there.failure();
  const std::string setup = json::textAt(*there, {wire::kValue, wire::kSetup});
  if (setup != "open" && setup != "loopback") return std::nullopt;
  const std::string where = setup == "open" ? "" : "on the server's machine, ";
  return Failure{ExitCode::kNotAllowed, "there is no account yet: " + where + "kvtctl user add NAME --role operator"};
}

Result<std::string> logIn(const Options& options, const RestClient& client, const UserFiles& files,
                          const Prompt& prompt) {
  constexpr const char* kNobody = "say who logs in: --user NAME";
  std::string user = options.access->name;
  if (user.empty() && !prompt.isTerminal) return Failure{ExitCode::kUsage, kNobody};
  // Before a password is typed: is it the server, and can anybody log in?
  if (const auto refusal = refusalOfLogins(client)) return *refusal;
  if (user.empty()) user = prompt.line("User: ").value_or("");
  if (user.empty()) return Failure{ExitCode::kUsage, kNobody};
  const auto password = prompt.secret("Password: ");
  if (!password) return Failure{ExitCode::kUsage, "no password was given"};
  const auto session = BriefSession::open(client, user, *password);
  if (!session) return session.failure();
  const KeptLogin earlier = keptLogin(client.url(), files);
  const auto login = makeToken(*session, client, user);
  if (login && !earlier.name.empty()) {
    httpclient::Request revoke;
    revoke.method = "DELETE";
    revoke.url = tokenPath(earlier.name);
    (void)session->send(client, std::move(revoke));  // may be gone, or somebody else's
  }
  session->close(client);
  if (!login) return login.failure();
  if (const auto failed = keepLogin(client.url(), *login, files)) return *failed;
  json::Object record = document({{wire::kServer, client.url()}, {wire::kUser, user}, {wire::kRole, session->role()}});
  return said(options, record, user + ": logged in to " + client.url() + " as " + session->role());
}

Result<std::string> logOut(const Options& options, const RestClient& client, const UserFiles& files) {
  const KeptLogin login = keptLogin(client.url(), files);
  if (login.token.empty()) return Failure{ExitCode::kRefused, "nobody is logged in to " + client.url()};
  httpclient::Request request;
  request.method = "DELETE";
  request.url = tokenPath(login.name);
  request.headers = {"Authorization: Bearer " + login.token};
  const auto revoked = readAnswer(client.exchange(std::move(request)), client.url());
  if (const auto failed = forgetLogin(client.url(), files)) return *failed;
  // A token that the server does not know any more is as good as revoked.
  const bool isGone =
      revoked || revoked.failure().code == ExitCode::kNotAllowed || revoked.failure().code == ExitCode::kRefused;
  if (!isGone) {
    return Failure{revoked.failure().code, "logged out here, but the token " + login.name +
                                               " goes on being good: " + revoked.failure().message};
  }
  return said(options, document({{wire::kServer, client.url()}, {wire::kUser, login.user}}),
              login.user + ": logged out of " + client.url());
}

Result<std::string> trust(const Options& options, const RestClient& client, const UserFiles& files) {
  const std::string host = tlsHostOf(client.url());
  if (host.empty()) return Failure{ExitCode::kUsage, client.url() + " has no certificate: it is not https"};
  if (!options.authoritiesFile.empty()) return Failure{ExitCode::kUsage, "trust and --ca do not go together"};
  if (const auto there = client.get("/healthz"); !there) return there.failure();
  const auto known = files.read(kKnownServers);
  const std::string fingerprint = known ? json::textAt(*known, {host}) : "";
  return said(options, document({{wire::kServer, host}, {wire::kFingerprint, fingerprint}}),
              host + ": trusted, " + fingerprint);
}

Result<std::string> addToken(const Options& options, const RestClient& client) {
  std::string role = options.access->role;
  if (role.empty()) {
    const auto session = client.get(kSession);
    if (!session) return session.failure();
    role = json::textAt(*session, {wire::kValue, wire::kRole});
  }
  const auto made = client.post(kTokenList, document({{wire::kName, options.access->name}, {wire::kRole, role}}));
  if (!made) return made.failure();
  const std::string token = json::textAt(*made, {wire::kValue, wire::kToken});
  if (token.empty()) return Failure{ExitCode::kNonsense, "the answer holds no token"};
  return said(options, *json::objectAt(*made, {wire::kValue}), token);
}

Result<std::string> listTokens(const Options& options, const RestClient& client) {
  const auto answer = client.get(kTokenList);
  if (!answer) return answer.failure();
  auto tokens = objectsAt(*answer, wire::kValue);
  if (!tokens) tokens = objectsAt(*answer, wire::kValues);
  if (!tokens) return Failure{ExitCode::kNonsense, "the answer holds no list of tokens"};
  if (options.format == Format::kJson) return jsonText(*tokens);
  Table table({"NAME", "USER", "ROLE", "CREATED", "LAST USED"});
  for (const json::Object& token : *tokens) {
    const std::string used = json::textAt(token, {wire::kLastUsed});
    table.add({json::textAt(token, {wire::kName}), json::textAt(token, {wire::kUser}),
               json::textAt(token, {wire::kRole}), json::textAt(token, {wire::kCreated}), used.empty() ? "-" : used});
  }
  return table.text();
}

Result<std::string> revokeToken(const Options& options, const RestClient& client) {
  const auto answer = client.remove(tokenPath(options.access->name));
  if (!answer) return answer.failure();
  return said(options, *answer, options.access->name + ": revoked");
}

Result<std::string> output(const Options& options, const RestClient& client, const UserFiles& files,
                           const Prompt& prompt) {
  switch (options.access->command) {
    case AccessCommand::kLogin:
      return logIn(options, client, files, prompt);
    case AccessCommand::kLogout:
      return logOut(options, client, files);
    case AccessCommand::kTrust:
      return trust(options, client, files);
    case AccessCommand::kTokenAdd:
      return addToken(options, client);
    case AccessCommand::kTokenList:
      return listTokens(options, client);
    case AccessCommand::kTokenRevoke:
      return revokeToken(options, client);
  }
  return Failure{ExitCode::kUsage, "no such command"};
}

}  // namespace

std::string tokenFor(const std::string& url, const UserFiles& files) {
  const char* given = std::getenv("KVT_TOKEN");
  if (given != nullptr && *given != '\0') return given;
  return keptLogin(url, files).token;
}

std::string loginTokenName(const std::string& user, const std::string& machine, const std::string& random) {
  constexpr std::size_t kLongestMachine = 15;  // with the longest user name, 64 characters in all
  std::string name = "kvtctl-" + user + "-" + machine.substr(0, std::min(machine.find('.'), kLongestMachine)) + "-";
  for (char& c : name) {
    const bool isFit =
        (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '_' || c == '-';
    if (!isFit) c = '-';
  }
  return name + random;
}

ExitCode runAccessCommand(const Options& options, const RestClient& client, const UserFiles& files,
                          const Prompt& prompt, std::ostream& out, std::ostream& err) {
  return conclude(output(options, client, files, prompt), out, err);
}

}  // namespace cli
