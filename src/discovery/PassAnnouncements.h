#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "discovery/HostTable.h"
#include "discovery/Limits.h"
#include "json/elements.h"

namespace discovery {

/// The servers to list after a pass, from those that it found and what was announced while it searched. A server that
/// was announced keeps its found record. At most `kMaxAnnouncedServers`, the found ones first.
HostTable::Map withAnnouncements(const HostTable::Map& found, const HostTable::Map& announced,
                                 const std::set<std::string>& deregistered);

/// What was announced since a pass began, so that the pass, which searched before, does not undo it when it replaces
/// the list: of each address the last word. Safe for every thread.
class PassAnnouncements {
 public:
  explicit PassAnnouncements(std::size_t limit = kMaxAnnouncedServers);
  PassAnnouncements(const PassAnnouncements&) = delete;
  PassAnnouncements& operator=(const PassAnnouncements&) = delete;

  /// Forgets what was announced before and keeps what is announced from now on.
  void passBegins();
  /// Brings the table up to date with what was announced since `applyTo`, forgets everything, and keeps nothing until
  /// the next pass begins.
  void passEnds(HostTable& table);

  // To be told before the table itself is changed: then either the end of the pass sees it, or the change comes after.
  // Beyond the limit of addresses nothing is kept, nor outside a pass.
  void announced(const std::string& address, const json::Object& record);
  void deregistered(const std::string& address);
  /// The server was filed anew since: what the pass finds counts again.
  void takeBackDeregistration(const std::string& address);

  /// The servers to list after the pass.
  HostTable::Map applyTo(const HostTable::Map& found) const;

 private:
  void keep(const std::string& address, std::optional<json::Object> record);

  const std::size_t mLimit;
  mutable std::mutex mMutex;  ///< guards what follows
  bool mIsPassRunning = false;
  std::map<std::string, std::optional<json::Object>> mLastWords;  ///< none: it has gone
};

}  // namespace discovery
