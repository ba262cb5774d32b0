#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "discovery/DiscoveryMap.h"
#include "framework/utils/Log.h"
#include "heartbeat/AnnounceRecord.h"
#include "heartbeat/IncomingRecord.h"
#include "support/FakeSystem.h"

// Handles datagrams as the listener does that has just begun: cut at the size of a record, or with zeros behind them.
// Whatever they hold, only a register record files somebody, and each at most one server, who goes when he says so.
namespace {

using discovery::DiscoveryMap;
using heartbeat::AnnounceRecord;

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "announce_fuzz: " << what << '\n';
  std::abort();
}

/// Whoever is filed under an address that fits a record is taken out by the record of his departure.
void requireDeparture() {
  constexpr std::size_t kMaxAddress = 15;
  const auto filed = DiscoveryMap::snapshot();
  if (filed->empty() || filed->begin()->first.size() > kMaxAddress) return;
  AnnounceRecord departure;
  departure.kind = AnnounceRecord::kDeregister;
  departure.address = filed->begin()->first;
  const heartbeat::AnnounceBytes bytes = heartbeat::encodeAnnounceRecord(departure);
  heartbeat::handleAnnounceRecord(heartbeat::decodeAnnounceRecord(bytes));
  require(DiscoveryMap::snapshot()->empty(), "who has gone is still filed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const support::FakeSystem& system = *new support::FakeSystem;
  static_cast<void>(system);
  utils::logging::setMask(0);

  heartbeat::AnnounceBytes bytes{};
  std::transform(data, data + std::min(size, bytes.size()), bytes.begin(),
                 [](std::uint8_t byte) { return static_cast<std::byte>(byte); });
  const AnnounceRecord record = heartbeat::decodeAnnounceRecord(bytes);

  DiscoveryMap::updateServerList({});
  heartbeat::handleAnnounceRecord(record);
  const std::size_t filed = DiscoveryMap::snapshot()->size();
  require(filed <= (record.kind == AnnounceRecord::kRegister ? 1u : 0u), "more was filed than the record says");

  // The same server is not filed twice.
  heartbeat::handleAnnounceRecord(record);
  require(DiscoveryMap::snapshot()->size() == filed, "a record that came twice changed the table");
  requireDeparture();

  // What fits its fields is written as it was read.
  const heartbeat::AnnounceBytes written = heartbeat::encodeAnnounceRecord(record);
  const AnnounceRecord again = heartbeat::decodeAnnounceRecord(written);
  require(again.kind == record.kind && again.lifetime == record.lifetime, "a number did not come back");
  require(again.address == record.address.substr(0, 15), "the address did not come back");
  require(again.attributes == record.attributes.substr(0, 1535), "the attributes did not come back");
  return 0;
}
