#pragma once

#include <cstdint>
#include <slp.h>
#include <string>

#include "discovery/SlpHandles.h"

// The local server's part in SLP and in the announcements beside it. The caller sees to it that registrations and
// deregistrations do not overlap.
namespace discovery {

/// The number that a text begins with, 0 without one.
std::int32_t toPort(const std::string& text);

/// Registers the service for as long as this process lives. The calls' results are logged and returned.
SLPError registerWithSlp(SlpHandles& handles, const std::string& url, const std::string& attributes,
                         SLPRegReport* report);

/// Takes the service out of SLP. A handle whose deregistration failed is left open.
SLPError deregisterFromSlp(SlpHandles& handles, const std::string& url, SLPRegReport* report);

/// What SLP's report of either comes to: logs how it ended.
void logRegistrationReport(SLPError error);

/// Listens for the announcements of others from now on.
void beginListening();
/// Tells the listening servers that this one has come; what it is, they learn from `announceService`.
void announceArrival(const std::string& url, const std::string& attributes);
void announceService(const std::string& url, const std::string& attributes);
/// Tells the listening servers that the service has gone.
void announceDeparture(const std::string& url);
/// Once it has returned, no announcement of others is being handled.
void endListening();

}  // namespace discovery
