#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/RemoteServerDiscovery.h"
#include "support/FakePlugin.h"
#include "support/FakeSystem.h"
#include "support/LogCapture.h"
#include "support/PreferencesGuard.h"
#include "support/Requests.h"

/// An inventory that holds nothing, on a machine with the address 10.0.0.1 and a manager without resources.
class InventoryTest : public ::testing::Test {
 protected:
  InventoryTest();
  ~InventoryTest() override;

  support::PreferencesGuard preferences;
  support::FakeSystem system;
  support::ManagerGuard manager;
  RemoteServerDiscovery& inventory;

 private:
  void clear();
};

/// A record of that display identifier.
json::Object recordNamed(const std::string& displayId);
/// The same, of a server that a user added.
json::Object manualRecordNamed(const std::string& displayId);
/// An answer with that value.
json::Object answerWith(const json::Object& value);

/// That many keys without records.
discovery::HostTable::Map tableOf(std::size_t size);

std::vector<std::string> keysOf(const discovery::HostTable& table);
/// The text of the record under `key`, "" when there is none.
std::string textOf(const discovery::HostTable& table, const std::string& key);
