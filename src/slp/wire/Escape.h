#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Escapes of attribute tags and values (RFC 2608, sections 5 and 6.4; RFC 2614, sections 4.6.4 and 4.6.5).
namespace slp::wire {

enum class TextKind { kTag, kValue };

/// Reserved characters become a backslash and two hexadecimal digits. Nothing when a tag has characters that no tag may
/// have (CR, LF, TAB, underscore, star).
std::optional<std::string> escape(std::string_view text, TextKind kind);
/// The reverse. An opaque value ("\FF" first) stays as it is. Nothing when an escape is cut, is not hexadecimal, or
/// stands for a character that is not reserved; for a tag also when it has characters that no tag may have.
std::optional<std::string> unescape(std::string_view text, TextKind kind);
/// The reverse for texts of strangers that are only compared: what is no escape stays, any byte may be escaped.
std::string unescapeLeniently(std::string_view text);

/// ( ) , \ ! < = > ~ and control characters (RFC 2608, section 5).
bool isReserved(char character);
/// The byte of the escape at the start of the text; nothing when it does not start with a whole one.
std::optional<char> escapedByte(std::string_view text);
/// Whether a value starts with "\FF", in either case of the digits: what follows are bytes.
bool isOpaque(std::string_view value);

}  // namespace slp::wire
