#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>

#include "cli/ExitCode.h"
#include "cli/Options.h"
#include "cli/RestClient.h"

namespace cli {

/// Waits, and tells whether the user wants to end; no wait at all just asks.
using EndWait = std::function<bool(std::chrono::milliseconds)>;

/// Carries out "kvtctl watch": what there is and then each change goes to `out`, until the user ends it or `out` takes
/// no more. A server that goes away is waited for, and `err` says so; one that is not there in the first place, or lets
/// nobody in, is a failure.
ExitCode runWatchCommand(const Options& options, const RestClient& client, std::ostream& out, std::ostream& err,
                         const EndWait& waitForEnd);

}  // namespace cli
