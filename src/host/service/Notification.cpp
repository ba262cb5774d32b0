#include "host/service/Notification.h"

#include <algorithm>
#include <cstdint>
#include <systemd/sd-daemon.h>

namespace host::notification {
namespace {

/// That nobody listens is no failure.
void tell(const std::string& message) {
  static_cast<void>(sd_notify(0, message.c_str()));
}

}  // namespace

void ready(const std::string& status) {
  std::string line = status;
  std::replace(line.begin(), line.end(), '\n', ' ');
  tell("READY=1\nSTATUS=" + line);
}

void reloading() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
  tell("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds) + "\nSTATUS=reads its settings anew");
}

void stopping() {
  tell("STOPPING=1\nSTATUS=ends");
}

void alive() {
  tell("WATCHDOG=1");
}

std::optional<std::chrono::microseconds> watchdogTimeout() {
  std::uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) <= 0) return std::nullopt;
  return std::chrono::microseconds(microseconds);
}

}  // namespace host::notification
