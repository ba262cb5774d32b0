#pragma once

#include "slp/wire/Message.h"

/// The order of the fields of each message, once for both directions (RFC 2608, sections 8 and 10). `Fields` is either
/// a reader, which fills the message, or a writer, to which it is constant. Private to the codec.
namespace slp::wire {

template <class Fields, class Message>
using In = typename Fields::template In<Message>;

template <class Fields>
void visit(Fields& fields, In<Fields, ServiceRequest>& message) {
  fields.text(message.previousResponders);
  fields.text(message.serviceType);
  fields.text(message.scopes);
  fields.text(message.predicate);
  fields.text(message.spi);
}

template <class Fields>
void visit(Fields& fields, In<Fields, ServiceReply>& message) {
  if (fields.endsWithError(message.error)) return;
  fields.entries(message.urls);
}

template <class Fields>
void visit(Fields& fields, In<Fields, ServiceRegistration>& message) {
  fields.entry(message.entry);
  fields.text(message.serviceType);
  fields.text(message.scopes);
  fields.text(message.attributes);
  fields.auth(message.auth);
}

template <class Fields>
void visit(Fields& fields, In<Fields, ServiceDeregistration>& message) {
  fields.text(message.scopes);
  fields.entry(message.entry);
  fields.text(message.tags);
}

template <class Fields>
void visit(Fields& fields, In<Fields, ServiceAcknowledge>& message) {
  fields.endsWithError(message.error);
}

template <class Fields>
void visit(Fields& fields, In<Fields, AttributeRequest>& message) {
  fields.text(message.previousResponders);
  fields.text(message.url);
  fields.text(message.scopes);
  fields.text(message.tags);
  fields.text(message.spi);
}

template <class Fields>
void visit(Fields& fields, In<Fields, AttributeReply>& message) {
  if (fields.endsWithError(message.error)) return;
  fields.text(message.attributes);
  fields.auth(message.auth);
}

template <class Fields>
void visit(Fields& fields, In<Fields, DirectoryAgentAdvert>& message) {
  if (fields.endsWithError(message.error)) return;
  fields.number(message.bootTime);
  fields.text(message.url);
  fields.text(message.scopes);
  fields.text(message.attributes);
  fields.text(message.spis);
  fields.auth(message.auth);
}

template <class Fields>
void visit(Fields& fields, In<Fields, ServiceTypeRequest>& message) {
  fields.text(message.previousResponders);
  fields.namingAuthority(message.namingAuthority);
  fields.text(message.scopes);
}

template <class Fields>
void visit(Fields& fields, In<Fields, ServiceTypeReply>& message) {
  if (fields.endsWithError(message.error)) return;
  fields.text(message.types);
}

template <class Fields>
void visit(Fields& fields, In<Fields, ServiceAgentAdvert>& message) {
  fields.text(message.url);
  fields.text(message.scopes);
  fields.text(message.attributes);
  fields.auth(message.auth);
}

// Constants of the layout that both directions need.

inline constexpr std::uint8_t kVersion = 2;
inline constexpr std::uint16_t kOverflowFlag = 0x8000;
inline constexpr std::uint16_t kFreshFlag = 0x4000;
inline constexpr std::uint16_t kMulticastFlag = 0x2000;
/// Where a header has its numbers; the language tag follows the length at 12.
inline constexpr std::size_t kLengthPosition = 2;
inline constexpr std::size_t kExtensionPosition = 7;
/// A header without the language tag.
inline constexpr std::size_t kMinHeader = 14;
/// An extension without data: its number and the offset of the next.
inline constexpr std::size_t kMinExtension = 5;
/// Section 10.1: this length in place of a naming authority says that there is none.
inline constexpr std::uint16_t kNoNamingAuthority = 0xFFFF;

}  // namespace slp::wire
