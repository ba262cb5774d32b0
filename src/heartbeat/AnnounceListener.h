#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "discovery/LogThrottle.h"
#include "heartbeat/AnnounceRecord.h"
#include "heartbeat/AnnounceSocket.h"
#include "heartbeat/Descriptor.h"
#include "heartbeat/NetworkWatch.h"

namespace heartbeat {

/// Receives records in as many threads as call `work`: each datagram reaches one of them. Stays with the network
/// namespace in which it was opened.
class AnnounceListener {
 public:
  /// Gets the whole buffer, whatever the length of the datagram was.
  using Handler = std::function<void(const AnnounceBytes& bytes)>;

  AnnounceListener() = default;
  AnnounceListener(const AnnounceListener&) = delete;
  AnnounceListener& operator=(const AnnounceListener&) = delete;

  /// Makes the socket and what the workers wait on. False when it cannot, which is logged; the next call tries again.
  /// An open one renews its memberships, and follows the interfaces if that failed before. For one thread at a time.
  bool open();

  /// Hands each record that this thread receives to `handle`, until `end`; an exception costs only its record. The
  /// thread has a buffer of its own, zeroed once: a shorter datagram leaves the tail of an earlier one in place. To be
  /// called after `open`.
  void work(const Handler& handle);

  /// Makes every `work` return. Safe for every thread.
  void end();

 private:
  /// What the workers wait on.
  enum class Source : std::uint32_t { kSocket, kNotifications, kAlarm, kEnd };

  bool add(int descriptor, Source source);
  bool makeEvents(const AnnounceSocket& socket);
  void watchNetwork();
  void renew();
  void serve(Source source, AnnounceBytes& buffer, const Handler& handle);
  void receiveOne(AnnounceBytes& buffer, const Handler& handle);
  void handleGuarded(const AnnounceBytes& buffer, const Handler& handle);

  std::unique_ptr<AnnounceSocket> mSocket;
  NetworkWatch mNetwork;
  Descriptor mEndSignal;
  Descriptor mEvents;
  std::atomic<bool> mIsEnding = false;
  discovery::LogThrottle mReadErrors;
  discovery::LogThrottle mExceptions;
};

}  // namespace heartbeat
