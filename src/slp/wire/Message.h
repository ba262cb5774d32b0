#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

/// The messages of SLPv2 (RFC 2608, sections 4.3, 8 and 10) as values. Every string is a view: of the bytes that were
/// decoded, or of whatever the caller keeps alive until it has encoded.
namespace slp::wire {

/// Function-ID (RFC 2608, section 8).
enum class Function : std::uint8_t {
  kServiceRequest = 1,
  kServiceReply = 2,
  kServiceRegistration = 3,
  kServiceDeregistration = 4,
  kServiceAcknowledge = 5,
  kAttributeRequest = 6,
  kAttributeReply = 7,
  kDirectoryAgentAdvert = 8,
  kServiceTypeRequest = 9,
  kServiceTypeReply = 10,
  kServiceAgentAdvert = 11
};

/// Error codes on the wire (RFC 2608, section 7). A peer may send others.
enum class ErrorCode : std::uint16_t {
  kOk = 0,
  kLanguageNotSupported = 1,
  kParseError = 2,
  kInvalidRegistration = 3,
  kScopeNotSupported = 4,
  kAuthenticationUnknown = 5,
  kAuthenticationAbsent = 6,
  kAuthenticationFailed = 7,
  kVersionNotSupported = 9,
  kInternalError = 10,
  kBusyNow = 11,
  kOptionNotUnderstood = 12,
  kInvalidUpdate = 13,
  kMessageNotSupported = 14,
  kRefreshRejected = 15
};

struct Header {
  bool overflow = false;
  bool fresh = false;
  bool multicast = false;
  std::uint16_t xid = 0;
  std::string_view language = "en";
  bool operator==(const Header&) const = default;
};

/// Authentication blocks are walked, counted and passed on as they are; none is verified or made.
struct AuthBlocks {
  std::uint8_t count = 0;
  std::string_view bytes;
  bool operator==(const AuthBlocks&) const = default;
};

struct UrlEntry {
  std::uint16_t lifetime = 0;  ///< seconds
  std::string_view url;
  AuthBlocks auth;
  bool operator==(const UrlEntry&) const = default;
};

struct ServiceRequest {
  static constexpr Function kFunction = Function::kServiceRequest;
  std::string_view previousResponders;
  std::string_view serviceType;
  std::string_view scopes;
  std::string_view predicate;
  std::string_view spi;
  bool operator==(const ServiceRequest&) const = default;
};

struct ServiceReply {
  static constexpr Function kFunction = Function::kServiceReply;
  ErrorCode error = ErrorCode::kOk;
  std::vector<UrlEntry> urls;
  bool operator==(const ServiceReply&) const = default;
};

struct ServiceRegistration {
  static constexpr Function kFunction = Function::kServiceRegistration;
  UrlEntry entry;
  std::string_view serviceType;
  std::string_view scopes;
  std::string_view attributes;
  AuthBlocks auth;
  bool operator==(const ServiceRegistration&) const = default;
};

struct ServiceDeregistration {
  static constexpr Function kFunction = Function::kServiceDeregistration;
  std::string_view scopes;
  UrlEntry entry;
  std::string_view tags;
  bool operator==(const ServiceDeregistration&) const = default;
};

struct ServiceAcknowledge {
  static constexpr Function kFunction = Function::kServiceAcknowledge;
  ErrorCode error = ErrorCode::kOk;
  bool operator==(const ServiceAcknowledge&) const = default;
};

struct AttributeRequest {
  static constexpr Function kFunction = Function::kAttributeRequest;
  std::string_view previousResponders;
  std::string_view url;  ///< or a service type
  std::string_view scopes;
  std::string_view tags;
  std::string_view spi;
  bool operator==(const AttributeRequest&) const = default;
};

struct AttributeReply {
  static constexpr Function kFunction = Function::kAttributeReply;
  ErrorCode error = ErrorCode::kOk;
  std::string_view attributes;
  AuthBlocks auth;
  bool operator==(const AttributeReply&) const = default;
};

struct DirectoryAgentAdvert {
  static constexpr Function kFunction = Function::kDirectoryAgentAdvert;
  ErrorCode error = ErrorCode::kOk;
  std::uint32_t bootTime = 0;  ///< seconds since 1970; 0: it is going down
  std::string_view url;
  std::string_view scopes;
  std::string_view attributes;
  std::string_view spis;
  AuthBlocks auth;
  bool operator==(const DirectoryAgentAdvert&) const = default;
};

struct ServiceTypeRequest {
  static constexpr Function kFunction = Function::kServiceTypeRequest;
  std::string_view previousResponders;
  std::optional<std::string_view> namingAuthority;  ///< none: of all authorities; empty: IANA's
  std::string_view scopes;
  bool operator==(const ServiceTypeRequest&) const = default;
};

struct ServiceTypeReply {
  static constexpr Function kFunction = Function::kServiceTypeReply;
  ErrorCode error = ErrorCode::kOk;
  std::string_view types;
  bool operator==(const ServiceTypeReply&) const = default;
};

struct ServiceAgentAdvert {
  static constexpr Function kFunction = Function::kServiceAgentAdvert;
  std::string_view url;
  std::string_view scopes;
  std::string_view attributes;
  AuthBlocks auth;
  bool operator==(const ServiceAgentAdvert&) const = default;
};

using Body = std::variant<ServiceRequest, ServiceReply, ServiceRegistration, ServiceDeregistration, ServiceAcknowledge,
                          AttributeRequest, AttributeReply, DirectoryAgentAdvert, ServiceTypeRequest, ServiceTypeReply,
                          ServiceAgentAdvert>;

/// RFC 2608, section 9.1. Unknown ones in 0x4000 to 0x7FFF may not be passed over.
struct Extension {
  std::uint16_t id = 0;
  std::string_view data;
  bool operator==(const Extension&) const = default;
};

struct Message {
  Header header;
  Body body;
  std::vector<Extension> extensions;
  bool operator==(const Message&) const = default;
};

}  // namespace slp::wire
