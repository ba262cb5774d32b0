#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "framework/utils/Observer.h"

namespace host {

/// What is known of one address and where that comes from.
struct KnownServer {
  using Time = std::chrono::system_clock::time_point;
  enum class State { kSeen, kVerified, kFailed, kLeft };
  static constexpr std::size_t kSources = 4;

  /// When one source spoke of it.
  struct Span {
    Time first;
    Time last;
  };

  std::string address;
  std::string displayId;
  State state = State::kSeen;
  std::array<std::optional<Span>, kSources> sources;  ///< by utils::Sighting::Source
  std::optional<Time> verified;                       ///< when it last answered with its details
  std::optional<Time> failed;                         ///< when it last did not
  std::string reason;                                 ///< why it is in its state, "" when that speaks for itself

  const std::optional<Span>& source(utils::Sighting::Source which) const {
    return sources[static_cast<std::size_t>(which)];
  }
};

/// The servers that were seen lately, by address. Bounded: the one that was heard of longest ago makes room, give or
/// take `kQuietTime`. Safe for every thread; nobody waits longer than one change, or the copying of pointers, takes.
class Sightings {
 public:
  using Entry = std::shared_ptr<const KnownServer>;
  using Entries = std::vector<Entry>;

  static constexpr std::size_t kMost = 20'000;
  /// Bytes; a sighting with a longer address is passed over, a longer text is cut.
  static constexpr std::size_t kLongestAddress = 255;
  static constexpr std::size_t kLongestText = 512;
  /// For so long after a change it is none that nothing but times have moved.
  static constexpr std::chrono::seconds kQuietTime{30};

  /// What is different since a version.
  struct Changes {
    std::uint64_t version = 0;  ///< ask for what comes after this one next time
    bool isComplete = true;     ///< false: too much has changed to tell, and `changed` holds everything
    bool hasMore = false;       ///< there is more than was asked for
    Entries changed;            ///< in the order of their last change
    std::vector<std::string> removed;
  };

  /// How many are in which state. Those that failed, were never verified and were only searched for are left out: there
  /// may be no such server.
  struct Tally {
    std::size_t seen = 0;
    std::size_t verified = 0;
    std::size_t failed = 0;
    std::size_t left = 0;
    std::size_t byHand = 0;  ///< of those that have not left
  };

  explicit Sightings(std::size_t limit = kMost) : mLimit(limit) {}

  /// Whether anything has changed: the going of somebody unknown is none of our business, and a pass that does not list
  /// somebody who failed says nothing new.
  bool take(const utils::Sighting& sighting, KnownServer::Time now);

  /// In the order of their last change.
  Entries all() const;
  /// The first ones, at most that many, changed and removed together.
  Changes changedSince(std::uint64_t version, std::size_t most = std::numeric_limits<std::size_t>::max()) const;
  std::uint64_t version() const;
  std::size_t size() const;
  Tally tally() const;

 private:
  struct Place {
    Entry entry;
    std::uint64_t version = 0;
    KnownServer::Time changed;
  };
  using Places = std::list<Place>;  ///< the latest change at the end
  using Removal = std::pair<std::uint64_t, std::string>;

  void replace(Places::iterator place, Entry entry);
  void put(Entry entry, KnownServer::Time now);
  void makeRoom();

  const std::size_t mLimit;
  mutable std::mutex mMutex;  ///< guards what follows
  std::uint64_t mVersion = 0;
  std::uint64_t mForgotten = 0;  ///< the removals up to this version are no longer known
  Places mPlaces;
  std::unordered_map<std::string_view, Places::iterator> mByAddress;  ///< keys are views into the entries
  std::deque<Removal> mRemovals;
};

}  // namespace host
