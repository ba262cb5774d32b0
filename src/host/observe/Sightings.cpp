#include "host/observe/Sightings.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace host {
namespace {

using Outcome = utils::Sighting::Outcome;
using Source = utils::Sighting::Source;
using State = KnownServer::State;

/// Removals that are remembered; whoever has missed more is told everything.
constexpr std::size_t kMostRemovals = 4'096;

/// Not in the middle of a character of UTF-8.
std::string cut(const std::string& text) {
  if (text.size() <= Sightings::kLongestText) return text;
  std::size_t length = Sightings::kLongestText;
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U)
    --length;
  return text.substr(0, length);
}

void noteSource(KnownServer& server, Source source, KnownServer::Time now) {
  auto& span = server.sources[static_cast<std::size_t>(source)];
  if (!span) span = KnownServer::Span{now, now};
  span->last = now;
}

/// Whether it is passed over: the going of somebody unknown, or of somebody whom a pass has not listed because he
/// failed, which says more.
bool saysNothing(const KnownServer* known, const utils::Sighting& sighting) {
  if (sighting.outcome != Outcome::kLeft) return false;
  return known == nullptr || (known->state == State::kFailed && sighting.source == Source::kSlp);
}

/// As far as it is known of one that is back.
State stateOfReturned(const KnownServer& server) {
  const bool isVerified = server.verified && (!server.failed || *server.verified > *server.failed);
  return isVerified ? State::kVerified : State::kSeen;
}

/// An address that was only ever searched for in vain may be a slip of the pen.
bool maybeMistyped(const KnownServer& server) {
  if (server.verified) return false;
  for (const Source source : {Source::kAnnouncement, Source::kSlp, Source::kByHand}) {
    if (server.source(source)) return false;
  }
  return true;
}

/// That a server is said to be there neither proves nor disproves what was found out before.
void noteOutcome(KnownServer& server, const utils::Sighting& sighting, KnownServer::Time now) {
  switch (sighting.outcome) {
    case Outcome::kSeen:
      if (server.state != State::kLeft) return;
      server.state = stateOfReturned(server);
      server.reason.clear();
      return;
    case Outcome::kVerified:
      server.state = State::kVerified;
      server.verified = now;
      break;
    case Outcome::kFailed:
      server.state = State::kFailed;
      server.failed = now;
      break;
    case Outcome::kLeft:
      server.state = State::kLeft;
      break;
  }
  server.reason = cut(sighting.reason);
}

bool isQuiet(KnownServer::Time changed, KnownServer::Time now) {
  return now >= changed && now - changed < Sightings::kQuietTime;
}

/// Whether two differ in nothing but times.
bool isSameButForTimes(const KnownServer& one, const KnownServer& other) {
  const auto hasSame = [](const auto& a, const auto& b) { return a.has_value() == b.has_value(); };
  return one.state == other.state && one.displayId == other.displayId && one.reason == other.reason &&
         hasSame(one.verified, other.verified) && hasSame(one.failed, other.failed) &&
         std::equal(one.sources.begin(), one.sources.end(), other.sources.begin(), hasSame);
}

}  // namespace

bool Sightings::take(const utils::Sighting& sighting, KnownServer::Time now) {
  if (sighting.address.empty() || sighting.address.size() > kLongestAddress || mLimit == 0) return false;
  const std::lock_guard lock(mMutex);
  const auto known = mByAddress.find(sighting.address);
  const bool isKnown = known != mByAddress.end();
  if (saysNothing(isKnown ? known->second->entry.get() : nullptr, sighting)) return false;
  auto server = isKnown ? std::make_shared<KnownServer>(*known->second->entry) : std::make_shared<KnownServer>();
  server->address = sighting.address;
  if (!sighting.displayId.empty()) server->displayId = cut(sighting.displayId);
  if (sighting.outcome != Outcome::kLeft) noteSource(*server, sighting.source, now);
  noteOutcome(*server, sighting, now);
  if (isKnown && isQuiet(known->second->changed, now) && isSameButForTimes(*known->second->entry, *server)) {
    replace(known->second, std::move(server));
    return false;
  }
  put(std::move(server), now);
  return true;
}

void Sightings::replace(Places::iterator place, Entry entry) {
  mByAddress.erase(place->entry->address);
  place->entry = std::move(entry);
  mByAddress.emplace(place->entry->address, place);
}

void Sightings::put(Entry entry, KnownServer::Time now) {
  const auto known = mByAddress.find(entry->address);
  if (known != mByAddress.end()) {
    const auto place = known->second;
    mByAddress.erase(known);
    mPlaces.erase(place);
  } else if (mPlaces.size() >= mLimit) {
    makeRoom();
  }
  mPlaces.push_back({std::move(entry), ++mVersion, now});
  mByAddress.emplace(mPlaces.back().entry->address, std::prev(mPlaces.end()));
}

void Sightings::makeRoom() {
  const Entry oldest = mPlaces.front().entry;
  mByAddress.erase(oldest->address);
  mPlaces.pop_front();
  mRemovals.emplace_back(++mVersion, oldest->address);
  if (mRemovals.size() <= kMostRemovals) return;
  mForgotten = mRemovals.front().first;
  mRemovals.pop_front();
}

Sightings::Entries Sightings::all() const {
  const std::lock_guard lock(mMutex);
  Entries entries;
  entries.reserve(mPlaces.size());
  for (const Place& place : mPlaces)
    entries.push_back(place.entry);
  return entries;
}

Sightings::Changes Sightings::changedSince(std::uint64_t version, std::size_t most) const {
  const std::lock_guard lock(mMutex);
  Changes changes;
  changes.isComplete = version >= mForgotten && version <= mVersion;
  changes.version = changes.isComplete ? version : mVersion;
  auto place = mPlaces.end();
  while (place != mPlaces.begin() && (!changes.isComplete || std::prev(place)->version > version))
    --place;
  if (!changes.isComplete) {
    std::transform(place, mPlaces.end(), std::back_inserter(changes.changed),
                   [](const Place& each) { return each.entry; });
    return changes;
  }
  auto removal = std::upper_bound(mRemovals.begin(), mRemovals.end(), version,
                                  [](std::uint64_t since, const Removal& each) { return since < each.first; });
  for (; most > 0 && (place != mPlaces.end() || removal != mRemovals.end()); --most) {
    if (removal == mRemovals.end() || (place != mPlaces.end() && place->version < removal->first)) {
      changes.version = place->version;
      changes.changed.push_back((place++)->entry);
    } else {
      changes.version = removal->first;
      if (!mByAddress.contains(removal->second)) changes.removed.push_back(removal->second);
      ++removal;
    }
  }
  changes.hasMore = place != mPlaces.end() || removal != mRemovals.end();
  return changes;
}

std::uint64_t Sightings::version() const {
  const std::lock_guard lock(mMutex);
  return mVersion;
}

std::size_t Sightings::size() const {
  const std::lock_guard lock(mMutex);
  return mPlaces.size();
}

Sightings::Tally Sightings::tally() const {
  Tally tally;
  for (const Entry& server : all()) {
    switch (server->state) {
      case State::kSeen:
        ++tally.seen;
        break;
      case State::kVerified:
        ++tally.verified;
        break;
      case State::kFailed:
        if (!maybeMistyped(*server)) ++tally.failed;
        break;
      case State::kLeft:
        ++tally.left;
        break;
    }
    if (server->state != State::kLeft && server->source(Source::kByHand)) ++tally.byHand;
  }
  return tally;
}

}  // namespace host
