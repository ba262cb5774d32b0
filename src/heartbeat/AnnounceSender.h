#pragma once

#include <string>
#include <string_view>

#include "heartbeat/AnnounceRecord.h"

namespace heartbeat {

/// Attributes as they travel: with "!" for each double quote.
std::string announcedAttributes(std::string attributes);

/// The record that tells of a service: its address is the URL's, from behind the last "/" to the last ":". The
/// attributes are those that travel.
AnnounceRecord makeAnnounceRecord(std::string_view serviceUrl, int kind, unsigned short lifetime,
                                  std::string_view attributes);

/// Sends the record to the multicast group once: by the interface that bears its address, else by the one that the
/// routes name, else by the first one with an IPv4 address. Whatever fails is logged.
void sendAnnounceRecord(const AnnounceRecord& record);
/// The same by a socket that was just made.
void sendAnnounceRecord(int socket, const AnnounceRecord& record);

}  // namespace heartbeat
