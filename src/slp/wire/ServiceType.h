#pragma once

#include <string>
#include <string_view>

/// Service types (RFC 2608, sections 4.1 and 4.2): "service:" [abstract ":"] concrete, each with an optional naming
/// authority behind its last dot; or the scheme of another URL.
namespace slp::wire {

/// The scheme of service URLs, with which their types begin.
inline constexpr std::string_view kServiceScheme = "service:";
/// The types by which agents themselves are found (RFC 2608, sections 8.5, 8.6 and 11).
inline constexpr std::string_view kDirectoryAgentType = "service:directory-agent";
inline constexpr std::string_view kServiceAgentType = "service:service-agent";
/// In any case of letters.
bool hasServiceScheme(std::string_view text);

/// Whether a service of type `offered` answers a request for `asked`: the same type, folded, or a concrete type of the
/// abstract one asked for ("service:wbem" covers "service:wbem:https").
bool covers(std::string_view asked, std::string_view offered);
/// The types under which a service of this type is found: itself, and its abstract type if it has one; folded.
/// Second is empty when there is none.
struct IndexKeys {
  std::string type;
  std::string abstractType;
};
IndexKeys indexKeys(std::string_view type);
/// "" for IANA's.
std::string_view namingAuthority(std::string_view type);
/// The type of a service at this URL: what stands before "://" (or ":/" of another address family). Without an address
/// a "service:" URL is its type as a whole, and another has its scheme. Empty when there is none.
std::string_view serviceTypeOf(std::string_view url);
/// Whether the text is a service type rather than a URL, as an attribute request may carry either: no type has a slash.
bool isServiceType(std::string_view urlOrType);

}  // namespace slp::wire
