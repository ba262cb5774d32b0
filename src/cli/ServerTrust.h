#pragma once

#include <optional>
#include <string>

#include "cli/Prompt.h"
#include "cli/RestClient.h"
#include "cli/UserFiles.h"

namespace cli {

/// A server has shown a certificate: what is known of both.
struct Introduction {
  std::string host;                  ///< "10.0.0.1:8443"
  std::string shown;                 ///< its fingerprint
  std::optional<std::string> known;  ///< that of earlier
  std::optional<std::string> given;  ///< that of the command line
  bool isLoopback = false;           ///< the address that was connected to
  bool isReplacing = false;          ///< the user has come to trust another one
  bool canAsk = false;
};

struct Verdict {
  enum class Kind {
    kTrusted,
    kKeep,   ///< trusted, and to be known from now on
    kAsk,    ///< `text` is the question; yes means to keep it
    kRefuse  ///< `text` says why, and what to do
  };
  Kind kind;
  std::string text;

  friend bool operator==(const Verdict&, const Verdict&) = default;
};

Verdict judge(const Introduction& introduction);

/// "10.0.0.1:8443" of "https://10.0.0.1:8443/prefix", in lower case and always with the port; "" of any other scheme.
std::string tlsHostOf(const std::string& url);
bool isLoopback(const std::string& address);

/// What the command line says of the server's certificate.
struct TrustOptions {
  std::optional<std::string> fingerprint;  ///< the one to be trusted, in the form of httpclient::fingerprintOf()
  std::string authorities;                 ///< PEM; not "": who has signed it decides, and nothing is kept
  bool isReplacing = false;
};

/// Exchanges with servers that are known, or become so: nothing is sent to any other. What it is given must outlive it;
/// for one thread.
Exchange trustedExchange(Exchange inner, TrustOptions options, const UserFiles& files, const Prompt& prompt);

/// Adds to each request what proves who asks; "" for nothing.
Exchange authorisedExchange(Exchange inner, const std::string& token);

}  // namespace cli
