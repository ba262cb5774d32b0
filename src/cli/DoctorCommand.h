#pragma once

#include <functional>
#include <iosfwd>

#include "cli/DoctorFacts.h"
#include "cli/ExitCode.h"
#include "cli/Options.h"

namespace cli {

/// Carries out "kvtctl doctor" on the facts: its findings go to `out`. kRefused when there is something to do.
ExitCode tellFindings(const doctor::Facts& facts, Format format, std::ostream& out);

}  // namespace cli
