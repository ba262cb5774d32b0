#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace state {

/// Somebody who may log in.
struct Account {
  std::string role;          ///< "viewer" or "operator"
  std::string passwordHash;  ///< see Password.h
  std::string created;       ///< ISO 8601, UTC

  friend bool operator==(const Account&, const Account&) = default;
};

/// What a script shows in place of a password.
struct Token {
  std::string name;  ///< there is one of a name
  std::string user;  ///< whose account it stands for
  std::string role;  ///< "viewer" or "operator": what it allows as long as the account allows it, too
  std::string digest;
  std::string created;   ///< ISO 8601, UTC
  std::string lastUsed;  ///< ISO 8601, UTC, to the hour; "" for never

  friend bool operator==(const Token&, const Token&) = default;
};

/// The accounts by user name, and the tokens in the order in which they were made.
struct AccountBook {
  static constexpr std::size_t kMostAccounts = 256;
  static constexpr std::size_t kMostTokens = 256;

  std::map<std::string, Account, std::less<>> accounts;
  std::vector<Token> tokens;

  friend bool operator==(const AccountBook&, const AccountBook&) = default;
};

/// Whether this names what an account may do.
bool isAccountRole(const std::string& role);

/// The names of tokens are of 1 to 64 letters, digits, ".", "_" and "-".
bool isTokenName(const std::string& name);

/// Reads a file's content. The text says why nothing of it is believed: what is not in order in one place may be wrong
/// in any other.
std::variant<AccountBook, std::string> readAccountBook(const std::string& content);

std::string writeAccountBook(const AccountBook& book);

}  // namespace state
