#pragma once

#include <string>

#include "framework/http/HTTPCommand.h"
#include "json/elements.h"

// Asking servers for their details, always through the host: nothing here opens a connection. Safe for every thread;
// a call blocks until the host has answered.
namespace discovery {

/// Asks the server at `ip`. `request` goes along with the identifier, the address and the legacy mark in its
/// properties. `response` becomes the body of the answer; without a plug-in manager or a command it stays and the
/// status is 400.
http::HTTPCommand::HTTPStatus_ getRemoteServerDetails(std::string serverId, const std::string& ip, json::Object request,
                                                      json::Object& response, bool isLegacyServer);

/// Asks this server for its own details, then once more for those as seen through the interface that has `nicIp`, which
/// refine the first. `record` becomes the value of the answer, marked as the pivot, or stays when the first status,
/// which is the result, is not 200.
http::HTTPCommand::HTTPStatus_ getLocalServerDetails(std::string serverId, const std::string& nicIp,
                                                     json::Object& record);

}  // namespace discovery
