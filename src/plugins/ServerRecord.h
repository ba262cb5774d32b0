#pragma once

#include <string>

#include "json/elements.h"

namespace plugins {

// What a server's record says. Others wrote it: what is missing or of another type reads as "", and reading changes
// nothing.

std::string displayIdOf(const json::Object& record);
/// The server's network interfaces, or null. They belong to the record.
const json::Array* nicsOf(const json::Object& record);
/// The IPv4 address of the first interface.
std::string firstIpOf(const json::Array* nics);
/// Whether one of the interfaces has this address under `family` (IP_V4 or IP_V6). "" is nobody's address.
bool hasNicAddress(const json::Array* nics, const char* family, const std::string& address);
/// The address at which the server was last reached.
std::string lastCommunicatedIpOf(const json::Object& record);

/// Marks the record as that of the server which answers, reached at `ip`.
void markAsLocal(json::UnknownElement& record, const std::string& ip);

/// The address under which a server that was searched for as `key` is listed: the key when it is an IP address, else
/// where the search found the server, so that one searched by name is not listed twice; without that, the key.
std::string listedAddress(const std::string& key, const json::Object& record);

}  // namespace plugins
