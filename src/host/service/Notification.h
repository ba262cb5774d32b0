#pragma once

#include <chrono>
#include <optional>
#include <string>

/// What the process tells the service manager that started it (sd_notify(3)). Without one, nothing happens. Safe for
/// every thread.
namespace host::notification {

/// Everything is started; the status is one line for "systemctl status".
void ready(const std::string& status);
/// The settings are read anew; ready() follows.
void reloading();
void stopping();
/// A sign of life for the watchdog.
void alive();

/// How long the manager waits for a sign of life before it ends the process; nothing when it does not wait for any.
std::optional<std::chrono::microseconds> watchdogTimeout();

}  // namespace host::notification
