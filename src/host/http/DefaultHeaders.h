#pragma once

#include <span>
#include <utility>

namespace host {

/// The headers that every answer has, unless it brings its own: they keep a browser from guessing at what it gets, from
/// framing it, and from keeping it.
std::span<const std::pair<const char*, const char*>> defaultHeaders(bool isSecure);

}  // namespace host
