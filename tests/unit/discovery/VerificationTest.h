#pragma once

#include <string>

#include "unit/discovery/FakePeers.h"
#include "unit/discovery/InventoryTest.h"

/// An inventory with peers around it. The tests speak of the server at 10.0.0.9.
class VerificationTest : public InventoryTest {
 protected:
  using Inventory = RemoteServerDiscovery;

  static constexpr const char* kIp = "10.0.0.9";

  void verify(const std::string& attributes, bool provisional = false) {
    inventory.addDiscoveredHost(kIp, attributes, provisional);
  }
  /// Ends a pass as the discovery cycle does, and begins the next.
  void endPass() {
    inventory.clearAutoDiscoveredServers();
    Inventory::mDiscoveredHosts.replaceAll(*Inventory::mPartialDiscoveredHosts.snapshot());
    Inventory::mCycleDiscoveredHosts.clear();
  }
  bool isFiled(const std::string& address = kIp) const {
    return Inventory::mCycleDiscoveredHosts.find(address) && Inventory::mPartialDiscoveredHosts.find(address);
  }
  bool isNowhere(const std::string& address = kIp) const {
    return !Inventory::mCycleDiscoveredHosts.find(address) && !Inventory::mPartialDiscoveredHosts.find(address);
  }
  /// The record of 10.0.0.9, which both lists must agree on.
  json::Object filed() const {
    const auto inPass = Inventory::mCycleDiscoveredHosts.find(kIp);
    const auto published = Inventory::mPartialDiscoveredHosts.find(kIp);
    EXPECT_TRUE(inPass && published && *inPass == *published);
    return published.value_or(json::Object());
  }

  FakePeers peers;
  support::LogCapture log;
};
