#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/AnnounceInterfaces.h"
#include "cli/DoctorFacts.h"

/// What the network of this machine is like, seen from one process that needs no privilege.
namespace cli::doctor {

/// Sends to the group of the announcements, on a port that nobody uses, out of that interface, and listens for it
/// there. It does not leave the machine.
InterfaceFacts echoOn(const AnnounceInterface& interface, std::chrono::milliseconds wait);

/// Whether the routes lead somewhere with what is sent to the group without a word where.
bool hasGroupRoute();

/// The inodes of the sockets that hold a port, from the text of /proc/net/udp, tcp and those of IPv6. Of TCP those that
/// listen. Lines that do not look as they should are passed over.
std::vector<std::string> socketsAt(std::string_view table, std::uint16_t port, bool isTcp);

/// The ports that servers need on this machine, and who holds them. `root` is "/proc".
std::vector<PortFacts> portFacts(const std::string& root = "/proc");

/// Whether somebody keeps the clock of this machine; nothing when the kernel does not tell.
std::optional<bool> isClockKept();

}  // namespace cli::doctor
