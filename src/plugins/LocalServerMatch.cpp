#include "plugins/LocalServerMatch.h"

#include <algorithm>
#include <utility>

#include "framework/constants/JsonConstants.h"
#include "framework/utils/StringHelper.h"
#include "plugins/ServerRecord.h"

namespace plugins {
namespace {

using Keys = constants::JsonConstants;

/// What is not known proves nothing.
bool isSame(const std::string& left, const std::string& right) {
  return !left.empty() && left == right;
}

}  // namespace

LocalServerMatch::LocalServerMatch(LocalAddresses addresses) : mAddresses(std::move(addresses)) {
  utils::StringHelper::split(mNatAddresses, mAddresses.natDetails, ",");
}

bool LocalServerMatch::matches(const json::Object& record) {
  const json::Array* const nics = nicsOf(record);
  const std::string firstIp = firstIpOf(nics);
  const bool isHostIp = isSame(firstIp, mAddresses.hostIp);

  bool match = false;
  if (!mAddresses.isListed) {
    match = isHostIp;
  } else if (matchesNic(nics)) {
    match = mIsLocalServerFound = true;
  }
  if (!mAddresses.natDetails.empty()) {
    if (matchesNat(firstIp)) match = mIsLocalServerFound = true;
  } else if (!mIsLocalServerFound) {
    match = mIsLocalServerFound = isHostIp;
  }
  return match;
}

bool LocalServerMatch::matchesNic(const json::Array* nics) const {
  if (hasNicAddress(nics, Keys::IP_V4, mAddresses.localServerIp)) return true;
  return !mIsLocalServerFound && hasNicAddress(nics, Keys::IP_V6, mAddresses.localServerIp);
}

bool LocalServerMatch::matchesNat(const std::string& firstIp) const {
  return std::any_of(mNatAddresses.begin(), mNatAddresses.end(),
                     [&](const std::string& address) { return isSame(address, firstIp); });
}

}  // namespace plugins
