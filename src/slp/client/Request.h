#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "slp/client/Queries.h"
#include "slp/client/Transport.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Message.h"

namespace slp::client {

/// A request of a search, as it goes out again and again under one identifier. Immutable.
class Request {
 public:
  explicit Request(ServiceQuery query);
  explicit Request(AttributeQuery query);
  explicit Request(TypeQuery query);

  /// The bytes for one peer; nothing when a text is too long for any message.
  std::optional<std::string> unicast() const { return encode(false, {}); }
  std::optional<std::string> multicast(std::string_view previousResponders) const {
    return encode(true, previousResponders);
  }

  /// Whether the message is an answer to this request, whoever sent it.
  bool answeredBy(const wire::Message& message) const;
  /// Whether the bytes are an answer that was cut to fit a datagram, be it inside a field (RFC 2608, section 6.1).
  bool answeredBy(const wire::Rejected& cut) const;

  const std::string& scopes() const;
  const std::string& language() const;
  /// Where it goes to by multicast.
  Transport::Group group() const;
  std::string_view serviceType() const;
  /// What a search has in common with others that have the same responders: kind, type, scopes and language. None of a
  /// question about one URL.
  std::optional<std::string> key() const;
  /// Whether the answers say all that a responder has of the kind asked for, so that an empty one means that it has
  /// nothing.
  bool isPlain() const;

 private:
  std::optional<std::string> encode(bool toGroup, std::string_view previousResponders) const;

  std::variant<ServiceQuery, AttributeQuery, TypeQuery> mQuery;
  std::uint16_t mXid;
};

bool isDirectoryAgentType(std::string_view type);
bool isServiceAgentType(std::string_view type);

}  // namespace slp::client
