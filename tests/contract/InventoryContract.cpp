// Names, signatures and slots of the inventory, which its own callers and other libraries of the host know.
#include <map>
#include <type_traits>

#include <gtest/gtest.h>

#include "contract/Pin.h"
#include "discovery/DiscoveryMap.h"
#include "discovery/Host.h"
#include "discovery/RemoteServerDiscovery.h"
#include "discovery/RemoteServerDiscoveryJob.h"
#include "discovery/ServerDiscovery.h"

namespace {

using contract::slotOf;
using discovery::DiscoveryMap;
using discovery::RemoteServerDiscoveryJob;
using discovery::ServerDiscovery;
using Hosts = std::map<std::string, json::Object>;
using Status = http::HTTPCommand::HTTPStatus_;

// The abstract inventory
static_assert(std::is_abstract_v<ServerDiscovery> && !std::has_virtual_destructor_v<ServerDiscovery>);
PIN(&ServerDiscovery::getInstance, ServerDiscovery* (*)());
PIN(&ServerDiscovery::registerSLPService,
    unsigned short (ServerDiscovery::*)(std::string, bool, std::string, std::string));
PIN(&ServerDiscovery::deRegisterSLPService, unsigned short (ServerDiscovery::*)(std::string, bool));
PIN(&ServerDiscovery::getDiscoveredHost, void (ServerDiscovery::*)(json::Array&));
PIN(&ServerDiscovery::addHost, void (ServerDiscovery::*)(std::string, json::Object, bool));
PIN(&ServerDiscovery::addToSearchHostList, void (ServerDiscovery::*)(std::string, json::Object, json::Object, bool));
PIN(&ServerDiscovery::getSearchHost, int (ServerDiscovery::*)(std::string, json::Object&));
PIN(&ServerDiscovery::getDiscoveredServerStatus, int (ServerDiscovery::*)());
PIN(&ServerDiscovery::removeSpecificServer, bool (ServerDiscovery::*)(std::string));
PIN(&ServerDiscovery::getDiscoveredHosts, void (ServerDiscovery::*)(Hosts&));
PIN(&ServerDiscovery::startDiscovery, void (ServerDiscovery::*)());
PIN(&ServerDiscovery::mMutex, utils::Mutex ServerDiscovery::*);
PIN(&ServerDiscovery::mHostListMutex, utils::Mutex ServerDiscovery::*);
PIN(&ServerDiscovery::mapUnreachableIP, discovery::UnreachableAddresses ServerDiscovery::*);

TEST(InventoryContract, KeepsItsSlots) {
  EXPECT_EQ(slotOf(&ServerDiscovery::registerSLPService), 0u);
  EXPECT_EQ(slotOf(&ServerDiscovery::deRegisterSLPService), 1u);
  EXPECT_EQ(slotOf(&ServerDiscovery::getDiscoveredHost), 2u);
  EXPECT_EQ(slotOf(&ServerDiscovery::addHost), 3u);
  EXPECT_EQ(slotOf(&ServerDiscovery::addToSearchHostList), 4u);
  EXPECT_EQ(slotOf(&ServerDiscovery::getSearchHost), 5u);
  EXPECT_EQ(slotOf(&ServerDiscovery::getDiscoveredServerStatus), 6u);
  EXPECT_EQ(slotOf(&ServerDiscovery::removeSpecificServer), 7u);
  EXPECT_EQ(slotOf(&ServerDiscovery::getDiscoveredHosts), 8u);
}

// The inventory itself, in the global namespace
static_assert(std::is_base_of_v<ServerDiscovery, ::RemoteServerDiscovery>);
PIN(&RemoteServerDiscovery::getInstance, RemoteServerDiscovery* (*)());
PIN(&RemoteServerDiscovery::clearAutoDiscoveredServers, void (RemoteServerDiscovery::*)());
PIN(&RemoteServerDiscovery::addDiscoveredHost, void (RemoteServerDiscovery::*)(std::string, std::string, bool));
PIN(&RemoteServerDiscovery::getRemoteServerDetails,
    Status (RemoteServerDiscovery::*)(std::string, std::string, json::Object, json::Object&, bool));
PIN(&RemoteServerDiscovery::getLocalServerDetails,
    Status (RemoteServerDiscovery::*)(std::string, std::string, json::Object&));
PIN(&RemoteServerDiscovery::isLocalServer, bool (RemoteServerDiscovery::*)(json::Array, std::string));
PIN(&RemoteServerDiscovery::addSlpAttributes,
    void (RemoteServerDiscovery::*)(const std::string&, const std::string&, std::string&));
PIN(&RemoteServerDiscovery::slpRegistrationReport, void (*)(SLPHandle, SLPError, void*));
PIN(&RemoteServerDiscovery::slpUrlCallback, SLPBoolean (*)(SLPHandle, const char*, unsigned short, SLPError, void*));
PIN(&RemoteServerDiscovery::discoverSLPServers, int (RemoteServerDiscovery::*)());
PIN(&RemoteServerDiscovery::startRemoteServerThread, void (*)());
PIN(&RemoteServerDiscovery::mSlpLock, utils::Mutex RemoteServerDiscovery::*);
PIN(&RemoteServerDiscovery::discoveredSLPServers, discovery::ServiceUrls RemoteServerDiscovery::*);
PIN(&RemoteServerDiscovery::mSearchedHosts, discovery::HostTable*);
PIN(&RemoteServerDiscovery::mCycleDiscoveredHosts, discovery::HostTable*);
PIN(&RemoteServerDiscovery::mPartialDiscoveredHosts, discovery::HostTable*);
PIN(&RemoteServerDiscovery::mDiscoveredHosts, discovery::HostTable*);
PIN(&RemoteServerDiscovery::mUpdatedCounters, discovery::UpdateCounters*);
PIN(&RemoteServerDiscovery::m_ThreadPool, discovery::Published<utils::ThreadPool>*);
PIN(&RemoteServerDiscovery::mStopDiscovery, std::atomic<bool>*);
PIN(&RemoteServerDiscovery::mDiscoveryStatus, std::atomic<std::int32_t>*);
PIN(&RemoteServerDiscovery::mRegistrationUrl, discovery::Published<const std::string>*);
PIN(&RemoteServerDiscovery::mLocalHost, discovery::Published<const Host>*);
PIN(&RemoteServerDiscovery::formDummyServerJson, void (RemoteServerDiscovery::*)(json::Object&, std::string));

// The look at one server that SLP has found
static_assert(std::is_base_of_v<utils::ThreadPoolJob, RemoteServerDiscoveryJob>);
static_assert(std::is_constructible_v<RemoteServerDiscoveryJob, std::string>);
PIN(&RemoteServerDiscoveryJob::execute, void (RemoteServerDiscoveryJob::*)());
PIN(&RemoteServerDiscoveryJob::getAttributes, int (RemoteServerDiscoveryJob::*)(const char*));
PIN(&RemoteServerDiscoveryJob::slpAttributeCallback, SLPBoolean (*)(SLPHandle, const char*, SLPError));
PIN(&RemoteServerDiscoveryJob::mJobThreadUrls, discovery::JobThreadUrls*);

// The table of announced servers
PIN(&DiscoveryMap::addDiscoveredHost, void (*)(std::string, std::string, bool));
PIN(&DiscoveryMap::getDiscoveredHost, Hosts (*)());
PIN(&DiscoveryMap::updateServerList, void (*)(Hosts));

static_assert(std::is_default_constructible_v<::Host>);

}  // namespace
