#pragma once

#include <iosfwd>

#include "cli/ExitCode.h"
#include "cli/Options.h"
#include "cli/Prompt.h"
#include "cli/RestClient.h"
#include "cli/UserFiles.h"

namespace cli {

/// The token that goes with requests: KVT_TOKEN of the environment, else that of the login with this server; "" for
/// none. A file that cannot be read is as good as none: the server says what is missing.
std::string tokenFor(const std::string& url, const UserFiles& files);

/// What "kvtctl login" calls the token that it makes for a user of that machine: unlike any other, and fit for a name.
std::string loginTokenName(const std::string& user, const std::string& machine, const std::string& random);

/// Carries out login, logout, trust and what "kvtctl token" has. `client` sends the token with each request.
ExitCode runAccessCommand(const Options& options, const RestClient& client, const UserFiles& files,
                          const Prompt& prompt, std::ostream& out, std::ostream& err);

}  // namespace cli
