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
SLPError registerWithSlp(SlpHandles& handles, const std::string& url, const std::string& attributes);

/// Takes the service out of SLP. A handle whose deregistration failed is left open.
SLPError deregisterFromSlp(SlpHandles& handles, const std::string& url);

/// SLP's callback for both: logs how it ended.
void slpRegistrationReport(SLPHandle handle, SLPError error, void* cookie);

/// Tells the listening servers of a new registration. One that searches itself first begins to listen, and registers
/// with them by `announceService`; any other does both at once.
void announceArrival(const std::string& url, const std::string& attributes, bool isSearching);
void announceService(const std::string& url, const std::string& attributes);
/// Tells the listening servers that the service has gone.
void announceDeparture(const std::string& url);
/// Once it has returned, no announcement of others is being handled.
void endListening();

}  // namespace discovery
