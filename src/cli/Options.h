#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <variant>

#include "cli/ExitCode.h"

namespace cli {

enum class Command { kList, kSearch, kAdd, kRemove, kDetails, kWatch, kDoctor };
enum class Format { kTable, kJson };

enum class SlpCommand { kFind, kAttributes, kTypes, kRegister, kAgents };

/// What "kvtctl slp" needs beside the others' options.
struct SlpOptions {
  SlpCommand command = SlpCommand::kFind;
  std::string attributes;  ///< of a registration
  std::string filter;
  std::string scopes;      ///< empty: the configured ones
  std::string interfaces;  ///< names or addresses; empty: all
  std::string host;        ///< the only one to ask; empty: the network
  std::uint16_t port = 0;  ///< 0: the configured one
};

/// What "kvtctl announce listen" needs beside the others' options.
struct AnnounceOptions {
  std::string interfaces;                             ///< names or addresses; empty: all
  std::optional<std::uint64_t> count;                 ///< datagrams to hear before the end
  std::optional<std::chrono::milliseconds> duration;  ///< until the end
};

enum class UserCommand { kAdd, kPassword, kRole, kRemove, kList };

/// What "kvtctl user" needs: it works on this machine's files and asks no server.
struct UserOptions {
  UserCommand command = UserCommand::kList;
  std::string name;
  std::string role;            ///< "viewer" or "operator"
  std::string stateDirectory;  ///< "": the server's own
};

enum class AccessCommand { kLogin, kLogout, kTrust, kTokenAdd, kTokenList, kTokenRevoke };

/// What the commands for logins, tokens and the server's certificate need.
struct AccessOptions {
  AccessCommand command = AccessCommand::kLogin;
  std::string name;  ///< of a user or a token; "" to ask for it
  std::string role;  ///< of a token; "": that of the login
};

enum class PeerCommand { kList, kTrust, kForget };

/// What "kvtctl peers" needs.
struct PeerOptions {
  PeerCommand command = PeerCommand::kList;
  std::string address;
  std::string fingerprint;  ///< "": the one that was offered
};

/// What the command line asks for.
struct Options {
  Command command = Command::kList;
  std::optional<SlpOptions> slp;            ///< of a command of "kvtctl slp", and then `command` says nothing
  std::optional<AnnounceOptions> announce;  ///< of "kvtctl announce listen", the same, as with those that follow
  std::optional<UserOptions> user;
  std::optional<AccessOptions> access;
  std::optional<PeerOptions> peers;
  std::string argument;  ///< the address or identifier; "self" for details without one; a URL or service type
  std::string server = "https://127.0.0.1:8443";
  std::string fingerprint;  ///< of the server's certificate, in the form of httpclient::fingerprintOf(); "": any known
  std::string authoritiesFile;  ///< with those that must have signed it; "": the certificate itself has to be known
  Format format = Format::kTable;
  std::chrono::milliseconds timeout{10'000};
};

/// The options, or the exit code when there is nothing to do: help was asked for and written, or the line is wrong and
/// `err` says in what. The environment's KVT_SERVER stands in for --server.
std::variant<Options, ExitCode> parseOptions(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace cli
