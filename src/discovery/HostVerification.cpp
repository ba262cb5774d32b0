#include "discovery/HostVerification.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "discovery/InventoryRebuild.h"
#include "discovery/Limits.h"
#include "discovery/LocalMachine.h"
#include "discovery/LogThrottle.h"
#include "discovery/ProvisionalRecord.h"
#include "discovery/RecordSize.h"
#include "discovery/ServerDetails.h"
#include "framework/constants/JsonConstants.h"
#include "framework/http/HTTPCommand.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "json/lookup.h"

namespace discovery {
namespace {

using http::HTTPCommand;
using Outcome = Verdict::Outcome;
using Keys = constants::JsonConstants;

constexpr const char* kLoopback = "127.0.0.1";
/// The one build of legacy servers that is filed.
constexpr const char* kLegacyBuild = "008";

LogThrottle gOddCandidates;

Verdict failed(const char* reason) {
  return {Outcome::kFailed, reason, Verdict::Fetch::kNone, ""};
}

bool isTooLong(const std::string& address) {
  if (address.size() <= kMaxAddressLength) return false;
  if (!gOddCandidates.admits()) return true;
  utils::formatted_log_t(utils::LOG_FAILURE,
                         "RemoteServerDiscovery:addDiscoveredHost:an address is too long, its length:%1%") %
      address.size();
  return true;
}

bool isEmpty(const std::string& address, const std::string& attributes) {
  if (!address.empty() && !attributes.empty()) return false;
  utils::formatted_log_t(utils::LOG_INVENTORY,
                         "RemoteServerDiscovery:addDiscoveredHost:no address or no attributes, strServerIp:%1%") %
      address;
  return true;
}

/// Why there are no details, in the words of the host where it has any.
std::string reasonOf(const json::Object& response, int status) {
  const std::string words = json::textAt(response, {Keys::STATUS, Keys::DESC});
  const std::string reason = "It did not give its details";
  return reason + (words.empty() ? " (HTTP status " + std::to_string(status) + ")" : ": " + words);
}

/// Whether any of the records that described the candidate describes this machine.
bool isThisMachine(const Candidate& candidate) {
  const LocalAddresses local = localAddresses();
  if (candidate.nics.empty()) return isLocalServer({}, candidate.address, local);
  return std::any_of(candidate.nics.begin(), candidate.nics.end(),
                     [&](const json::Array& nics) { return isLocalServer(nics, candidate.address, local); });
}

/// What older servers answer the details call with, beside success.
bool isLegacyAnswer(int status) {
  return status == HTTPCommand::HTTP_OK || status == HTTPCommand::HTTP_BAD_REQUEST ||
         status == HTTPCommand::HTTP_METHOD_NOT_ALLOWED;
}

/// Only a user adds servers by hand, whatever a record says of itself.
void forgetManual(json::Object& record) {
  if (json::find(record, {Keys::PROPERTIES, kIsManual}) == nullptr) return;
  json::Object& properties = record[Keys::PROPERTIES];
  properties.Erase(properties.Find(kIsManual));
}

void copyLastCommunicatedIp(const json::Object& response, json::Object& record) {
  const auto* const address =
      json::find(response, {Keys::PROPERTIES, Keys::OS, Keys::NETWORK, Keys::LAST_COMMUNICATED_IP});
  if (address == nullptr) return;
  record[Keys::PROPERTIES][Keys::OS][Keys::NETWORK][Keys::LAST_COMMUNICATED_IP] = *address;
}

}  // namespace

HostVerification::HostVerification(HostLists& lists, UnreachableAddresses& unreachable, utils::Mutex& filing)
    : mLists(lists), mUnreachable(unreachable), mFiling(filing) {}

Verdict HostVerification::verify(const std::string& address, const std::string& attributes, bool provisional) {
  const unsigned int strictness = launcher::Preferences::get_instance()->get_slp_find_service_strictness();
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:addDiscoveredHost:entered with strServerIp:%1%") %
      address;
  if (isTooLong(address)) return {};
  if (provisional && !address.empty()) {
    fileProvisional(address);
    return {Outcome::kSeen, "", Verdict::Fetch::kNone, ""};
  }
  if (isEmpty(address, attributes) || address == kLoopback) return {};

  std::optional<Candidate> candidate = readCandidate(address, attributes);
  if (!candidate) return failed("Its attributes are no document, or too long");
  Verdict verdict = isIdentityAccepted(*candidate, strictness)
                        ? judge(*candidate)
                        : failed("The digest of its attributes does not match them");
  verdict.displayId = candidate->displayId;
  return verdict;
}

Verdict HostVerification::judge(Candidate& candidate) {
  const Known known = lookUp(candidate);
  if (known.isServerFound && !known.isCounterUpdated) {
    mLists.file(candidate.address, known.previous, candidate.updatedCounter, candidate.gid);
    return {Outcome::kSeen, "", Verdict::Fetch::kNone, ""};
  }
  return isThisMachine(candidate) ? fileLocal(candidate) : askRemote(candidate);
}

void HostVerification::fileProvisional(const std::string& address) {
  json::Object answer;
  formProvisionalRecord(answer, address);
  const utils::Lock lock(&mFiling, false);
  mLists.file(address, *json::objectAt(answer, {Keys::VALUE}));
}

HostVerification::Known HostVerification::lookUp(Candidate& candidate) const {
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:addDiscoveredHost:mDiscoveredHosts.size():%1%") %
      mLists.mDiscoveredHosts.size();
  Known known;
  UpdateCounters::Filed filed;
  if (auto previous = mLists.mDiscoveredHosts.find(candidate.address)) {
    known.isServerFound = true;
    known.previous = std::move(*previous);
    candidate.readNics(known.previous);
    filed = mLists.mUpdatedCounters.find(candidate.address).value_or(UpdateCounters::Filed());
    const bool isOtherGid = !candidate.gid.empty() && candidate.gid != filed.gid;
    known.isCounterUpdated = filed.counter != candidate.updatedCounter || isOtherGid;
  }
  utils::formatted_log_t(
      utils::LOG_INVENTORY,
      "RemoteServerDiscovery:addDiscoveredHost:isServerFound:%1%,isCounterUpdated:%2%,isLegacyServer:%3%") %
      known.isServerFound % known.isCounterUpdated % candidate.isLegacyServer;
  utils::formatted_log_t(
      utils::LOG_INVENTORY,
      "RemoteServerDiscovery:addDiscoveredHost:nTempUpdatedCounter:%1%,nUpdatedCounter:%2%,isCounterUpdated:%3%") %
      candidate.updatedCounter % filed.counter % known.isCounterUpdated;
  return known;
}

Verdict HostVerification::fileLocal(const Candidate& candidate) {
  json::Object record;
  const int status = getLocalServerDetails(candidate.displayId, candidate.address, record);
  if (status != HTTPCommand::HTTP_OK || record.Empty()) return failed("This server does not give its own details");
  record[Keys::PROPERTIES][Keys::IS_PIVOT] = json::Boolean(true);
  fileLocked(candidate, record);
  return {Outcome::kVerified, "", Verdict::Fetch::kNone, ""};
}

Verdict HostVerification::askRemote(const Candidate& candidate) {
  if (mUnreachable.contains(candidate.address)) {
    utils::formatted_log_t(utils::LOG_INVENTORY,
                           "RemoteServerDiscovery:addDiscoveredHost:IP is FOUND in mapUnreachableIP Hence NOT going to "
                           "make getRemoteServerDetails call:%1%") %
        candidate.address;
    return {};  // why it did not answer has been told
  }
  utils::formatted_log_t(utils::LOG_INVENTORY,
                         "RemoteServerDiscovery:addDiscoveredHost:IP is not found in mapUnreachableIP Hence going to "
                         "make getRemoteServerDetails call:%1%") %
      candidate.address;
  Verdict verdict = askDetails(candidate);
  if (verdict.fetch == Verdict::Fetch::kAnswered) return verdict;
  utils::formatted_log_t(utils::LOG_FAILURE,
                         "RemoteServerDiscovery:addDiscoveredHost:Server details failed with IP:, Hence adding the IP "
                         "to mapUnreachableIP:%1%") %
      candidate.address;
  mUnreachable.add(candidate.address);
  return verdict;
}

Verdict HostVerification::askDetails(const Candidate& candidate) {
  json::Object response;
  const int status = getRemoteServerDetails(candidate.displayId, candidate.address, candidate.attributes, response,
                                            candidate.isLegacyServer);
  bool isFiled = true;
  const bool isAccepted = candidate.isLegacyServer ? fileLegacy(candidate, response, status, isFiled)
                                                   : status == HTTPCommand::HTTP_OK && fileCurrent(candidate, response);
  if (!isAccepted) {
    return {Outcome::kFailed, reasonOf(response, status), Verdict::Fetch::kFailed, ""};
  }
  if (isFiled) return {Outcome::kVerified, "", Verdict::Fetch::kAnswered, ""};
  return {Outcome::kFailed, "It is an older server of a build that is not listed", Verdict::Fetch::kAnswered, ""};
}

/// False when the answer is none.
bool HostVerification::fileCurrent(const Candidate& candidate, json::Object response) {
  if (response.Empty() || isTooLarge(response)) return false;
  response[Keys::PROPERTIES][Keys::IS_PIVOT] = json::Boolean(false);
  buildVersion(response);  // for the log: servers of every build are filed
  fileLocked(candidate, response);
  return true;
}

/// False when the answer is none. What is filed are the attributes; the answer only tells the build, and a server of
/// another build than the one is left out in silence: then `isFiled` is false.
bool HostVerification::fileLegacy(const Candidate& candidate, const json::Object& response, int status, bool& isFiled) {
  if (response.Empty() || !isLegacyAnswer(status)) return false;
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscovery:addDiscoveredHost:In isLegacyServer scenario");
  json::Object record = candidate.attributes;
  copyLastCommunicatedIp(response, record);
  record[Keys::PROPERTIES][Keys::IS_PIVOT] = json::Boolean(false);
  isFiled = buildVersion(response) == kLegacyBuild;
  if (isFiled) fileLocked(candidate, record);
  return true;
}

void HostVerification::fileLocked(const Candidate& candidate, json::Object record) {
  forgetManual(record);
  const utils::Lock lock(&mFiling, false);
  mLists.file(candidate.address, record, candidate.updatedCounter, candidate.gid);
}

}  // namespace discovery
