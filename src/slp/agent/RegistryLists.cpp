#include <algorithm>
#include <unordered_set>

#include "slp/agent/Registry.h"
#include "slp/agent/RegistryState.h"

// What those need who pass registrations on: texts of their own, to be used without the lock.
namespace slp::agent {

std::vector<Registration> Registry::ofUrl(std::string_view url, TimePoint now) const {
  const std::shared_lock lock(mMutex);
  std::vector<Registration> result;
  for (const Record* record = mState->head(url); record != nullptr; record = record->nextOfUrl) {
    if (record->deadline <= now) continue;
    const Entry entry = entryOf(*record, now);
    result.push_back({std::string(entry.url), std::string(entry.serviceType), std::string(entry.scopes),
                      std::string(entry.attributes), std::string(entry.language), entry.lifetime});
  }
  return result;
}

std::vector<Variant> Registry::variantsOf(std::string_view url, TimePoint now) const {
  const std::shared_lock lock(mMutex);
  std::vector<Variant> result;
  for (const Record* record = mState->head(url); record != nullptr; record = record->nextOfUrl) {
    if (record->deadline <= now) continue;
    const Entry entry = entryOf(*record, now);
    result.push_back({std::string(entry.language), std::string(entry.scopes)});
  }
  return result;
}

std::vector<std::string> Registry::urls() const {
  const std::shared_lock lock(mMutex);
  std::vector<std::string> result;
  result.reserve(mState->size());
  for (const auto& [owner, records] : mState->mByOwner)
    for (const Link* link = records.first(); link != records.end(); link = link->next)
      if (mState->head(link->record->url()) == link->record) result.emplace_back(link->record->url());
  return result;
}

std::vector<std::string> Registry::allTypes() const {
  const std::shared_lock lock(mMutex);
  std::unordered_set<const std::string*> spellings;  // equal ones are one text
  for (const auto& [owner, records] : mState->mByOwner)
    for (const Link* link = records.first(); link != records.end(); link = link->next)
      spellings.insert(link->record->serviceType);
  std::vector<std::string> result;
  for (const std::string* spelling : spellings)
    result.push_back(*spelling);
  std::sort(result.begin(), result.end());
  return result;
}

}  // namespace slp::agent
