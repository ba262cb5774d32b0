#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace discovery {

/// What a list of SLP attributes says of the server that it describes. Our own servers write "(ip=...))(server=...)",
/// with a second ")" where others have a comma; lists of that standard form are read, too.
struct AttributeList {
  std::string address;  ///< the one to verify, "" when the list tells none
  std::string server;   ///< the server's details as JSON text, "" when there are none
  bool isVmware = false;
};

/// Reads any text; terms that are not known are passed over, and of repeated ones the last holds. `peerHost` is the
/// host of the service URL that the list belongs to: a VMware namespace, or a template that names the host, makes it
/// the address. Without one (an announcement has no URL that would be trusted) a VMware namespace leaves the address as
/// it is, and every template empties it.
AttributeList parseAttributeList(std::string_view text, std::optional<std::string_view> peerHost);

/// Appends one term; `key` ends with its "=". A second ")" parts it from the term before, and no comma: servers split
/// the list at the brackets.
void appendAttribute(std::string_view key, std::string_view value, std::string& attributes);

}  // namespace discovery
