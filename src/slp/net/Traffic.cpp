#include "slp/net/Traffic.h"

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <utility>

#include "slp/wire/Codec.h"

namespace slp::net {
namespace {

/// The version of the protocol, the first byte of each message (RFC 2608, section 8).
constexpr std::byte kVersion{2};

/// By Function-ID (RFC 2608, section 8).
constexpr std::array kKinds{"unknown",  "SrvRqst",  "SrvRply",  "SrvReg",      "SrvDeReg",    "SrvAck",
                            "AttrRqst", "AttrRply", "DAAdvert", "SrvTypeRqst", "SrvTypeRply", "SAAdvert"};

// Nothing here has a destructor: messages may come while the process ends.
constinit std::atomic<const TrafficCounter*> counter{nullptr};  // owned
constinit std::atomic<int> callers{0};                          // who may hold what `counter` was
constinit thread_local int tCalls = 0;

/// In this order: whoever replaces the counter sees the caller, or the caller sees the new counter.
struct Call {
  Call() {
    ++tCalls;
    ++callers;
  }
  ~Call() {
    --callers;
    --tCalls;
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
};

const char* kindOf(std::span<const std::byte> message) {
  if (message.size() < 2 || message[0] != kVersion) return kKinds[0];
  const auto function = std::to_integer<std::size_t>(message[1]);
  return kKinds[function < kKinds.size() ? function : 0];
}

}  // namespace

void setTrafficCounter(TrafficCounter newCounter) {
  auto other = newCounter ? std::make_unique<const TrafficCounter>(std::move(newCounter)) : nullptr;
  const std::unique_ptr<const TrafficCounter> old(counter.exchange(other.release()));
  while (callers > tCalls)
    std::this_thread::yield();
}

void countMessage(Fate fate, std::span<const std::byte> message) noexcept {
  if (counter.load(std::memory_order_relaxed) == nullptr) return;
  const Call underWay;
  if (const TrafficCounter* const current = counter) (*current)(fate, kindOf(message));
}

void countMessage(Fate fate, std::string_view message) noexcept {
  countMessage(fate, wire::bytesOf(message));
}

}  // namespace slp::net
