#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace host::tls {

/// Whom a certificate is for.
struct Subject {
  std::string name;                    ///< the common name; cut at 64 characters
  std::vector<std::string> hostNames;  ///< those that are none are left out
  std::vector<std::string> addresses;  ///< of either family; what is none is left out
};

/// This machine: its host name, "localhost", loopback, and the addresses that others may reach it under now.
Subject thisMachine();

/// A new ECDSA key (P-256) and a certificate for it that it signs itself, both PEM, the key first. It holds for ten
/// years from a day before `now`, as others' clocks may be slow. Throws std::runtime_error when that cannot be done.
std::string makeSelfSigned(const Subject& subject, std::chrono::system_clock::time_point now);

}  // namespace host::tls
