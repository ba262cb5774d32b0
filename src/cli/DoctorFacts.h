#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/Result.h"
#include "json/elements.h"

/// What "kvtctl doctor" finds out before it judges. Texts are as others told them.
namespace cli::doctor {

struct InterfaceFacts {
  enum class Echo {
    kHeard,    ///< what was sent to the group there came back
    kSilent,   ///< it did not
    kRefused,  ///< it could not be sent, or not be listened for: `refusal`
  };
  std::string name;
  std::string address;
  Echo echo = Echo::kHeard;
  std::string refusal;
};

struct PortFacts {
  std::uint16_t number = 0;
  std::string protocol;  ///< "UDP" or "TCP"
  bool isHeld = false;
  std::string holder;  ///< the program's name; "" when it is not told, which takes the same user or root
};

/// How far the clocks of others are ahead of this machine's.
using Ahead = std::chrono::seconds;

struct ServerFacts {
  std::string url;
  bool isHere = false;  ///< it runs on this machine
  std::optional<Failure> unreachable;
  bool isLoggedIn = false;
  std::optional<Failure> untold;        ///< why somebody who is logged in is not told its status
  std::optional<json::Object> status;   ///< the value of /1.0/status
  std::vector<json::Object> sightings;  ///< those of /1.0/sightings
  std::vector<json::Object> peers;      ///< those of /1.0/peers
  std::optional<Ahead> ahead;
};

struct ClockFacts {
  std::optional<bool> isSynchronised;  ///< nothing when the kernel does not tell
  std::map<std::string, Ahead> peers;  ///< by address
};

struct SlpFacts {
  std::optional<std::string> failure;
  std::vector<std::string> urls;  ///< of the servers that answer a search
};

struct Facts {
  std::chrono::system_clock::time_point now;
  ServerFacts server;
  std::vector<InterfaceFacts> interfaces;  ///< those that take multicast
  bool hasGroupRoute = true;               ///< the routes lead somewhere with what is sent to the group
  std::vector<PortFacts> ports;
  SlpFacts slp;
  ClockFacts clock;
};

}  // namespace cli::doctor
