#include "slp/agent/SelfDescription.h"

#include <utility>

#include "slp/wire/Escape.h"
#include "slp/wire/ServiceType.h"

namespace slp::agent {

namespace {

/// "(service-type=a,b)" behind the configured attributes; nothing more without a type.
std::string withTypes(const std::string& configured, const std::string& types) {
  if (types.empty()) return configured;
  return configured + (configured.empty() ? "" : ",") + "(service-type=" + types + ")";
}

void append(std::string& list, std::string_view type) {
  const auto escaped = wire::escape(type, wire::TextKind::kValue);
  if (!escaped) return;
  if (!list.empty()) list += ',';
  list += *escaped;
}

}  // namespace

SelfDescription::SelfDescription(const Registry& registry, std::string scopes, std::string attributes)
    : mRegistry(registry), mScopes(std::move(scopes)), mConfigured(std::move(attributes)) {}

void SelfDescription::refresh() {
  const auto generation = mRegistry.typesGeneration();
  if (mGeneration == generation) return;
  mGeneration = generation;
  std::string types;
  std::string names;
  mRegistry.visitTypes(std::nullopt, mScopes, [&types, &names](std::string_view type) {
    append(types, type);
    append(names, type);
    // Section 8.6 of RFC 2608 writes "nfs" in a predicate, section 3.11 of RFC 2614 "service:imap": both are found.
    if (wire::hasServiceScheme(type)) append(names, type.substr(wire::kServiceScheme.size()));
    return true;
  });
  mAttributes = withTypes(mConfigured, types);
  mParsed = wire::AttributeList(withTypes(mConfigured, names));
}

}  // namespace slp::agent
