#pragma once

#include <string>
#include <vector>

#include "support/FakeHeartBeat.h"
#include "support/FakeSlp.h"
#include "unit/discovery/InventoryTest.h"

/// An inventory with an SLP library and a heartbeat that remember what they are asked for. Discovery has ended, and
/// there is a pool, at the beginning and at the end.
class RegistrationTest : public InventoryTest {
 protected:
  using Inventory = RemoteServerDiscovery;

  static constexpr const char* kUrl = "service:x-mgmt.quorvel:kvt://10.0.0.5:8443";
  static constexpr const char* kAttributes = "(ip=10.0.0.5))(server=X1)";

  RegistrationTest() { preferences.set("slp_find_service_interval", "10"); }
  ~RegistrationTest() override {
    heartBeat.onCall(nullptr);
    stop();
  }

  unsigned short registerServer(bool noDiscoveryThread = false) {
    return inventory.registerSLPService("X1", noDiscoveryThread, kUrl, "10.0.0.5");
  }
  void stop() {
    inventory.deRegisterSLPService(kUrl, true);
    Inventory::getInstance();
  }
  /// What the operation and the callback of the SLP library logged, traces apart.
  std::vector<std::string> logged(const std::string& operation) const {
    std::vector<std::string> texts;
    for (const auto& [level, text] : log.records()) {
      const bool isTrace = level == utils::LOG_TRACE || level == utils::LOG_LOOKUP;
      const bool isOurs =
          text.find(operation + ":") != std::string::npos || text.find(":slpRegistrationReport:") != std::string::npos;
      if (!isTrace && isOurs) texts.push_back(text);
    }
    return texts;
  }

  support::FakeSlp slp;
  support::FakeHeartBeat heartBeat;
  support::LogCapture log;
};
