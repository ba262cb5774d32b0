#pragma once

#include <iosfwd>

#include "cli/AnnounceSocket.h"
#include "cli/ExitCode.h"
#include "cli/Options.h"

namespace cli {

/// Carries out "kvtctl announce listen": a line to `out` for each datagram as it comes, until as many were heard or as
/// much time has passed as the options say, `end` can be read, or `out` takes no more. Where it listens, and why not,
/// goes to `err`.
ExitCode runAnnounceCommand(const Options& options, std::ostream& out, std::ostream& err, int end);

/// The same with a socket that is open.
ExitCode listenToAnnouncements(const Options& options, AnnounceSocket& socket, std::ostream& out, std::ostream& err,
                               int end);

}  // namespace cli
