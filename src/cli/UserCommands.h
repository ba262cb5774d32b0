#pragma once

#include <iosfwd>

#include "cli/ExitCode.h"
#include "cli/Options.h"
#include "cli/Prompt.h"

namespace cli {

/// Carries out one command of "kvtctl user" on the files of this machine's server, which sees it at once. Passwords
/// come from the prompt: twice from a person, else once.
ExitCode runUserCommand(const Options& options, const Prompt& prompt, std::ostream& out, std::ostream& err);

}  // namespace cli
