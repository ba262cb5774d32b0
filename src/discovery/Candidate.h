#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "json/elements.h"

namespace discovery {

/// A server that discovery came across, as its attributes tell. Reading them never fails: what is missing or of a wrong
/// type reads as "", 0, false or nothing.
struct Candidate {
  Candidate(std::string ip, json::Object attributesOfServer);

  std::string address;
  json::Object attributes;
  std::string gid;
  std::string displayId;
  std::uint32_t updatedCounter = 0;
  bool isLegacyServer = false;
  /// The network interfaces by each record that described the server.
  std::vector<json::Array> nics;

  /// Reads the interfaces and the legacy mark, which a record with an operating system carries, from a record.
  void readNics(const json::Object& record);
};

/// Parses the attributes. A text that is no document, or too long, is logged and gives nothing.
std::optional<Candidate> readCandidate(const std::string& address, const std::string& attributes);

/// Whether the candidate's digest is that of its properties. True without a digest, and when `strictness` asks for no
/// check; otherwise the outcome is logged, and only a strictness of 2 rejects.
bool isIdentityAccepted(const Candidate& candidate, unsigned int strictness);

/// A counter as a peer gives it: cut to an integer, kept within its range, 0 when it is no number.
std::uint32_t toUpdateCounter(std::optional<double> number);

/// The build of a server's first agent up to its first ".", logged before and after the cut.
std::string buildVersion(const json::Object& record);

}  // namespace discovery
