#pragma once

namespace host {

/// The whole of the program: reads its arguments, serves until a signal ends it, and gives the exit code.
int runServer(int argc, const char* const* argv);

}  // namespace host
