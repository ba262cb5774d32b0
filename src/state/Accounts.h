#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "state/AccountsFile.h"
#include "state/Directory.h"

namespace state {

/// The accounts and API tokens of the server, in one file of its directory. The server and `kvtctl` work on it at the
/// same time: what one has written, the other sees with its next call. A file that cannot be read, or is not in order,
/// lets nobody in and is never written over. Safe for every thread and process.
class Accounts {
 public:
  static constexpr const char* kFileName = "accounts.json";
  static constexpr std::string_view kTokenStart = "kvt_";

  /// Why something was not done.
  struct Refusal {
    enum class Reason { kBadInput, kMissing, kExists, kFull, kUnusable };
    Reason reason;
    std::string text;  ///< a sentence for whoever asked
  };
  using Outcome = std::optional<Refusal>;  ///< nothing: it was done

  /// The file at one moment.
  struct Reading {
    std::shared_ptr<const AccountBook> book;  ///< never null
    std::string problem;                      ///< why the file cannot be used, naming it; the book is then empty
  };

  /// The directory must outlive it.
  explicit Accounts(const Directory& directory);

  /// Looks at the file, and reads it when it has changed. No file stands for no accounts.
  Reading read() const;

  /// The account that has this password; nothing when there is none. An unknown user takes as long as a wrong password
  /// does: 64 MiB and some tenths of a second.
  std::optional<Account> verify(const std::string& user, const std::string& password) const;
  /// The token of this text. How long that takes does not depend on the text.
  std::optional<Token> findToken(std::string_view text) const;

  // These wait for whoever else edits the file. They throw std::system_error when it cannot be written.

  Outcome add(const std::string& user, const std::string& role, const std::string& password);
  /// An operator; refused (kExists) when there is an account already.
  Outcome addFirst(const std::string& user, const std::string& password);
  Outcome setPassword(const std::string& user, const std::string& password);
  Outcome setRole(const std::string& user, const std::string& role);
  /// With its tokens.
  Outcome remove(const std::string& user);

  /// The new token's text, which is kept nowhere.
  std::variant<std::string, Refusal> addToken(const std::string& name, const std::string& user,
                                              const std::string& role);
  /// Of a user, or of anybody when `user` is "".
  Outcome removeToken(const std::string& name, const std::string& user);
  /// Notes that a token was used now. One that is gone meanwhile is no refusal.
  Outcome noteUse(const std::string& name);

 private:
  /// Changes a book, or says why not.
  using Change = std::function<Outcome(AccountBook&)>;

  Outcome edit(const Change& change);
  Outcome insert(const std::string& user, const std::string& role, const std::string& password, bool onlyFirst);
  /// The text says what is not in order. Throws std::system_error when the file cannot be read.
  std::variant<AccountBook, std::string> readFile() const;

  const Directory& mDirectory;
  mutable std::mutex mMutex;
  mutable std::string mVersion;  ///< of what is cached; "" for nothing
  mutable Reading mCached;
};

}  // namespace state
