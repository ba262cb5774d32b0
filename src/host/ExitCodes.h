#pragma once

namespace host {

/// How the process ends; the values are those of sysexits(3), which service managers know.
enum ExitCode {
  kExitOk = 0,
  kExitUsage = 64,          ///< the command line is wrong
  kExitUnavailable = 69,    ///< cannot listen
  kExitInternal = 70,       ///< a failure that is ours, or an end that took too long
  kExitConfiguration = 78,  ///< the configuration is wrong
};

}  // namespace host
