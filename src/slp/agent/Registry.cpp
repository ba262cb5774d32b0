#include "slp/agent/Registry.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <unordered_set>

#include "slp/agent/Checks.h"
#include "slp/agent/RegistryState.h"
#include "slp/wire/Filter.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/StringList.h"

namespace slp::agent {

Registry::Registry() : mState(std::make_unique<State>()) {}

Registry::~Registry() = default;

wire::ErrorCode Registry::add(const Registration& registration, Owner owner, TimePoint now) {
  const std::lock_guard lock(mMutex);
  return mState->add(registration, owner, now);
}

wire::ErrorCode Registry::remove(std::string_view url, Owner owner) {
  const std::lock_guard lock(mMutex);
  bool any = false;
  for (auto* record = mState->head(url); record;) {
    auto* next = record->nextOfUrl;
    if (record->owner == owner) {
      mState->erase(record);
      any = true;
    }
    record = next;
  }
  return any ? wire::ErrorCode::kOk : wire::ErrorCode::kInvalidRegistration;
}

std::vector<std::string> Registry::removeAll(Owner owner) {
  const std::lock_guard lock(mMutex);
  std::vector<std::string> gone;
  // The list goes with its last record.
  for (auto owned = mState->mByOwner.find(owner); owned != mState->mByOwner.end();
       owned = mState->mByOwner.find(owner)) {
    auto* record = owned->second.first()->record;
    gone.emplace_back(record->url());
    mState->erase(record);
  }
  return gone;
}

std::vector<std::string> Registry::expire(TimePoint now) {
  const std::lock_guard lock(mMutex);
  std::vector<std::string> gone;
  auto& deadlines = mState->mDeadlines;
  while (!deadlines.empty() && (*deadlines.begin())->deadline <= now) {
    gone.emplace_back((*deadlines.begin())->url());
    mState->erase(*deadlines.begin());
  }
  return gone;
}

std::optional<TimePoint> Registry::nextExpiry() const {
  const std::shared_lock lock(mMutex);
  if (mState->mDeadlines.empty()) return std::nullopt;
  return (*mState->mDeadlines.begin())->deadline;
}

Registry::Result Registry::findServices(const Search& search, TimePoint now, const Visitor& visit) const {
  std::optional<wire::Filter> filter;
  if (!search.filter.empty()) {
    filter = wire::Filter::parse(search.filter);
    if (!filter) return Result::kParseError;
  }
  const std::shared_lock lock(mMutex);
  const auto* group = mState->group(search.serviceType);
  if (!group) return Result::kOk;
  return walk(*group, {search, now, filter ? &*filter : nullptr, filter.has_value()}, visit);
}

Registry::Result Registry::findByUrl(std::string_view url, std::string_view scopes, std::string_view language,
                                     TimePoint now, const Visitor& visit) const {
  const std::shared_lock lock(mMutex);
  ScopeCheck asked(scopes);
  LanguageCheck languages(language);
  const Record* best = nullptr;
  bool any = false;
  for (const auto* record = mState->head(url); record; record = record->nextOfUrl) {
    if (record->deadline <= now || !asked.admits(record->scopes)) continue;
    any = true;
    const auto spoken = languages.spoken(record->language);
    if (spoken == Spoken::kExact || (spoken == Spoken::kPrimary && !best)) best = record;
    if (spoken == Spoken::kExact) break;
  }
  if (!best) return any ? Result::kLanguageNotSupported : Result::kOk;
  visit(entryOf(*best, now));
  return Result::kOk;
}

namespace {

/// Collects the attribute lists of services. Merges them now and then, so that a result which is too long is noticed
/// long before the last of thousands of services.
class Merger {
 public:
  Merger(std::string_view tags, std::size_t maxBytes) : mTags(tags), mMaxBytes(maxBytes) {}

  /// False when there is no need for more.
  bool add(std::string_view attributes) {
    // Thousands of services often have the same attributes.
    if (attributes.empty() || !mSeen.insert(attributes).second) return true;
    if (!mTags.empty()) attributes = mSelected.emplace_back(wire::selectAttributes(attributes, mTags));
    if (!attributes.empty()) mLists.push_back(attributes);
    if (mLists.size() < mNextTrial) return true;
    mNextTrial *= 4;
    bool cut = false;
    merged(cut);
    return !cut;
  }

  std::string merged(bool& cut) const { return wire::mergeAttributes(mLists, mMaxBytes, cut); }

 private:
  std::string_view mTags;
  std::size_t mMaxBytes;
  std::size_t mNextTrial = 16;
  std::unordered_set<std::string_view> mSeen;
  std::deque<std::string> mSelected;
  std::vector<std::string_view> mLists;
};

}  // namespace

Registry::Merged Registry::mergeAttributes(const Search& search, std::string_view tags, TimePoint now,
                                           std::size_t maxBytes, const Visitor& admit) const {
  Merged merged;
  const std::shared_lock lock(mMutex);
  const auto* group = mState->group(search.serviceType);
  if (!group) return merged;
  Merger merger(tags, maxBytes);
  merged.result = walk(*group, {search, now, nullptr, true}, [&](const Entry& entry) {
    if (!admit(entry)) return true;
    ++merged.found;
    return merger.add(entry.attributes);
  });
  merged.attributes = merger.merged(merged.cut);
  return merged;
}

void Registry::visitTypes(std::optional<std::string_view> namingAuthority, std::string_view scopes,
                          const std::function<bool(std::string_view)>& visit) const {
  const std::shared_lock lock(mMutex);
  ScopeCheck asked(scopes);
  for (const auto& group : mState->mGroups) {
    const auto& counted = group.scopes;
    if (std::none_of(counted.begin(), counted.end(), [&](const auto& one) { return asked.admits(one.first); }))
      continue;
    if (namingAuthority && !wire::equalFolded(wire::namingAuthority(*group.spelling), *namingAuthority)) continue;
    if (!visit(*group.spelling)) return;
  }
}

std::vector<std::string> Registry::types(std::optional<std::string_view> namingAuthority,
                                         std::string_view scopes) const {
  std::vector<std::string> result;
  visitTypes(namingAuthority, scopes, [&result](std::string_view type) {
    result.emplace_back(type);
    return true;
  });
  return result;
}

std::vector<Registration> Registry::ofOwner(Owner owner) const {
  const std::shared_lock lock(mMutex);
  std::vector<Registration> result;
  const auto owned = mState->mByOwner.find(owner);
  if (owned == mState->mByOwner.end()) return result;
  for (const auto* link = owned->second.first(); link != owned->second.end(); link = link->next) {
    const auto& record = *link->record;
    result.push_back({std::string(record.url()), *record.serviceType, *record.scopes, std::string(record.attributes()),
                      *record.language, record.lifetime});
  }
  return result;
}

std::size_t Registry::size() const {
  const std::shared_lock lock(mMutex);
  return mState->size();
}

std::uint64_t Registry::typesGeneration() const {
  const std::shared_lock lock(mMutex);
  return mState->mTypesGeneration;
}

}  // namespace slp::agent
