#pragma once

#include <optional>
#include <string_view>

namespace host {

/// What somebody may do, each including those before it: nothing but what is open to everybody, read, change.
enum class Role { kNobody, kViewer, kOperator };

/// "none", "viewer", "operator".
std::string_view roleName(Role role);
std::optional<Role> roleNamed(std::string_view name);

}  // namespace host
