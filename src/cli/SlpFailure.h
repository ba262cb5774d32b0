#pragma once

#include <slp.h>
#include <string>

#include "cli/Result.h"

namespace cli {

/// Why the SLP library could not do it, in words that say what to do, and with the exit code for scripts. `doing`
/// completes "cannot ...".
Failure slpFailure(SLPError code, const std::string& doing);

}  // namespace cli
