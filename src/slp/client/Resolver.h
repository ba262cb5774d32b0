#pragma once

#include <string>
#include <vector>

#include "slp/net/Address.h"

namespace slp::client {

/// The addresses of a host: at once when it is numeric, else as the system's resolver says, for whom a thread waits.
/// Ends early, with none, when `cancelFd` becomes readable. The resolver itself cannot be interrupted: its thread is
/// left behind then, and keeps this library loaded until it ends. Safe for every thread.
std::vector<net::Address> resolveHost(const std::string& host, int cancelFd);

}  // namespace slp::client
