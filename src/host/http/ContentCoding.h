#pragma once

#include <string>
#include <string_view>

namespace host {

/// Whether a client with this Accept-Encoding header would rather have gzip than the bytes as they are (RFC 9110
/// section 12.5.3). Somebody who says nothing gets the bytes as they are.
bool prefersGzip(std::string_view acceptEncoding);

/// The bytes as one gzip member (RFC 1952). The same bytes give the same result. Throws std::bad_alloc.
std::string gzip(std::string_view bytes);

}  // namespace host
