#pragma once

#include <functional>
#include <iosfwd>

#include "cli/ExitCode.h"
#include "cli/Options.h"

namespace cli {

/// Carries out one command of "kvtctl slp". Results go to `out`, those of a table as they arrive; why there are none,
/// one line, to `err`. A registration stays until `awaitEnd` returns.
ExitCode runSlpCommand(const Options& options, std::ostream& out, std::ostream& err,
                       const std::function<void()>& awaitEnd);

/// Sends the messages of the SLP library to `err`, for as long as the process lives, and no longer to syslog.
void sendSlpLogTo(std::ostream& err);

}  // namespace cli
