#include "discovery/RemoteServerDiscoveryJob.h"

#include <cstring>
#include <exception>
#include <memory>
#include <string_view>
#include <utility>

#include "discovery/AttributeList.h"
#include "discovery/Limits.h"
#include "discovery/LogThrottle.h"
#include "discovery/RemoteServerDiscovery.h"
#include "framework/utils/Log.h"
#include "framework/utils/Observer.h"
#include "framework/utils/Thread.h"

namespace discovery {
namespace {

LogThrottle gTooLong;

/// "" for what is no service URL.
std::string hostOf(const std::string& serviceUrl) {
  SLPSrvURL* url = nullptr;
  if (SLPParseSrvURL(serviceUrl.c_str(), &url) != SLP_OK || url == nullptr) return {};
  const std::unique_ptr<SLPSrvURL, decltype(&SLPFree)> parsed(url, &SLPFree);
  return parsed->s_pcHost == nullptr ? "" : parsed->s_pcHost;
}

/// Nothing of a list that no SLP reply could carry.
std::string_view boundedList(const char* attributeList, const std::string& serviceUrl) {
  if (attributeList == nullptr) return {};
  const std::size_t length = strnlen(attributeList, kMaxAttributesLength + 1);
  if (length <= kMaxAttributesLength) return {attributeList, length};
  if (gTooLong.admits()) {
    utils::formatted_log_t(
        utils::LOG_FAILURE,
        "RemoteServerDiscoveryJob:slpAttributeCallback:the attributes of %1% are too long and passed over") %
        serviceUrl;
  }
  return {};
}

/// The SLP library is no place for an exception.
SLPBoolean onAttributes(SLPHandle handle, const char* attributeList, SLPError errorCode, void*) {
  try {
    return RemoteServerDiscoveryJob::slpAttributeCallback(handle, attributeList, errorCode);
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR,
                           "RemoteServerDiscoveryJob:slpAttributeCallback: ended by an exception:%1%") %
        error.what();
  } catch (...) {
    utils::formatted_log_t(utils::LOG_ERROR,
                           "RemoteServerDiscoveryJob:slpAttributeCallback: ended by an unknown exception");
  }
  return SLP_TRUE;
}

}  // namespace

JobThreadUrls RemoteServerDiscoveryJob::mJobThreadUrls;
JobCount RemoteServerDiscoveryJob::mCount;

RemoteServerDiscoveryJob::RemoteServerDiscoveryJob(std::string serviceUrl)
    : mHandle(RemoteServerDiscovery::mSlpHandles.current()), strServerAttributeURL(std::move(serviceUrl)) {
  mCount.made();
}

RemoteServerDiscoveryJob::~RemoteServerDiscoveryJob() {
  mCount.ends(mHasBegun);
}

void RemoteServerDiscoveryJob::execute() {
  mHasBegun = true;
  mCount.begins();
  const std::string strThreadID = utils::Thread::get_id();
  if (strServerAttributeURL.empty() || strThreadID.empty()) return;
  utils::formatted_log_t(
      utils::LOG_INVENTORY,
      "RemoteServerDiscoveryJob:execute called for the strServerAttributeURL:%1% the strThreadID :%2%") %
      strServerAttributeURL % strThreadID;
  mJobThreadUrls.set(strThreadID, strServerAttributeURL);
  getAttributes(strServerAttributeURL.c_str());
}

int RemoteServerDiscoveryJob::getAttributes(const char* serviceUrl) {
  if (serviceUrl == nullptr) {
    utils::formatted_log_t(utils::LOG_ERROR, "RemoteServerDiscoveryJob:getAttributes: failed : service url is empty");
    return 1;
  }
  utils::formatted_log_t(utils::LOG_INVENTORY, "RemoteServerDiscoveryJob:getAttributes: service url: %1%") % serviceUrl;
  const SlpHandle handle(RemoteServerDiscovery::mSlpHandles, SlpHandles::Use::kSearch);
  if (handle.error() != SLP_OK) {
    utils::formatted_log_t(utils::LOG_ERROR, "RemoteServerDiscoveryJob:getAttributes:SLPOpen failed:error code %1%") %
        handle.error();
    return 1;
  }
  // A stop cancels the handles that it finds open. Whoever opens one later is told by the flag.
  if (RemoteServerDiscovery::mStopDiscovery) return 1;
  const SLPError result = SLPFindAttrs(handle.get(), serviceUrl, "", "", onAttributes, nullptr);
  if (result != SLP_OK) {
    utils::formatted_log_t(utils::LOG_ERROR,
                           "RemoteServerDiscoveryJob:getAttributes :SLPFindSrvs failed : error code %1%") %
        result;
  }
  return 1;
}

SLPBoolean RemoteServerDiscoveryJob::slpAttributeCallback(SLPHandle, const char* attributeList, SLPError errorCode) {
  if (errorCode != SLP_OK) {
    utils::formatted_log_t(utils::LOG_ERROR,
                           "RemoteServerDiscoveryJob::slpAttributeCallback failed with error code: %1%, for IP=%2%") %
        errorCode % "";
    return SLP_TRUE;
  }
  const std::string strThreadID = utils::Thread::get_id();
  const std::string serviceUrl = mJobThreadUrls.find(strThreadID);
  const std::string peerHost = hostOf(serviceUrl);
  const AttributeList list = parseAttributeList(boundedList(attributeList, serviceUrl), peerHost);
  if (list.isVmware) {
    utils::formatted_log_t(utils::LOG_INVENTORY,
                           "RemoteServerDiscoveryJob:slpAttributeCallback:VMWare server is discovered and the IP is : "
                           ": %1%") %
        peerHost;
  }
  using utils::Sighting;
  utils::observer::sighted({list.address, "", Sighting::Source::kSlp, Sighting::Outcome::kSeen, ""});
  RemoteServerDiscovery::getInstance()->addDiscoveredHost(list.address, list.server, list.isVmware);
  mJobThreadUrls.erase(strThreadID, serviceUrl);
  return SLP_TRUE;
}

}  // namespace discovery
