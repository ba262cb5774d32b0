#include "state/AccountsFile.h"

#include <algorithm>
#include <optional>

#include "json/elements.h"
#include "json/lookup.h"
#include "json/reader.h"
#include "json/writer.h"
#include "state/Password.h"

namespace state {
namespace {

constexpr double kFormat = 1;
constexpr std::size_t kDigestLength = 64;
constexpr std::size_t kMostTokenNameBytes = 64;

using Problem = std::optional<std::string>;

bool isTokenNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
}

bool isDigest(const std::string& text) {
  return text.size() == kDigestLength &&
         std::all_of(text.begin(), text.end(), [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

Problem readAccount(const json::Object& entry, AccountBook& book) {
  const std::string user = json::textAt(entry, {"user"});
  Account account{json::textAt(entry, {"role"}), json::textAt(entry, {"password"}), json::textAt(entry, {"created"})};
  if (userNameProblem(user)) return "an account has no proper user name";
  if (!isAccountRole(account.role)) return "the role of \"" + user + "\" is neither viewer nor operator";
  if (!isPasswordHash(account.passwordHash)) return "the password of \"" + user + "\" is no Argon2id hash";
  if (!book.accounts.emplace(user, std::move(account)).second) return "there are two accounts \"" + user + "\"";
  return std::nullopt;
}

Problem readToken(const json::Object& entry, AccountBook& book) {
  Token token{json::textAt(entry, {"name"}),   json::textAt(entry, {"user"}),    json::textAt(entry, {"role"}),
              json::textAt(entry, {"digest"}), json::textAt(entry, {"created"}), json::textAt(entry, {"lastUsed"})};
  if (!isTokenName(token.name)) return "a token has no proper name";
  const auto isItsName = [&](const Token& other) { return other.name == token.name; };
  if (std::any_of(book.tokens.begin(), book.tokens.end(), isItsName)) {
    return "there are two tokens \"" + token.name + "\"";
  }
  if (!isAccountRole(token.role)) return "the role of the token \"" + token.name + "\" is neither viewer nor operator";
  if (!isDigest(token.digest)) return "the digest of the token \"" + token.name + "\" is malformed";
  if (!book.accounts.contains(token.user)) return "the token \"" + token.name + "\" is nobody's";
  book.tokens.push_back(std::move(token));
  return std::nullopt;
}

/// Reads each entry of a list into the book.
Problem readList(const json::Object& document, const char* name, std::size_t most, AccountBook& book,
                 Problem (*read)(const json::Object&, AccountBook&)) {
  const json::Array* list = json::arrayAt(document, {name});
  if (list == nullptr) return std::string("there is no list \"") + name + "\"";
  if (list->Size() > most) return std::string("the list \"") + name + "\" is too long";
  for (const json::UnknownElement& element : *list) {
    const auto* entry = element.getIf<json::Object>();
    if (entry == nullptr) return std::string("an entry of \"") + name + "\" is no object";
    if (auto problem = read(*entry, book)) return problem;
  }
  return std::nullopt;
}

Problem readDocument(const json::Object& document, AccountBook& book) {
  if (json::numberAt(document, {"format"}) != kFormat) return "its format is not 1";
  if (auto problem = readList(document, "accounts", AccountBook::kMostAccounts, book, readAccount)) return problem;
  return readList(document, "tokens", AccountBook::kMostTokens, book, readToken);
}

json::Object written(const std::string& user, const Account& account) {
  json::Object entry;
  entry["user"] = json::String(user);
  entry["role"] = json::String(account.role);
  entry["password"] = json::String(account.passwordHash);
  entry["created"] = json::String(account.created);
  return entry;
}

json::Object written(const Token& token) {
  json::Object entry;
  entry["name"] = json::String(token.name);
  entry["user"] = json::String(token.user);
  entry["role"] = json::String(token.role);
  entry["digest"] = json::String(token.digest);
  entry["created"] = json::String(token.created);
  entry["lastUsed"] = json::String(token.lastUsed);
  return entry;
}

}  // namespace

bool isAccountRole(const std::string& role) {
  return role == "viewer" || role == "operator";
}

bool isTokenName(const std::string& name) {
  return !name.empty() && name.size() <= kMostTokenNameBytes &&
         std::all_of(name.begin(), name.end(), isTokenNameCharacter);
}

std::variant<AccountBook, std::string> readAccountBook(const std::string& content) {
  AccountBook book;
  try {
    json::Object document;
    json::Reader::Read(document, content);
    if (auto problem = readDocument(document, book)) return std::move(*problem);
  } catch (const json::Exception& error) {
    return std::string("it is no JSON document: ") + error.what();
  }
  return book;
}

std::string writeAccountBook(const AccountBook& book) {
  json::Array accounts;
  for (const auto& [user, account] : book.accounts) {
    accounts.Insert(written(user, account));
  }
  json::Array tokens;
  for (const Token& token : book.tokens) {
    tokens.Insert(written(token));
  }
  json::Object document;
  document["format"] = json::Number(kFormat);
  document["accounts"] = accounts;
  document["tokens"] = tokens;
  std::string content;
  json::Writer::Write(document, content, true);
  return content + "\n";
}

}  // namespace state
