#include "host/security/Role.h"

#include <algorithm>
#include <array>
#include <utility>

namespace host {
namespace {

constexpr std::array<std::pair<Role, std::string_view>, 3> kNames{
    {{Role::kNobody, "none"}, {Role::kViewer, "viewer"}, {Role::kOperator, "operator"}}};

}  // namespace

std::string_view roleName(Role role) {
  return kNames[static_cast<std::size_t>(role)].second;
}

std::optional<Role> roleNamed(std::string_view name) {
  const auto found = std::find_if(kNames.begin(), kNames.end(), [&](const auto& each) { return each.second == name; });
  return found == kNames.end() ? std::nullopt : std::optional(found->first);
}

}  // namespace host
