#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "httpclient/Certificate.h"

/// A small HTTP client for short exchanges with servers that are not trusted: everything it takes in is bounded, it
/// follows no redirect, uses no proxy, speaks http and https (TLS 1.2 or later) only, and can be called off at any
/// moment. Nothing is sent to a server whose certificate was not accepted.
namespace httpclient {

struct Request {
  std::string method = "GET";
  std::string url;
  std::vector<std::string> headers;  ///< whole lines without their end: "Content-Type: application/json"
  std::string cookie;                ///< "name=value; other=value", "" for none
  std::string body;                  ///< sent when not empty, and with every POST and PUT
  std::chrono::milliseconds connectTimeout{2000};
  std::chrono::milliseconds totalTimeout{5000};  ///< from the first step to the last byte, name look-up included
  std::size_t maxBodyBytes = 1024 * 1024;
  /// Takes the body of an answer of 2xx piece by piece as it comes, in the calling thread, and in place of
  /// Response::body; `maxBodyBytes` then holds for other answers only. False, and whatever it throws,
  /// ends the exchange.
  std::function<bool(std::string_view piece)> onBody;
  /// Polled at least every 50 ms, by the calling thread; true ends the exchange.
  std::function<bool()> cancelled;

  /// The authorities, as PEM, that must have signed a server's certificate, which must be valid now and name the host
  /// of the URL. "": those of the system.
  std::string authorities;
  /// Why a server is refused, nothing to accept it. It alone decides, in place of authorities, name and validity.
  std::function<std::optional<std::string>(const ServerCertificate&)> acceptCertificate;
  /// Why an address is not connected to, nothing to allow it. Gets each address that a name leads to, without brackets,
  /// with the zone of a link-local one, and IPv4 inside of IPv6 as IPv4. Both are called by the calling thread; what
  /// they throw is a refusal.
  std::function<std::optional<std::string>(const std::string&)> acceptAddress;
};

enum class ErrorKind {
  kNone,         ///< there is an answer, whatever its status
  kBadUrl,       ///< not a URL, or neither http nor https
  kResolve,      ///< the name has no address
  kUnreachable,  ///< refused, no route, or the connection broke before the answer was whole
  kTimedOut,
  kTooLarge,   ///< more than `maxBodyBytes`, or an unreasonable header
  kMalformed,  ///< what answers does not speak HTTP
  kCancelled,
  kCertificate,  ///< the server's certificate is not accepted
  kTls,          ///< no TLS came about: what answers does not speak it, or none that is recent enough
  kForbidden     ///< `acceptAddress` refused every address
};

struct Response {
  ErrorKind error = ErrorKind::kNone;
  std::string errorText;             ///< one line in words, "" without an error
  int status = 0;                    ///< the HTTP status, 0 without an answer
  std::vector<std::string> headers;  ///< whole lines without their end, in their order, at most 64 KiB together
  std::string body;
  std::string primaryIp;  ///< the address that was connected to, "" when none was
  bool connected = false;

  bool ok() const { return error == ErrorKind::kNone && status >= 200 && status < 300; }
};

/// Runs one exchange on a connection of its own, in the calling thread. Failures are values: it does not throw, but for
/// lack of memory and for what `cancelled` throws. Safe for every thread.
Response perform(const Request& request);

/// "http://[fe80::1%25eth0]:8443/1.0/servers" from scheme, host name or address (without brackets), port and path.
std::string makeUrl(std::string_view scheme, std::string_view host, std::uint16_t port, std::string_view path);

}  // namespace httpclient
