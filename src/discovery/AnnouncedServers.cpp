#include "discovery/AnnouncedServers.h"

#include <string_view>
#include <utility>

#include "discovery/Limits.h"
#include "framework/constants/JsonConstants.h"
#include "framework/utils/Log.h"
#include "json/lookup.h"
#include "json/reader.h"

namespace discovery {
namespace {

using Outcome = Announced::Outcome;
using Keys = constants::JsonConstants;

/// What the log calls an announced document.
constexpr const char* kDocumentLabel = "remote.json";

void logReadError(const char* format, const char* what, const json::Reader::Location& where) {
  const bool isNamed = what != nullptr && *what != '\0';
  utils::formatted_log_t(utils::LOG_ERROR, format) % (isNamed ? what : "Unknown exception") % (where.m_nLine + 1) %
      (where.m_nLineOffset + 1) % kDocumentLabel;
}

Outcome outcomeOf(HostTable::Filing filing) {
  switch (filing) {
    case HostTable::Filing::kNew:
      return Outcome::kFiled;
    case HostTable::Filing::kPresent:
      return Outcome::kPresent;
    case HostTable::Filing::kFull:
      break;
  }
  return Outcome::kFull;
}

}  // namespace

bool AnnouncedServers::readDetails(const std::string& text, json::Object& details) {
  try {
    json::Reader::Read(details, std::string_view(text));
    return true;
  } catch (const json::Reader::ScanException& error) {
    if (!mUnreadableDetails.admits()) return false;
    logReadError("DiscoveryMap:addDiscoveredHost:json %4%, caught json::ScanException: %1%, at line: %2% offset: %3%",
                 error.what(), error.m_locError);
  } catch (const json::Reader::ParseException& error) {
    if (!mUnreadableDetails.admits()) return false;
    logReadError("DiscoveryMap:addDiscoveredHost:json %4%, caught json::ParseException: %1%, at line: %2% offset: %3%",
                 error.what(), error.m_locTokenBegin);
  }
  return false;
}

bool AnnouncedServers::isTooLong(const std::string& address) {
  if (address.size() <= kMaxAddressLength) return false;
  if (mLongAddress.admits()) {
    utils::formatted_log_t(utils::LOG_FAILURE,
                           "DiscoveryMap:addDiscoveredHost:an address is too long, its length:%1%") %
        address.size();
  }
  return true;
}

Announced AnnouncedServers::add(const std::string& address, const std::string& serverDetails, bool isVmware) {
  if (isTooLong(address)) return {Outcome::kLongAddress, ""};
  json::Object details;
  if (!isVmware) {
    if (serverDetails.empty()) {
      if (mEmptyDetails.admits())
        utils::formatted_log_t(utils::LOG_FAILURE, "DiscoveryMap:addDiscoveredHost:Server Details List is$ Empty");
      return {Outcome::kNoDetails, ""};
    }
    if (!readDetails(serverDetails, details)) return {Outcome::kUnreadableDetails, ""};
  }
  mAnnouncements.announced(address, details);
  // Without the mutex: announcements do not wait for whoever replaces the table.
  const HostTable::Filing filing = mHosts.insertIfAbsent(address, details, kMaxAnnouncedServers);
  if (filing == HostTable::Filing::kFull && mFullTable.admits()) {
    utils::formatted_log_t(utils::LOG_FAILURE, "DiscoveryMap:addDiscoveredHost:the table is full, left out:%1%") %
        address;
  }
  return {outcomeOf(filing), json::textAt(details, {Keys::PROPERTIES, Keys::DISPLAY_ID})};
}

bool AnnouncedServers::withdraw(const std::string& address) {
  if (address.size() > kMaxAddressLength) return false;  // nobody is filed under such a key
  mAnnouncements.deregistered(address);
  const utils::Lock lock(&mMutex, false);
  return mHosts.erase(address);
}

void AnnouncedServers::takeBackWithdrawal(const std::string& address) {
  mAnnouncements.takeBackDeregistration(address);
}

void AnnouncedServers::replaceAll(HostTable::Map hosts) {
  const utils::Lock lock(&mMutex, false);
  mHosts.replaceAll(std::move(hosts));
}

HostTable::Snapshot AnnouncedServers::snapshot() {
  const utils::Lock lock(&mMutex, false);
  return mHosts.snapshot();
}

void AnnouncedServers::passBegins() {
  mAnnouncements.passBegins();
}

void AnnouncedServers::passEnds(const HostTable::Map& found) {
  if (!found.empty()) replaceAll(mAnnouncements.applyTo(found));
  mAnnouncements.passEnds(mHosts);
}

}  // namespace discovery
