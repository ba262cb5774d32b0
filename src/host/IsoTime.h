#pragma once

#include <chrono>
#include <string>

namespace host {

/// "2026-11-21T16:50:00Z", as documents have times.
std::string isoTime(std::chrono::system_clock::time_point time);

}  // namespace host
