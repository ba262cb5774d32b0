#pragma once

#include <optional>

#include "slp/client/DirectoryAgents.h"
#include "slp/client/KnownResponders.h"
#include "slp/client/LocalServices.h"
#include "slp/client/Queries.h"
#include "slp/client/Transport.h"
#include "slp/config/Settings.h"

namespace slp::client {

/// Where a handle sends its requests: the network as a rule, or the one host that it was tied to.
struct Target {
  std::optional<net::Endpoint> host;
};

class Search;

/// Searches (RFC 2608, sections 6.3, 8.1, 10 and 12). Holds nothing of its own but references: many threads may search
/// at once, each with its own transport. Every search hands out what this process has registered first.
class UserAgent {
 public:
  UserAgent(const LocalServices& local, DirectoryAgents& directoryAgents, KnownResponders& responders);

  /// Each URL once, byte for byte. Requests for service:directory-agent and service:service-agent find the agents
  /// themselves (RFC 2614, section 3.11).
  Outcome findServices(const ServiceQuery& query, const config::Settings& settings, const Target& target,
                       Transport& transport, const UrlSink& found) const;
  /// Of a URL: the first answer. Of a type: each distinct answer.
  Outcome findAttributes(const AttributeQuery& query, const config::Settings& settings, const Target& target,
                         Transport& transport, const TextSink& found) const;
  /// Each type once, one per call.
  Outcome findTypes(const TypeQuery& query, const config::Settings& settings, const Target& target,
                    Transport& transport, const TextSink& found) const;

 private:
  /// The agent that sent the URL; its host; directory agents; this machine's agent; everybody.
  void askForUrl(Search& search, const std::string& url, const config::Settings& settings, Transport& transport) const;

  const LocalServices& mLocal;
  DirectoryAgents& mDirectoryAgents;
  KnownResponders& mResponders;
};

}  // namespace slp::client
