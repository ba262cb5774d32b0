#pragma once

namespace cli {

/// What kvtctl tells a script; README.md and --help list them.
enum class ExitCode : int {
  kDone = 0,
  kRefused = 1,      ///< the server refused, or what was asked for is not there
  kUsage = 2,        ///< the command line, or the server's URL, is wrong
  kUnreachable = 3,  ///< the server could not be reached in time, or cannot answer now
  kNonsense = 4,     ///< what answered is no answer of such a server
};

}  // namespace cli
