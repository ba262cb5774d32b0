#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Lists of strings with commas between them (RFC 2608, section 6.4): scopes, tags, service types, previous responders.
/// A comma inside an element is written as an escape, so that splitting needs no unescaping.
namespace slp::wire {

/// The elements without the white space around them; empty ones are left out. At most limits::kMaxListElements.
std::vector<std::string_view> splitList(std::string_view list);
/// Whether the list has the element, compared folded.
bool contains(std::string_view list, std::string_view element);
/// Whether the lists have an element in common: how scopes are matched.
bool intersects(std::string_view left, std::string_view right);
/// The elements of `left` that `right` has too, in the order and spelling of `left`.
std::string intersection(std::string_view left, std::string_view right);
/// The elements of all lists, each once, where and as it is spelled first. At most limits::kMaxListElements.
std::string merged(std::span<const std::string_view> lists);

}  // namespace slp::wire
