#pragma once

#include <string>
#include <vector>

#include "framework/http/HTTPCommand.h"
#include "host/net/Address.h"
#include "host/net/Endpoint.h"
#include "host/resources/Peer.h"
#include "json/elements.h"

namespace host {

/// What a plug-in says of the server that it wants asked.
struct RemoteQuery {
  std::string serverIp;   ///< the address to contact
  std::string displayId;  ///< the identifier that it is known under, "" when it is not
  std::vector<PeerTarget>
      endpoints;  ///< where it listens, as its attributes say; without a scheme where they name none
  std::vector<std::string> addresses;  ///< the addresses of its interfaces
};

/// Reads the query out of a request's body, which came over the network and may hold anything.
RemoteQuery readRemoteQuery(const json::Object& request);

/// Where to ask, best first: the contacted address, then the server's further addresses that are on one of our links.
/// Port and scheme are those of its listening endpoint, else those of `own`. Empty when the contacted address is none.
std::vector<PeerTarget> chooseTargets(const RemoteQuery& query, const Endpoint& own, const std::vector<Link>& links);

/// The resource that asks another server, by `ask`, for its details: the answer is its record, or a status block with
/// 400 for what may pass and 502 for what does not: there is no such server, or it is refused. The observer is told of
/// failures. `own` is where this server listens.
http::HTTPCommand::HTTPStatus_ callRemoteServer(const json::Object& request, json::Object& response,
                                                const Endpoint& own, const AskPeer& ask);

}  // namespace host
