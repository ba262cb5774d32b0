#pragma once

#include <functional>
#include <string>

#include "cli/DoctorFacts.h"
#include "cli/RestClient.h"

namespace cli::doctor {

/// Finds out everything, which takes some seconds; `say` is told what it is at. `client` asks the server, `plain`
/// others. `search` bounds the search by SLP.
Facts gather(const RestClient& client, const Exchange& plain, std::chrono::milliseconds search,
             const std::function<void(std::string)>& say);

}  // namespace cli::doctor
