#pragma once

#include <string>

#include "framework/http/HTTPCommand.h"

namespace http {

/// The block that says how a request ended: {"status": {"code": 404, "desc": "..."}}.
json::Object statusBlock(int code, const std::string& description);

/// Answers a command with a status and its block, in place of whatever the body held.
void answer(HTTPCommand& command, HTTPCommand::HTTPStatus_ status, const std::string& description);

}  // namespace http
