#pragma once

#include <string>
#include <vector>

#include "slp/net/Address.h"

namespace slp::client {

/// The addresses of a host: at once when it is numeric, else as the system's resolver says, for whom a thread waits.
/// Ends early, with none, when `cancelFd` becomes readable. The resolver itself cannot be interrupted: its thread is
/// left behind then. Safe for every thread.
std::vector<net::Address> resolveHost(const std::string& host, int cancelFd);

/// Keeps the code of this library loaded from now on, even when it is closed. Looking up a name needs that, for the
/// thread that may be left behind, and does it; but a thread for which the library's end waits must not be the first to
/// do so, because the loader is busy then with the closing.
void keepLoaded();

}  // namespace slp::client
