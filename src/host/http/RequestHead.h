#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

#include "host/http/Messages.h"

/// What the sessions read from and write to Beast's messages, apart from their sockets.
namespace host {

using RequestMessage = boost::beast::http::request<boost::beast::http::string_body>;
using ResponseMessage = boost::beast::http::response<boost::beast::http::string_body>;

/// The refusal of a request whose header cannot be served; nothing when it can.
std::optional<Answer> refusalOf(const RequestMessage& message);

/// What the header says; without the body.
ClientRequest readRequest(const RequestMessage& message, const std::string& remoteAddress, bool isSecure);

/// The answer to what the parser would not take; nothing when the connection itself failed.
std::optional<Answer> answerTo(boost::system::error_code error);

/// Header and body of an answer. An answer that goes on has neither length nor body.
ResponseMessage makeResponse(Answer answer, unsigned int version, bool isSecure, bool close);

/// A text of a client as it may stand in the log.
std::string printable(std::string_view text);

}  // namespace host
