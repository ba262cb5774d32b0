#pragma once

#include <optional>
#include <string>

#include "slp/config/Settings.h"

/// The checks of what callers pass (RFC 2614, sections 3.8, 4 and 4.7.3).
namespace slp::api {

/// The text; null is an empty one. Nothing when it is too long.
std::optional<std::string> optionalText(const char* text);
/// Nothing for null, for the empty text, and when it is too long.
std::optional<std::string> requiredText(const char* text);
/// The scopes that a caller asks for; those of the configuration when there are none. Nothing when they are too long.
std::optional<std::string> scopesOr(const char* text, const config::Settings& settings);
/// A language tag in letters, digits and hyphens (RFC 1766); that of the configuration when there is none.
std::optional<std::string> languageOr(const char* text, const config::Settings& settings);

}  // namespace slp::api
