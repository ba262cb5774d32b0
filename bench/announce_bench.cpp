#include <atomic>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <span>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "discovery/DiscoveryMap.h"
#include "discovery/ServerDiscovery.h"
#include "heartbeat/AnnounceListener.h"
#include "heartbeat/AnnounceRecord.h"
#include "heartbeat/AnnounceWorkers.h"
#include "heartbeat/Descriptor.h"
#include "heartbeat/GroupAddress.h"
#include "heartbeat/IncomingRecord.h"

// Announce records over loopback: what a socket alone can receive, what the listener's workers receive, and what they
// handle. The port of the records must be free.
namespace {

using heartbeat::AnnounceBytes;
using heartbeat::AnnounceRecord;
using heartbeat::Descriptor;

/// Records that are under way at once; fewer than a socket's buffer holds, so that none is lost.
constexpr std::size_t kUnderWay = 32;
constexpr std::size_t kServers = 1'000;

std::string attributesOf(std::size_t server) {
  const std::string address = "10.77." + std::to_string(server / 250) + "." + std::to_string(server % 250 + 1);
  return "(ip=" + address + "))(server={!PROPERTIES!:{!DISPLAY_ID!:!storage-server-" + std::to_string(server) +
         "!,!BUILD!:!008.1.4!,!NICS!:[{!IP_V4!:!" + address + "!,!IP_V6!:!2001:db8::1!}],!LAST_UPDATED_COUNTER!:1}})";
}

std::vector<AnnounceBytes> records(AnnounceRecord::Kind kind) {
  std::vector<AnnounceBytes> all;
  for (std::size_t server = 0; server < kServers; ++server) {
    all.push_back(heartbeat::encodeAnnounceRecord(
        {kind, "10.77.0.1", "service:x-mgmt.quorvel:kvt://10.77.0.1:8443", attributesOf(server), 65535}));
  }
  return all;
}

class Sender {
 public:
  Sender() : mSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    mTo = heartbeat::anyAddress(heartbeat::kAnnouncePort);
    mTo.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  }
  void send(std::span<const std::byte> bytes) {
    sendto(mSocket.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&mTo), sizeof mTo);
  }

 private:
  Descriptor mSocket;
  sockaddr_in mTo{};
};

/// Sends records and waits for their reception, `kUnderWay` at once.
void sendAll(benchmark::State& state, const std::vector<AnnounceBytes>& all, const std::atomic<std::size_t>& received) {
  Sender sender;
  std::size_t sent = received;
  for (auto _ : state) {
    sender.send(all[sent % all.size()]);
    ++sent;
    while (sent - received > kUnderWay)
      std::this_thread::yield();
  }
  while (received < sent)
    std::this_thread::yield();
  state.SetItemsProcessed(state.iterations());
}

void bareReceiveLoop(benchmark::State& state) {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_in any = heartbeat::anyAddress(heartbeat::kAnnouncePort);
  if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0) {
    state.SkipWithError("the port is taken");
    return;
  }
  std::atomic<std::size_t> received = 0;
  std::atomic<bool> isOver = false;
  std::thread receiver([&] {
    AnnounceBytes buffer;
    while (recv(socket.get(), buffer.data(), buffer.size(), 0) >= 0 && !isOver)
      ++received;
  });
  sendAll(state, records(AnnounceRecord::kJoin), received);
  isOver = true;
  Sender().send({});
  receiver.join();
}
BENCHMARK(bareReceiveLoop)->UseRealTime();

/// What five workers do with each record.
void listener(benchmark::State& state, AnnounceRecord::Kind kind, bool isHandled) {
  discovery::ServerDiscovery::getInstance();
  discovery::DiscoveryMap::updateServerList({});
  std::atomic<std::size_t> received = 0;
  heartbeat::AnnounceListener announceListener;
  heartbeat::AnnounceWorkers workers;
  if (!announceListener.open()) {
    state.SkipWithError("no listener");
    return;
  }
  workers.start([&] {
    announceListener.work([&](const AnnounceBytes& bytes) {
      if (isHandled) heartbeat::handleAnnounceRecord(heartbeat::decodeAnnounceRecord(bytes));
      ++received;
    });
  });
  sendAll(state, records(kind), received);
  announceListener.end();
  workers.join();
  state.counters["filed"] = static_cast<double>(discovery::DiscoveryMap::snapshot()->size());
  discovery::DiscoveryMap::updateServerList({});
}
BENCHMARK_CAPTURE(listener, receives, AnnounceRecord::kJoin, false)->UseRealTime();
BENCHMARK_CAPTURE(listener, handles_joins, AnnounceRecord::kJoin, true)->UseRealTime();
BENCHMARK_CAPTURE(listener, handles_registers, AnnounceRecord::kRegister, true)->UseRealTime();
BENCHMARK_CAPTURE(listener, handles_deregisters, AnnounceRecord::kDeregister, true)->UseRealTime();

/// The handling alone.
void handling(benchmark::State& state) {
  discovery::DiscoveryMap::updateServerList({});
  const auto all = records(AnnounceRecord::kRegister);
  std::size_t next = 0;
  for (auto _ : state)
    heartbeat::handleAnnounceRecord(heartbeat::decodeAnnounceRecord(all[next++ % all.size()]));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(handling);

}  // namespace

BENCHMARK_MAIN();
