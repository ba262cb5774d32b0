#include "cli/AccessOptions.h"

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "httpclient/Certificate.h"

namespace cli {
namespace {

CLI::App& addGroup(CLI::App& app, const char* name, const char* what) {
  CLI::App* group = app.add_subcommand(name, what);
  group->require_subcommand(1);
  group->fallthrough();
  return *group;
}

/// A command that puts what it was given in place when it was the one that was asked for.
template <typename Given, typename Kind>
CLI::App& addCommand(CLI::App& group, std::optional<Given>& target, const std::shared_ptr<Given>& given, Kind command,
                     const char* name, const char* what) {
  CLI::App* entry = group.add_subcommand(name, what);
  entry->fallthrough();
  entry->callback([&target, given, command] {
    target = *given;
    target->command = command;
  });
  return *entry;
}

std::string notEmpty(const std::string& text) {
  return text.empty() ? "an empty text is no name" : "";
}

void addName(CLI::App& entry, std::string& name, const char* label, const char* meaning) {
  entry.add_option(label, name, meaning)->option_text(" ")->required()->check(notEmpty);
}

std::string checkRole(const std::string& role) {
  return role == "viewer" || role == "operator" ? std::string() : "takes viewer or operator, not " + role;
}

void addUserCommands(CLI::App& app, Options& options) {
  CLI::App& user = addGroup(app, "user", "The accounts of the server of this machine");
  const auto given = std::make_shared<UserOptions>();
  user.add_option("--state-dir", given->stateDirectory, "The server's directory, where it is not the usual one")
      ->option_text("DIR");
  CLI::App& add = addCommand(user, options.user, given, UserCommand::kAdd, "add", "Let somebody log in");
  addName(add, given->name, "NAME", "Up to 32 of a-z, 0-9, \".\", \"_\" and \"-\"");
  add.add_option("--role", given->role, "What he may do: viewer (read) or operator (change)")
      ->option_text("ROLE [viewer]")
      ->check(checkRole);
  CLI::App& password =
      addCommand(user, options.user, given, UserCommand::kPassword, "passwd", "Give an account another password");
  addName(password, given->name, "NAME", "Whose");
  CLI::App& role = addCommand(user, options.user, given, UserCommand::kRole, "role", "Give an account another role");
  addName(role, given->name, "NAME", "Whose");
  role.add_option("ROLE", given->role, "viewer or operator")->option_text(" ")->required()->check(checkRole);
  CLI::App& remove =
      addCommand(user, options.user, given, UserCommand::kRemove, "remove", "Remove an account and its tokens");
  addName(remove, given->name, "NAME", "Whose");
  addCommand(user, options.user, given, UserCommand::kList, "list", "List the accounts");
}

void addLoginCommands(CLI::App& app, Options& options) {
  const auto given = std::make_shared<AccessOptions>();
  CLI::App& login =
      addCommand(app, options.access, given, AccessCommand::kLogin, "login", "Log in, and stay so with this server");
  login.add_option("--user", given->name, "Who logs in")->option_text("NAME");
  addCommand(app, options.access, given, AccessCommand::kLogout, "logout", "End the login with this server");
  CLI::App& trust =
      addCommand(app, options.access, given, AccessCommand::kTrust, "trust", "Trust the certificate of this server");
  trust
      .add_option_function<std::string>(
          "FINGERPRINT",
          [&options](const std::string& text) {
            const auto fingerprint = httpclient::readFingerprint(text);
            if (!fingerprint) throw CLI::ValidationError("FINGERPRINT", "takes SHA256: and 64 hexadecimal digits");
            options.fingerprint = *fingerprint;
          },
          "The one that its administrator tells; asked for when left out")
      ->option_text(" ");
}

void addTokenCommands(CLI::App& app, Options& options) {
  CLI::App& token = addGroup(app, "token", "API tokens, with which scripts log in");
  const auto given = std::make_shared<AccessOptions>();
  CLI::App& add = addCommand(token, options.access, given, AccessCommand::kTokenAdd, "add", "Make one and print it");
  addName(add, given->name, "NAME", "To know it by");
  add.add_option("--role", given->role, "What it allows: viewer or operator; as much as you may when left out")
      ->option_text("ROLE")
      ->check(checkRole);
  addCommand(token, options.access, given, AccessCommand::kTokenList, "list", "List them");
  CLI::App& revoke = addCommand(token, options.access, given, AccessCommand::kTokenRevoke, "revoke", "End one");
  addName(revoke, given->name, "NAME", "Which");
}

void addPeerCommands(CLI::App& app, Options& options) {
  CLI::App& peers = addGroup(app, "peers", "The certificates of the other servers, as the server knows them");
  const auto given = std::make_shared<PeerOptions>();
  addCommand(peers, options.peers, given, PeerCommand::kList, "list", "List them");
  CLI::App& trust = addCommand(peers, options.peers, given, PeerCommand::kTrust, "trust",
                               "Have the server trust the new certificate of another one");
  addName(trust, given->address, "ADDRESS", "As the list has it: 192.0.2.7:8443");
  trust.add_option("FINGERPRINT", given->fingerprint, "SHA256:...; the one that was offered when left out")
      ->option_text(" ");
  CLI::App& forget = addCommand(peers, options.peers, given, PeerCommand::kForget, "forget",
                                "Have the server take whatever certificate another one shows next");
  addName(forget, given->address, "ADDRESS", "As the list has it");
}

}  // namespace

void addAccessCommands(CLI::App& app, Options& options) {
  addLoginCommands(app, options);
  addTokenCommands(app, options);
  addUserCommands(app, options);
  addPeerCommands(app, options);
}

}  // namespace cli
