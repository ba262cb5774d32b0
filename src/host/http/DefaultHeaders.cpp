#include "host/http/DefaultHeaders.h"

#include <array>

namespace host {
namespace {

/// The last one is for TLS alone: a browser is to come back over TLS for a year (RFC 6797 section 6.1).
constexpr std::array<std::pair<const char*, const char*>, 7> kHeaders{{
    {"Content-Type", "application/json"},
    {"Cache-Control", "no-store"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Strict-Transport-Security", "max-age=31536000"},
}};

}  // namespace

std::span<const std::pair<const char*, const char*>> defaultHeaders(bool isSecure) {
  return std::span(kHeaders).first(isSecure ? kHeaders.size() : kHeaders.size() - 1);
}

}  // namespace host
