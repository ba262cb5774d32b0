#pragma once

#include <functional>
#include <iosfwd>
#include <vector>

#include "cli/AnnounceInterfaces.h"
#include "cli/AnnounceSocket.h"
#include "cli/ExitCode.h"
#include "cli/Options.h"

namespace cli {

/// Carries out "kvtctl announce listen": a title and a line to `out` for each datagram as it comes, until as many were
/// heard or as much time has passed as the options say, `end` can be read, or `out` takes no more. Where it listens,
/// and why not, goes to `err`.
ExitCode runAnnounceCommand(const Options& options, std::ostream& out, std::ostream& err, int end);

/// The same with a socket that is open. `look` tells, about once a second, where to listen from then on: interfaces
/// come and go.
ExitCode listenToAnnouncements(const Options& options, AnnounceSocket& socket,
                               const std::function<std::vector<AnnounceInterface>()>& look, std::ostream& out,
                               std::ostream& err, int end);

}  // namespace cli
