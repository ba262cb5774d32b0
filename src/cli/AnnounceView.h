#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "heartbeat/AnnounceRecord.h"

/// What kvtctl prints of what passes by on the multicast group. Whatever was received is neutralised.
namespace cli {

struct AnnounceDatagram {
  std::chrono::system_clock::time_point time;
  std::string source;                               ///< the sender's address
  std::size_t size = 0;                             ///< in bytes
  std::optional<heartbeat::AnnounceRecord> record;  ///< its texts stay elsewhere; none: it has not the size of one
};

/// What stands above the lines for a person.
std::string announceTitle();
/// One line for a person: when, from where, what, address, URL, lifetime in seconds, identifier; "-" for what is
/// missing, "(cut)" for the identifier of a server whose details do not end in a record that they fill, "(unreadable)"
/// for that of other details that are no document.
std::string announceLine(const AnnounceDatagram& datagram);
/// The same in one line of JSON, with the attributes as they were before the record changed their quotes.
std::string announceJson(const AnnounceDatagram& datagram);

}  // namespace cli
