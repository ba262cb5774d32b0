#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "cli/DoctorFacts.h"
#include "cli/RestClient.h"

namespace cli::doctor {

/// What the server tells of itself, as much as whoever asks may know.
ServerFacts serverFacts(const RestClient& client);

/// How far the clocks of listed servers are ahead, by what they say with an answer that everybody gets. No more than a
/// few of them are asked, each for no longer than a moment. `exchange` knows no token.
std::map<std::string, Ahead> peersAhead(const std::vector<json::Object>& records, const Exchange& exchange);

/// How far the sender's clock is ahead, from the Date of an answer (RFC 9110, section 6.6.1) that came at `now`.
std::optional<Ahead> aheadBy(const httpclient::Response& response, std::chrono::system_clock::time_point now);

/// Whether a URL leads to this machine, whose addresses are given.
bool leadsHere(const std::string& url, const std::vector<std::string>& addresses);

}  // namespace cli::doctor
