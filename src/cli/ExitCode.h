#pragma once

namespace cli {

/// What kvtctl tells a script; docs/kvtctl.md and --help list them.
enum class ExitCode : int {
  kDone = 0,
  kRefused = 1,      ///< the server refused, or what was asked for is not there
  kUsage = 2,        ///< the command line, or the server's URL, is wrong
  kUnreachable = 3,  ///< the server could not be reached in time, or cannot answer now
  kNonsense = 4,     ///< what answered is no answer of such a server, or shows a certificate that is not trusted
  kNotAllowed = 5,   ///< nobody is logged in, or who is may not do that: no reason to think that a thing is not there
};

}  // namespace cli
