#include "cli/UserCommands.h"

#include <filesystem>
#include <system_error>

#include "cli/Output.h"
#include "cli/Result.h"
#include "cli/Table.h"
#include "cli/Text.h"
#include "state/Accounts.h"
#include "state/Directory.h"
#include "state/Password.h"

namespace cli {
namespace {

constexpr const char* kServiceDirectory = "/var/lib/kvt-server";

Failure failureOf(const state::Accounts::Refusal& refusal) {
  const bool isInput = refusal.reason == state::Accounts::Refusal::Reason::kBadInput;
  return {isInput ? ExitCode::kUsage : ExitCode::kRefused, refusal.text};
}

Result<std::string> askPassword(const UserOptions& user, const Prompt& prompt) {
  const auto password = prompt.secret("Password for " + user.name + ": ");
  if (!password) return Failure{ExitCode::kUsage, "no password was given"};
  if (const auto problem = state::passwordProblem(user.name, *password)) return Failure{ExitCode::kUsage, *problem};
  if (prompt.isTerminal && prompt.secret("The same once more: ") != password) {
    return Failure{ExitCode::kUsage, "that was not the same password twice"};
  }
  return *password;
}

/// What is said when a change was made.
Result<std::string> done(const state::Accounts::Outcome& outcome, const std::string& text) {
  if (outcome) return failureOf(*outcome);
  return text;
}

Result<std::string> add(const UserOptions& user, state::Accounts& accounts, const Prompt& prompt) {
  const std::string role = user.role.empty() ? "viewer" : user.role;
  if (const auto problem = state::userNameProblem(user.name)) return Failure{ExitCode::kUsage, *problem};
  if (accounts.read().book->accounts.contains(user.name)) {
    return Failure{ExitCode::kRefused, "there is an account " + user.name + " already"};
  }
  const auto password = askPassword(user, prompt);
  if (!password) return password;
  return done(accounts.add(user.name, role, *password), "added, " + role);
}

Result<std::string> setPassword(const UserOptions& user, state::Accounts& accounts, const Prompt& prompt) {
  const auto reading = accounts.read();
  if (reading.problem.empty() && !reading.book->accounts.contains(user.name)) {
    return Failure{ExitCode::kRefused, "there is no account " + user.name};
  }
  const auto password = askPassword(user, prompt);
  if (!password) return password;
  return done(accounts.setPassword(user.name, *password), "has a new password");
}

Result<std::string> list(const state::Accounts& accounts, Format format) {
  const auto reading = accounts.read();
  if (!reading.problem.empty()) return Failure{ExitCode::kRefused, reading.problem};
  Table table({"NAME", "ROLE", "CREATED"});
  std::vector<json::Object> records;
  for (const auto& [name, account] : reading.book->accounts) {
    table.add({name, account.role, account.created});
    json::Object record;
    record["name"] = json::String(name);
    record["role"] = json::String(account.role);
    record["created"] = json::String(account.created);
    records.push_back(std::move(record));
  }
  return format == Format::kJson ? jsonText(records) : table.text();
}

Result<std::string> carryOut(const UserOptions& user, state::Accounts& accounts, const Prompt& prompt) {
  switch (user.command) {
    case UserCommand::kAdd:
      return add(user, accounts, prompt);
    case UserCommand::kPassword:
      return setPassword(user, accounts, prompt);
    case UserCommand::kRole:
      return done(accounts.setRole(user.name, user.role), "is " + user.role + " now");
    case UserCommand::kRemove:
      return done(accounts.remove(user.name), "removed");
    case UserCommand::kList:
      break;
  }
  return Failure{ExitCode::kUsage, "no such command"};
}

/// An account among the files of somebody who is not the service would let nobody in.
bool belongsToService(const std::string& directory) {
  std::error_code error;
  return directory != kServiceDirectory && std::filesystem::exists(kServiceDirectory, error);
}

Result<std::string> output(const Options& options, const Prompt& prompt) {
  const UserOptions& user = *options.user;
  const std::string path = user.stateDirectory.empty() ? state::defaultDirectory() : user.stateDirectory;
  if (user.stateDirectory.empty() && belongsToService(path)) {
    return Failure{ExitCode::kRefused, std::string("the server of this machine has its accounts in ") +
                                           kServiceDirectory + ": run it as root, or name a --state-dir"};
  }
  const state::Directory directory(path);
  state::Accounts accounts(directory);
  if (user.command == UserCommand::kList) return list(accounts, options.format);
  const auto said = carryOut(user, accounts, prompt);
  if (!said) return said;
  if (options.format == Format::kTable) return neutralise(user.name + ": " + *said) + "\n";
  json::Object record;
  record["name"] = json::String(user.name);
  record["done"] = json::String(*said);
  return jsonText(record);
}

/// What the system says, and what to do where it is a matter of rights.
std::string textOf(const std::system_error& error) {
  const bool isRight = error.code() == std::errc::permission_denied ||
                       error.code() == std::errc::operation_not_permitted ||
                       error.code() == std::errc::read_only_file_system;
  return std::string(error.what()) + (isRight ? ": run it as root, or as whom the server runs as" : "");
}

}  // namespace

ExitCode runUserCommand(const Options& options, const Prompt& prompt, std::ostream& out, std::ostream& err) {
  const auto result = [&]() -> Result<std::string> {
    try {
      return output(options, prompt);
    } catch (const std::system_error& error) {
      return Failure{ExitCode::kRefused, textOf(error)};
    }
  }();
  return conclude(result, out, err);
}

}  // namespace cli
