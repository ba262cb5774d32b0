#pragma once

#include "cli/Options.h"

namespace CLI {
class App;
}

namespace cli {

/// Adds the commands that are about who may do what: user, login, logout, token, trust, peers. Both must outlive the
/// parsing.
void addAccessCommands(CLI::App& app, Options& options);

}  // namespace cli
