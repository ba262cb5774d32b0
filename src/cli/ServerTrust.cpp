#include "cli/ServerTrust.h"

#include <arpa/inet.h>
#include <memory>
#include <netinet/in.h>
#include <utility>

#include "json/lookup.h"

namespace cli {
namespace {

using httpclient::ErrorKind;
using httpclient::Request;
using httpclient::Response;
using httpclient::ServerCertificate;

constexpr std::string_view kTlsScheme = "https://";

std::string refusalOfStranger(const Introduction& introduction) {
  return "the server at " + introduction.host + " is not known yet. Its certificate is " + introduction.shown +
         "; when that is the one that its administrator tells: kvtctl trust " + introduction.shown;
}

std::string refusalOfChange(const Introduction& introduction) {
  return "the certificate of " + introduction.host + " has changed: it was " + *introduction.known + " and is " +
         introduction.shown +
         ". Somebody may stand in between. When the server has a new one that you know of: kvtctl trust";
}

Verdict judgeGiven(const Introduction& introduction) {
  if (*introduction.given != introduction.shown) {
    return {Verdict::Kind::kRefuse, "the server at " + introduction.host + " shows the certificate " +
                                        introduction.shown + ", and not " + *introduction.given};
  }
  const bool isKnown = introduction.known == introduction.shown;
  return {isKnown ? Verdict::Kind::kTrusted : Verdict::Kind::kKeep, ""};
}

Response refused(std::string text) {
  Response response;
  response.error = ErrorKind::kCertificate;
  response.errorText = std::move(text);
  return response;
}

/// The last part of an exchange with a server: it goes through with this certificate only.
Response exchangeWith(const Exchange& inner, Request request, const std::string& fingerprint,
                      std::optional<ServerCertificate>& shown) {
  request.acceptCertificate = [&](const ServerCertificate& certificate) -> std::optional<std::string> {
    shown = certificate;
    if (certificate.fingerprint == fingerprint) return std::nullopt;
    return "the certificate is another one";
  };
  return inner(request);
}

class TrustedExchange {
 public:
  TrustedExchange(Exchange inner, TrustOptions options, const UserFiles& files, const Prompt& prompt)
      : mInner(std::move(inner)), mOptions(std::move(options)), mFiles(files), mPrompt(prompt) {}

  Response operator()(Request request) const {
    const std::string host = tlsHostOf(request.url);
    if (host.empty()) return mInner(request);
    if (!mOptions.authorities.empty()) {
      request.authorities = mOptions.authorities;
      return mInner(request);
    }
    const Result<json::Object> known = mFiles.read(kKnownServers);
    if (!known) return refused(known.failure().message);
    Introduction introduction;
    introduction.host = host;
    if (const std::string text = json::textAt(*known, {host}); !text.empty()) introduction.known = text;
    return introduce(request, std::move(introduction));
  }

 private:
  /// The handshake tells the certificate and ends there when it is a new one: a person takes longer to answer than a
  /// server waits.
  Response introduce(const Request& request, Introduction introduction) const {
    const std::string expected = mOptions.fingerprint   ? *mOptions.fingerprint
                                 : mOptions.isReplacing ? ""
                                                        : introduction.known.value_or("");
    std::optional<ServerCertificate> shown;
    Response response = exchangeWith(mInner, request, expected, shown);
    if (!shown) return response;
    introduction.shown = shown->fingerprint;
    introduction.given = mOptions.fingerprint;
    introduction.isLoopback = isLoopback(shown->address);
    introduction.isReplacing = mOptions.isReplacing;
    introduction.canAsk = mPrompt.isTerminal;
    if (auto refusal = settle(introduction)) return refused(*refusal);
    if (introduction.shown == expected) return response;
    return exchangeWith(mInner, request, introduction.shown, shown);
  }

  /// Has the certificate known when it is to be; why it is not trusted, nothing when it is.
  std::optional<std::string> settle(const Introduction& introduction) const {
    const Verdict verdict = judge(introduction);
    if (verdict.kind == Verdict::Kind::kTrusted) return std::nullopt;
    if (verdict.kind == Verdict::Kind::kRefuse) return verdict.text;
    if (verdict.kind == Verdict::Kind::kAsk && !mPrompt.confirms(verdict.text)) {
      return "the server at " + introduction.host + " is not trusted";
    }
    const auto failed = keep(introduction);
    return failed ? std::optional(failed->message) : std::nullopt;
  }

  std::optional<Failure> keep(const Introduction& introduction) const {
    return mFiles.change(kKnownServers, [&](json::Object& known) {  //
      known[introduction.host] = json::String(introduction.shown);
    });
  }

  const Exchange mInner;
  const TrustOptions mOptions;
  const UserFiles& mFiles;
  const Prompt& mPrompt;
};

}  // namespace

Verdict judge(const Introduction& introduction) {
  using Kind = Verdict::Kind;
  if (introduction.given) return judgeGiven(introduction);
  if (introduction.known == introduction.shown) return {Kind::kTrusted, ""};
  const std::string question = "The server's certificate is " + introduction.shown + ". Trust it? [y/N] ";
  if (introduction.known) {
    if (!introduction.isReplacing) return {Kind::kRefuse, refusalOfChange(introduction)};
    if (introduction.canAsk) return {Kind::kAsk, "It was " + *introduction.known + ". " + question};
    return {Kind::kRefuse, "say which certificate: kvtctl trust " + introduction.shown};
  }
  // Whoever listens there is on this machine already, and nobody can stand in between.
  if (introduction.isLoopback) return {Kind::kKeep, ""};
  if (introduction.canAsk) return {Kind::kAsk, question};
  return {Kind::kRefuse, refusalOfStranger(introduction)};
}

std::string tlsHostOf(const std::string& url) {
  if (url.compare(0, kTlsScheme.size(), kTlsScheme) != 0) return "";
  std::string host = url.substr(kTlsScheme.size());
  host = host.substr(0, host.find_first_of("/?#"));
  host.erase(0, host.rfind('@') + 1);  // npos + 1 is the beginning
  for (char& letter : host) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  const std::size_t colon = host.rfind(':');
  const std::size_t bracket = host.rfind(']');
  const bool hasPort = colon != std::string::npos && (bracket == std::string::npos || colon > bracket);
  return hasPort ? host : host + ":443";
}

bool isLoopback(const std::string& address) {
  in_addr ipV4{};
  if (inet_pton(AF_INET, address.c_str(), &ipV4) == 1) return ntohl(ipV4.s_addr) >> 24 == IN_LOOPBACKNET;
  in6_addr ipV6{};
  return inet_pton(AF_INET6, address.c_str(), &ipV6) == 1 && IN6_IS_ADDR_LOOPBACK(&ipV6);
}

Exchange trustedExchange(Exchange inner, TrustOptions options, const UserFiles& files, const Prompt& prompt) {
  // Held by pointer: functions are copied, and their copies share what this one has.
  auto exchange = std::make_shared<TrustedExchange>(std::move(inner), std::move(options), files, prompt);
  return [exchange](const Request& request) { return (*exchange)(request); };
}

Exchange authorisedExchange(Exchange inner, const std::string& token) {
  if (token.empty()) return inner;
  return [inner = std::move(inner), line = "Authorization: Bearer " + token](const Request& request) {
    Request authorised = request;
    authorised.headers.push_back(line);
    return inner(authorised);
  };
}

}  // namespace cli
