#pragma once

#include <string>

#include "framework/http/HTTPCommand.h"
#include "json/elements.h"

namespace discovery {
class ServerDiscovery;
}

namespace plugins {

class ServerDiscoveryPlugin;

// The actions of the discovery operation. Each reads its parameters from the request, fills the response and answers
// the status. A parameter that is missing or no text reads as "".

/// Has the host try an address, and keeps what it finds for `getSearchedServer` under that address.
http::HTTPCommand::HTTPStatus_ searchServer(const ServerDiscoveryPlugin& plugin, discovery::ServerDiscovery& inventory,
                                            const std::string& requestUri, const json::Object& request,
                                            json::Object& response);

/// Lists a server that was searched for. Throws utils::InputException when there is none of that identifier, or when
/// one is announced under its address. Check and filing are two steps, between which others may file it, too.
http::HTTPCommand::HTTPStatus_ addServer(discovery::ServerDiscovery& inventory, const json::Object& request,
                                         json::Object& response);

/// Takes a server, named by key or display identifier, out of the lists.
http::HTTPCommand::HTTPStatus_ removeServer(discovery::ServerDiscovery& inventory, const json::Object& request,
                                            json::Object& response);

}  // namespace plugins
