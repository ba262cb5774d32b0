#pragma once

#include <iosfwd>

#include "cli/ExitCode.h"
#include "cli/Options.h"
#include "cli/ServerApi.h"

namespace cli {

/// Carries out one command. What was asked for goes to `out`; why it failed, one line, to `err`, and then nothing to
/// `out`.
ExitCode runCommand(const Options& options, const ServerApi& server, std::ostream& out, std::ostream& err);

}  // namespace cli
