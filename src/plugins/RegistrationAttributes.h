#pragma once

#include <cstdint>

#include "json/elements.h"

namespace plugins {

/// The document without the blanks and TABs in its strings and names. Of members whose names this makes equal, the
/// first stays.
json::Object withoutBlanks(const json::Object& document);

/// What other servers are told of the local one: its details, and in their properties once more what servers look for
/// first, how often the details have changed, and beside them a digest of it all, by which others recognise what one
/// of their kind has said. They compute it over the properties alone, so that details with anything beside their
/// properties do not stand that test. What the details lack is empty.
json::Object makeRegistrationAttributes(const json::Object& details, std::uint32_t changeCounter);

}  // namespace plugins
