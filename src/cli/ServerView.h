#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "json/elements.h"

namespace cli {

/// One address pair of a network interface.
struct Interface {
  std::string name;
  std::string mac;
  std::string ipV4;
  std::string ipV6;
};

/// What a person wants to know of a server's record. Texts are as the record has them: whoever shows them neutralises
/// them. What the record lacks is empty.
struct ServerView {
  std::string id;
  std::vector<std::string> addresses;  ///< each once; the one where it was reached last comes first
  std::string build;
  std::string health;
  std::string system;
  std::vector<Interface> interfaces;
  std::vector<std::string> endpoints;  ///< where it listens: "http://10.0.0.5:8443"
  bool isThisServer = false;           ///< the one that was asked
  bool isManual = false;               ///< a person added it

  /// "10.0.0.5, 10.0.1.5, +2 more"
  std::string addressSummary() const;
  /// How it came to be listed: "this server", "manual" or "discovered".
  std::string_view origin() const;
};

/// Reads any record: a server's own details, what a peer registered of itself, or the provisional record of a server
/// of which the address alone is known. Never fails; takes in at most 64 interfaces and 64 endpoints.
ServerView viewServer(const json::Object& record);

/// Whether this is the server that a person means by its identifier (in any case of letters) or one of its addresses.
bool isCalled(const ServerView& server, std::string_view idOrAddress);

}  // namespace cli
