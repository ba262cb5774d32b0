#include "discovery/HostLists.h"

#include "discovery/DiscoveryMap.h"
#include "discovery/InventoryRebuild.h"
#include "discovery/Limits.h"
#include "discovery/ProvisionalRecord.h"
#include "discovery/RecordSize.h"
#include "framework/constants/JsonConstants.h"
#include "framework/http/UriTemplate.h"
#include "framework/utils/Log.h"
#include "json/lookup.h"

namespace discovery {
namespace {

using Keys = constants::JsonConstants;

json::Object valueOf(const json::Object& answer) {
  const json::Object* const value = json::objectAt(answer, {Keys::VALUE});
  return value != nullptr ? *value : json::Object();
}

}  // namespace

void HostLists::addSearched(const std::string& key, const json::Object& request, const json::Object& serverRecord,
                            bool fromRequest) {
  json::Object entry;
  if (fromRequest) {
    formProvisionalRecord(entry, json::textAt(request, {"parameters", "address"}));
  } else {
    entry = serverRecord;
  }
  entry[Keys::VALUE][Keys::PROPERTIES][kIsManual] = json::Boolean(true);

  const std::string id = http::lastPathSegment(key);
  const json::Object record = valueOf(entry);
  const char* reason = nullptr;
  if (id.empty()) {
    reason = "there is no identifier in the key";
  } else if (isTooLarge(record)) {
    reason = "the record is too large";
  } else if (mSearchedHosts.insertIfAbsent(id, record, kMaxSearchedHosts) == HostTable::Filing::kFull) {
    reason = "the list is full";
  }
  if (reason == nullptr || !mLeftOut.admits()) return;
  utils::formatted_log_t(utils::LOG_FAILURE, "RemoteServerDiscovery:addToSearchHostList:%1%, left out:%2%") % reason %
      key;
}

void HostLists::addToPublished(const std::string& key, const json::Object& answer) {
  mPartialDiscoveredHosts.insertIfAbsent(key, valueOf(answer));
  DiscoveryMap::takeBackWithdrawal(key);
  DiscoveryMap::updateServerList(*mPartialDiscoveredHosts.snapshot());
}

bool HostLists::file(const std::string& address, const json::Object& record) {
  const auto inPass = mCycleDiscoveredHosts.insertOrReplace(address, record, kMaxServers);
  const auto inPublished = mPartialDiscoveredHosts.insertOrReplace(address, record, kMaxServers);
  const bool isFiled = inPass != HostTable::Filing::kFull && inPublished != HostTable::Filing::kFull;
  if (!isFiled && mFullLists.admits()) {
    utils::formatted_log_t(utils::LOG_FAILURE,
                           "RemoteServerDiscovery:addDiscoveredHost:the list is full, left out:%1%") %
        address;
  }
  return isFiled;
}

void HostLists::file(const std::string& address, const json::Object& record, std::uint32_t counter,
                     const std::string& gid) {
  if (file(address, record)) mUpdatedCounters.record(address, counter, gid);
}

bool HostLists::remove(const std::string& key) {
  const bool wasFound = mCycleDiscoveredHosts.erase(key);  // or the running pass would publish it again
  const bool wasPublished = mPartialDiscoveredHosts.erase(key);
  // What nobody holds is not kept from the running pass, either.
  const bool isHeld = wasFound || wasPublished || DiscoveryMap::snapshot()->contains(key);
  const bool wasAnnounced = isHeld && DiscoveryMap::withdraw(key);
  return wasPublished || wasAnnounced;
}

void HostLists::copyDiscovered(json::Array& out) const {
  HostTable::Snapshot hosts = DiscoveryMap::snapshot();
  utils::formatted_log_t(utils::LOG_INVENTORY,
                         "RemoteServerDiscovery:getDiscoveredHost:mDiscoveredHosts.size():"
                         "mPartialDiscoveredHosts.size():%1%%2%") %
      hosts->size() % mPartialDiscoveredHosts.size();
  if (hosts->empty()) hosts = mPartialDiscoveredHosts.snapshot();
  json::Array records;
  for (const auto& [key, record] : *hosts)
    records.Insert(record);
  out = records;
}

void HostLists::publishPass(utils::Mutex& filing) {
  const HostTable::Snapshot published = mPartialDiscoveredHosts.snapshot();
  const HostTable::Snapshot found = mCycleDiscoveredHosts.snapshot();
  if (!published->empty() && !found->empty()) {
    HostTable::Map rebuilt = rebuildInventory(*published, *found);
    const utils::Lock lock(&filing, false);
    mPartialDiscoveredHosts.replaceAll(std::move(rebuilt));
  } else if (!found->empty()) {
    mPartialDiscoveredHosts.replaceAll(*found);
  }
  // A server that left is asked anew when it comes back, so its counter is of no more use.
  mUpdatedCounters.keepOnly(*mPartialDiscoveredHosts.snapshot(), *mCycleDiscoveredHosts.snapshot());
  utils::formatted_log_t(utils::LOG_INVENTORY,
                         "RemoteServerDiscovery:clearAutoDiscoveredServers:mPartialDiscoveredHosts.size():%1%") %
      mPartialDiscoveredHosts.size();
}

}  // namespace discovery
