#pragma once

#include <string>

#include "heartbeat/AnnounceRecord.h"

namespace heartbeat {

/// The record that tells of a service: its address is the URL's, from behind the last "/" to the last ":". Attributes
/// travel with "!" for each double quote.
AnnounceRecord makeAnnounceRecord(const std::string& serviceUrl, int kind, unsigned short lifetime,
                                  std::string attributes);

/// Sends the record to the multicast group once, by the interface that bears its address. Whatever fails is logged.
void sendAnnounceRecord(const AnnounceRecord& record);
/// The same by a socket that was just made.
void sendAnnounceRecord(int socket, const AnnounceRecord& record);

}  // namespace heartbeat
