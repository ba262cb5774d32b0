#include "host/observe/Sightings.h"

#include <algorithm>
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

/// That a server is said to be there neither proves nor disproves what was found out before.
void noteOutcome(KnownServer& server, const utils::Sighting& sighting, KnownServer::Time now) {
  switch (sighting.outcome) {
    case Outcome::kSeen:
      if (server.state != State::kLeft) return;
      server.state = State::kSeen;
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

}  // namespace

bool Sightings::take(const utils::Sighting& sighting, KnownServer::Time now) {
  if (sighting.address.empty() || sighting.address.size() > kLongestAddress || mLimit == 0) return false;
  const std::lock_guard lock(mMutex);
  const auto known = mByAddress.find(sighting.address);
  const bool isKnown = known != mByAddress.end();
  if (!isKnown && sighting.outcome == Outcome::kLeft) return false;
  auto server = isKnown ? std::make_shared<KnownServer>(*known->second->entry) : std::make_shared<KnownServer>();
  server->address = sighting.address;
  if (!sighting.displayId.empty()) server->displayId = cut(sighting.displayId);
  if (sighting.outcome != Outcome::kLeft) noteSource(*server, sighting.source, now);
  noteOutcome(*server, sighting, now);
  put(std::move(server));
  return true;
}

void Sightings::put(Entry entry) {
  const auto known = mByAddress.find(entry->address);
  if (known != mByAddress.end()) {
    const auto place = known->second;
    mByAddress.erase(known);
    mPlaces.erase(place);
  } else if (mPlaces.size() >= mLimit) {
    makeRoom();
  }
  mPlaces.push_back({std::move(entry), ++mVersion});
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

Sightings::Changes Sightings::changedSince(std::uint64_t version) const {
  Changes changes;
  const std::lock_guard lock(mMutex);
  changes.version = mVersion;
  changes.isComplete = version >= mForgotten && version <= mVersion;
  for (auto place = mPlaces.rbegin(); place != mPlaces.rend(); ++place) {
    if (changes.isComplete && place->version <= version) break;
    changes.changed.push_back(place->entry);
  }
  std::reverse(changes.changed.begin(), changes.changed.end());
  if (!changes.isComplete) return changes;
  for (auto removal = mRemovals.rbegin(); removal != mRemovals.rend() && removal->first > version; ++removal) {
    if (!mByAddress.contains(removal->second)) changes.removed.push_back(removal->second);
  }
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
        ++tally.failed;
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
