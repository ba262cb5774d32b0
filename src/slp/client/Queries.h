#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "slp/include/slp.h"

namespace slp::client {

struct ServiceQuery {
  std::string serviceType;
  std::string scopes;
  std::string filter;  ///< empty: none
  std::string language;
};

struct AttributeQuery {
  std::string urlOrType;
  std::string scopes;
  std::string tags;  ///< empty: all
  std::string language;
};

struct TypeQuery {
  std::optional<std::string> namingAuthority;  ///< none: of all; empty: IANA's
  std::string scopes;
  std::string language;
};

/// Results as they arrive; false ends the search. They run on the searching thread with no lock held, and may take as
/// long as they like.
using UrlSink = std::function<bool(std::string_view url, std::uint16_t lifetime)>;
using TextSink = std::function<bool(std::string_view text)>;

/// How a search ended: with every result handed out, by its sink, or by whoever closed the handle.
enum class End { kComplete, kStopped, kCancelled };

struct Outcome {
  End end = End::kComplete;
  SLPError error = SLP_OK;  ///< of a complete one: why it has nothing to show
};

}  // namespace slp::client
