#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/Result.h"
#include "host/config/Settings.h"

namespace host {

/// New settings for a server that runs, all of them or none: every part first prepares what it needs, a certificate
/// for one, and only when all have it do they change over. For one thread.
class Reload {
 public:
  /// Changes a part over to what it has prepared. Must not fail.
  using Commit = std::function<void()>;
  /// Prepares a part for the settings and changes nothing yet.
  using Prepare = std::function<Result<Commit>(const Settings& settings)>;

  /// The settings that the server was started with.
  explicit Reload(Settings started);

  /// `keys` are those that the part takes on: "log.level", or "access" for a whole section.
  void add(std::vector<std::string> keys, Prepare prepare);

  /// The keys that have changed and that no part takes on: they need a new start. On a failure nothing was changed.
  Result<std::vector<std::string>> apply(const Settings& settings);

 private:
  struct Part {
    std::vector<std::string> keys;
    Prepare prepare;
  };
  std::vector<std::string> leftForNextStart(const Settings& settings) const;
  bool isTakenOn(const std::string& section, const std::string& name) const;

  const Settings mStarted;
  std::vector<Part> mParts;
};

/// The part that is the log: its level and its file. An unchanged file is opened anew, too, for whoever has moved it.
void addLogTo(Reload& reload);

}  // namespace host
