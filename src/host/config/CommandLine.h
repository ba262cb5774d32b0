#pragma once

#include <string>

#include "host/ExitCodes.h"
#include "host/config/Settings.h"

namespace host {

/// What the command line asks for.
struct Invocation {
  enum class Action {
    kServe,
    kPrint,  ///< write `text` to standard output and end well
    kFail    ///< write `text` to standard error, line by line, and end with `exitCode`
  };
  Action action = Action::kServe;
  ExitCode exitCode = kExitOk;
  std::string text;
  Settings settings;           ///< the file's, with the command line's on top
  std::string configFile;      ///< "" for none
  bool logLevelGiven = false;  ///< on the command line, whatever the file says
};

/// Reads the arguments and the configuration file that they name.
Invocation readCommandLine(int argc, const char* const* argv);

}  // namespace host
