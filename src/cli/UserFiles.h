#pragma once

#include <functional>
#include <optional>
#include <string>

#include "cli/Result.h"
#include "json/elements.h"

namespace cli {

/// What kvtctl keeps for its user from one call to the next: small JSON documents in a directory that only he can read.
/// Several kvtctl may run at a time. For any thread.
class UserFiles {
 public:
  /// `directory` is made with the first document; "" for a user who has no place for it.
  explicit UserFiles(std::string directory) : mDirectory(std::move(directory)) {}

  /// $XDG_CONFIG_HOME/kvtctl, else ~/.config/kvtctl; "" when neither is told.
  static std::string defaultDirectory();

  std::string pathOf(const std::string& name) const { return mDirectory + "/" + name; }
  /// An empty document when there is no file.
  Result<json::Object> read(const std::string& name) const;
  /// Reads, changes and writes, while others wait. Why it could not; nothing when it did.
  std::optional<Failure> change(const std::string& name, const std::function<void(json::Object&)>& edit) const;

 private:
  std::string mDirectory;
};

/// The certificates of servers, by "host:port".
inline constexpr const char* kKnownServers = "known_servers";
/// The tokens of logins, by the server's URL.
inline constexpr const char* kTokens = "tokens";

}  // namespace cli
