#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "framework/http/RestApi.h"
#include "host/http/Messages.h"
#include "json/elements.h"

namespace host {

/// What a request is aimed at.
struct Aim {
  http::RestApi::RestVerb_ verb = http::RestApi::GET;
  bool knownVerb = true;  ///< false: no resource has a verb like this one
  std::string path;       ///< without query, authority and the path part of the URI prefix
};

/// Reads method and target; the answer is a refusal. `uriPrefix` is what the URIs of this server begin with: a path
/// ("/kvt"), or scheme and authority with or without one.
std::variant<Aim, Answer> readAim(const ClientRequest& request, std::string_view uriPrefix);

/// The path part of a URI prefix, without a "/" at its end; "" when there is none.
std::string_view pathOfPrefix(std::string_view uriPrefix);

/// Reads a body, which is one JSON object; an empty text stands for an empty object. The answer is a refusal that names
/// line and column.
std::variant<json::Object, Answer> readBody(std::string_view text);

}  // namespace host
