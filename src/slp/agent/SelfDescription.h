#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "slp/agent/Registry.h"
#include "slp/wire/AttributeList.h"
#include "slp/wire/Filter.h"

namespace slp::agent {

/// What this agent says of itself in a SAAdvert (RFC 2608, section 8.6): the configured attributes, and the types of
/// its services as "service-type". Follows the registry. For one thread at a time.
class SelfDescription {
 public:
  SelfDescription(const Registry& registry, std::string scopes, std::string attributes);

  /// Brings everything up to date; to be called before the others.
  void refresh();
  const std::string& attributes() const { return mAttributes; }
  const std::string& configuredAttributes() const { return mConfigured; }
  bool matches(const wire::Filter& filter) const { return filter.matches(mParsed); }

 private:
  const Registry& mRegistry;
  std::string mScopes;
  std::string mConfigured;
  std::optional<std::uint64_t> mGeneration;
  std::string mAttributes;
  wire::AttributeList mParsed;
};

}  // namespace slp::agent
