#include "state/Accounts.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <system_error>
#include <utility>

#include "state/Password.h"
#include "state/Secrets.h"

namespace state {
namespace {

using Refusal = Accounts::Refusal;
using Reason = Refusal::Reason;

std::string timeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text.data();
}

Refusal noAccount(const std::string& user) {
  return {Reason::kMissing, "There is no account \"" + user + "\""};
}

std::optional<Refusal> refusedInput(std::optional<std::string> problem) {
  if (!problem) return std::nullopt;
  return Refusal{Reason::kBadInput, std::move(*problem)};
}

std::optional<std::string> roleProblem(const std::string& role) {
  if (isAccountRole(role)) return std::nullopt;
  return "A role is \"viewer\" or \"operator\"";
}

}  // namespace

Accounts::Accounts(const Directory& directory)
    : mDirectory(directory), mCached{std::make_shared<const AccountBook>(), ""} {}

std::variant<AccountBook, std::string> Accounts::readFile() const {
  const auto content = mDirectory.read(kFileName);
  if (!content) return AccountBook{};
  auto book = readAccountBook(*content);
  if (const auto* problem = std::get_if<std::string>(&book)) {
    return mDirectory.pathOf(kFileName) + " cannot be used: " + *problem;
  }
  return book;
}

Accounts::Reading Accounts::read() const {
  const std::lock_guard lock(mMutex);
  const std::string version = mDirectory.version(kFileName);
  if (!version.empty() && version == mVersion) return mCached;
  mCached = {std::make_shared<const AccountBook>(), ""};
  try {
    auto book = readFile();  // replaced since then, it has another version the next time
    if (auto* problem = std::get_if<std::string>(&book)) {
      mCached.problem = std::move(*problem);
    } else {
      mCached.book = std::make_shared<const AccountBook>(std::get<AccountBook>(std::move(book)));
    }
    mVersion = version;
  } catch (const std::system_error& error) {  // may be another the next time, without a change of the file
    mCached.problem = error.what();
    mVersion.clear();
  }
  return mCached;
}

std::optional<Account> Accounts::verify(const std::string& user, const std::string& password) const {
  const Reading now = read();
  const auto account = now.book->accounts.find(user);
  const bool exists = account != now.book->accounts.end();
  const bool matches = exists ? isPassword(account->second.passwordHash, password) : isPasswordOfNobody(password);
  return matches ? std::optional(account->second) : std::nullopt;
}

std::optional<Token> Accounts::findToken(std::string_view text) const {
  const std::string digest = digestOf(text);
  std::optional<Token> found;
  for (const Token& token : read().book->tokens) {
    if (isSame(token.digest, digest)) found = token;
  }
  return found;
}

Accounts::Outcome Accounts::edit(const Change& change) {
  const Directory::Lock lock(mDirectory);
  std::variant<AccountBook, std::string> book;
  try {
    book = readFile();
  } catch (const std::system_error& error) {
    book = error.what();
  }
  if (auto* problem = std::get_if<std::string>(&book)) return Refusal{Reason::kUnusable, std::move(*problem)};
  auto& changed = std::get<AccountBook>(book);
  if (auto refusal = change(changed)) return refusal;
  mDirectory.write(kFileName, writeAccountBook(changed));
  return std::nullopt;
}

Accounts::Outcome Accounts::insert(const std::string& user, const std::string& role, const std::string& password,
                                   bool onlyFirst) {
  if (auto refusal = refusedInput(userNameProblem(user))) return refusal;
  if (auto refusal = refusedInput(roleProblem(role))) return refusal;
  if (auto refusal = refusedInput(passwordProblem(user, password))) return refusal;
  const Account account{role, hashPassword(password), timeNow()};
  return edit([&](AccountBook& book) -> Outcome {
    if (onlyFirst && !book.accounts.empty()) return Refusal{Reason::kExists, "There is an account already: log in"};
    if (book.accounts.contains(user)) return Refusal{Reason::kExists, "There is an account \"" + user + "\" already"};
    if (book.accounts.size() >= AccountBook::kMostAccounts) return Refusal{Reason::kFull, "There are 256 accounts"};
    book.accounts.emplace(user, account);
    return std::nullopt;
  });
}

Accounts::Outcome Accounts::add(const std::string& user, const std::string& role, const std::string& password) {
  return insert(user, role, password, false);
}

Accounts::Outcome Accounts::addFirst(const std::string& user, const std::string& password) {
  return insert(user, "operator", password, true);
}

Accounts::Outcome Accounts::setPassword(const std::string& user, const std::string& password) {
  if (auto refusal = refusedInput(passwordProblem(user, password))) return refusal;
  const std::string hash = hashPassword(password);
  return edit([&](AccountBook& book) -> Outcome {
    const auto account = book.accounts.find(user);
    if (account == book.accounts.end()) return noAccount(user);
    account->second.passwordHash = hash;
    return std::nullopt;
  });
}

Accounts::Outcome Accounts::setRole(const std::string& user, const std::string& role) {
  if (auto refusal = refusedInput(roleProblem(role))) return refusal;
  return edit([&](AccountBook& book) -> Outcome {
    const auto account = book.accounts.find(user);
    if (account == book.accounts.end()) return noAccount(user);
    account->second.role = role;
    return std::nullopt;
  });
}

Accounts::Outcome Accounts::remove(const std::string& user) {
  return edit([&](AccountBook& book) -> Outcome {
    const auto account = book.accounts.find(user);
    if (account == book.accounts.end()) return noAccount(user);
    book.accounts.erase(account);
    std::erase_if(book.tokens, [&](const Token& token) { return token.user == user; });
    return std::nullopt;
  });
}

std::variant<std::string, Refusal> Accounts::addToken(const std::string& name, const std::string& user,
                                                      const std::string& role) {
  if (!isTokenName(name)) {
    return Refusal{Reason::kBadInput, "A token's name has 1 to 64 characters: letters, digits, \".\", \"_\" and \"-\""};
  }
  if (auto refusal = refusedInput(roleProblem(role))) return std::move(*refusal);
  std::string text = std::string(kTokenStart) + makeSecret();
  const Token token{name, user, role, digestOf(text), timeNow(), ""};
  auto refusal = edit([&](AccountBook& book) -> Outcome {
    const auto isItsName = [&](const Token& other) { return other.name == name; };
    if (!book.accounts.contains(user)) return noAccount(user);
    if (std::any_of(book.tokens.begin(), book.tokens.end(), isItsName)) {
      return Refusal{Reason::kExists, "There is a token \"" + name + "\" already"};
    }
    if (book.tokens.size() >= AccountBook::kMostTokens) return Refusal{Reason::kFull, "There are 256 tokens"};
    book.tokens.push_back(token);
    return std::nullopt;
  });
  if (refusal) return std::move(*refusal);
  return text;
}

Accounts::Outcome Accounts::removeToken(const std::string& name, const std::string& user) {
  return edit([&](AccountBook& book) -> Outcome {
    const auto removed = std::erase_if(book.tokens, [&](const Token& token) {  //
      return token.name == name && (user.empty() || token.user == user);
    });
    if (removed == 0) return Refusal{Reason::kMissing, "There is no token \"" + name + "\""};
    return std::nullopt;
  });
}

Accounts::Outcome Accounts::noteUse(const std::string& name) {
  return edit([&](AccountBook& book) -> Outcome {
    for (Token& token : book.tokens) {
      if (token.name == name) token.lastUsed = timeNow();
    }
    return std::nullopt;
  });
}

}  // namespace state
