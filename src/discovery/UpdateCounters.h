#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "discovery/HostTable.h"
#include "discovery/Limits.h"

namespace discovery {

/// Which state of each server was filed last: its update counter and its identity digest, by address. The digest is
/// kept because a server's counter starts over when the server does. Safe for every thread.
class UpdateCounters {
 public:
  struct Filed {
    std::uint32_t counter = 0;
    std::string gid;  ///< "" when the server never gave one
  };

  explicit UpdateCounters(std::size_t limit = kMaxServers);
  UpdateCounters(const UpdateCounters&) = delete;
  UpdateCounters& operator=(const UpdateCounters&) = delete;

  /// Without a digest the earlier one stays. A full record takes no new address, which costs no more than asking that
  /// server again.
  void record(const std::string& address, std::uint32_t counter, const std::string& gid);
  std::optional<Filed> find(const std::string& address) const;
  /// Forgets the addresses that none of these lists holds.
  void keepOnly(const HostTable::Map& hosts, const HostTable::Map& others);
  void clear();
  std::size_t size() const;

 private:
  const std::size_t mLimit;
  mutable std::mutex mMutex;  ///< guards what follows
  std::map<std::string, Filed> mFiled;
};

}  // namespace discovery
