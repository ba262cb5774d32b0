#pragma once

#include <string_view>

namespace host {

/// What somebody must be to call a resource.
enum class Need {
  kNothing,   ///< open to everybody
  kLoopback,  ///< a browser or program on this machine, with nothing in between
  kLogin,     ///< a login of one's own, whatever its role
  kViewer,
  kOperator
};

/// Who may call what. `path` is that of a request, without the prefix of the server's URIs; HEAD needs what GET needs.
/// What is not known here is read by viewers and changed by operators, whether it exists or not.
Need needOf(std::string_view method, std::string_view path);

/// Whether a method only reads: every other one is a write.
bool isRead(std::string_view method);

/// "everybody", "everybody on loopback", "login", "viewer", "operator".
std::string_view needName(Need need);

}  // namespace host
