#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace http {

/// Matches a path with a template such as "/1.0/servers/{server_id}/operations/discovery". The result holds the
/// parameters by name, braces included, percent-decoded. A parameter matches one segment, an empty one too; a query is
/// left out. Nothing when the path does not match or holds a malformed escape.
std::optional<std::map<std::string, std::string>> matchUriTemplate(std::string_view uriTemplate, std::string_view path);

/// Whether a segment of a template stands for a parameter: "{server_id}".
bool isUriParameter(std::string_view segment);

/// Percent-decodes; nothing when an escape is malformed or stands for a zero byte.
std::optional<std::string> percentDecode(std::string_view text);
/// What the last segment of a URI's path stands for: decoded, the query left out. A text without "/" is its own last
/// segment; one with a malformed escape stands for itself.
std::string lastPathSegment(std::string_view uri);
/// Percent-encodes whatever may not stand in a path segment.
std::string percentEncode(std::string_view text);

}  // namespace http
