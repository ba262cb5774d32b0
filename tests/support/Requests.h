#pragma once

#include <string>
#include <string_view>

#include "framework/http/HTTPCommand.h"
#include "framework/http/RestApi.h"
#include "json/elements.h"

namespace support {

/// A document from its text, for tests that state what they expect as JSON. Throws what the reader throws.
json::Object parsed(std::string_view text);
/// A document as its text.
std::string written(const json::Object& object);

struct Answer {
  http::HTTPCommand::HTTPStatus_ status;
  json::Object body;
};

/// What a client's request gets from the manager in place.
Answer request(http::RestApi::RestVerb_ verb, const std::string& path, const json::Object& body = {},
               const std::string& cookies = "");
/// The same request from inside the process.
Answer requestInProcess(http::RestApi::RestVerb_ verb, const std::string& path, const json::Object& body = {});

}  // namespace support
