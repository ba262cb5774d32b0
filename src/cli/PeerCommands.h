#pragma once

#include <iosfwd>

#include "cli/ExitCode.h"
#include "cli/Options.h"
#include "cli/RestClient.h"

namespace cli {

/// Carries out one command of "kvtctl peers": what the server that is asked knows of the others' certificates.
ExitCode runPeerCommand(const Options& options, const RestClient& client, std::ostream& out, std::ostream& err);

}  // namespace cli
