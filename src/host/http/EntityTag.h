#pragma once

#include <string>
#include <string_view>

namespace host {

/// The strong entity tag of these bytes, quotes included (RFC 9110 section 8.8.3). Different bytes have different tags:
/// it is 128 bits of their SHA-256.
std::string entityTag(std::string_view bytes);

/// The tag of the same bytes in gzip.
std::string gzipTag(std::string_view tag);

/// Whether an If-None-Match header names the tag, by the weak comparison, or is "*" (RFC 9110 section 13.1.2).
bool namesTag(std::string_view ifNoneMatch, std::string_view tag);

}  // namespace host
