#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <string_view>

#include "discovery/DiscoveryMap.h"
#include "discovery/RemoteServerDiscovery.h"
#include "framework/launcher/Preferences.h"
#include "framework/utils/Log.h"
#include "json/reader.h"
#include "support/FakePlugin.h"
#include "support/FakeSystem.h"

// Verifies a server from the attributes and the answer that it gives. The first byte says how strict the inventory is,
// with which status the server answers and whether it is known already; a zero byte ends the attributes, and what
// follows is the answer's text. Whatever both hold, nothing is thrown and nobody but that server is filed.
namespace {

using Status = http::HTTPCommand::HTTPStatus_;
using Inventory = RemoteServerDiscovery;

constexpr const char* kAddress = "10.0.0.9";
constexpr std::array kStatuses = {http::HTTPCommand::HTTP_OK, http::HTTPCommand::HTTP_BAD_REQUEST,
                                  http::HTTPCommand::HTTP_METHOD_NOT_ALLOWED, http::HTTPCommand::HTTP_BAD_GATEWAY};

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "attributes_verification_fuzz: " << what << '\n';
  std::abort();
}

/// A machine with one server beside it, which answers what it is told to.
struct Network {
  support::FakeSystem system;
  support::FakePlugin peer;
  Status status = http::HTTPCommand::HTTP_OK;
  json::Object answer;

  Network() {
    utils::logging::setMask(0);
    peer.serveInProcess(http::RestApi(http::RestApi::GET, "/1.0/remoteservercall", true),
                        [this](const support::Request&, json::Object& response) {
                          response = answer;
                          return status;
                        });
  }
};

void forgetEverything() {
  Inventory::mCycleDiscoveredHosts.clear();
  Inventory::mPartialDiscoveredHosts.clear();
  Inventory::mDiscoveredHosts.clear();
  Inventory::mUpdatedCounters.clear();
  discovery::DiscoveryMap::updateServerList({});
  Inventory::getInstance()->clearUnreachable(kAddress);
}

void requireOnlyTheServer(const discovery::HostTable& table) {
  const auto hosts = table.snapshot();
  require(hosts->empty() || (hosts->size() == 1 && hosts->begin()->first == kAddress), "somebody else was filed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Network& network = *new Network;
  if (size == 0) return 0;
  const unsigned int choice = data[0];
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t end = text.find('\0');
  const std::string attributes(text.substr(0, end));

  network.status = kStatuses[choice % kStatuses.size()];
  network.answer = json::Object();
  try {
    if (end != std::string_view::npos) json::Reader::Read(network.answer, text.substr(end + 1));
  } catch (const json::Exception&) {
  }
  launcher::Preferences::get_instance()->set("slp_find_service_strictness", std::to_string(choice / 4 % 3));

  forgetEverything();
  Inventory& inventory = *Inventory::getInstance();
  if (choice >= 128) Inventory::mDiscoveredHosts.insertIfAbsent(kAddress, network.answer);
  inventory.addDiscoveredHost(kAddress, attributes, false);
  discovery::DiscoveryMap::addDiscoveredHost(kAddress, attributes, false);
  inventory.clearAutoDiscoveredServers();
  for (const auto* table : {&Inventory::mCycleDiscoveredHosts, &Inventory::mPartialDiscoveredHosts}) {
    requireOnlyTheServer(*table);
  }
  json::Array listed;
  inventory.getDiscoveredHost(listed);
  require(listed.Size() <= 1, "more than one server is listed");
  return 0;
}
