#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "framework/http/HTTPCommand.h"
#include "host/net/Endpoint.h"
#include "host/resources/Peer.h"
#include "json/elements.h"

namespace host {

/// The host that a person's text names: an address, with or without brackets, or a name. Nothing when it is neither; a
/// port is not part of it.
std::optional<std::string> readSearchAddress(std::string_view text);

/// The status and text that tell what a search without a result came to.
http::HTTPCommand::HTTPStatus_ searchStatus(const PeerAnswer& answer);

/// The resource that tries an address: the answer holds the record of the server that was found there, or a status
/// block that says what happened, which the observer is told, too. `own` is where this server listens: port and scheme
/// are taken to be the same there.
http::HTTPCommand::HTTPStatus_ searchServer(const json::Object& request, json::Object& response, const Endpoint& own,
                                            const AskPeer& ask);

}  // namespace host
