#include "slp/client/Errors.h"

namespace slp::client {

wire::ErrorCode errorOf(const wire::Body& body) {
  return std::visit(
      [](const auto& message) {
        if constexpr (requires { message.error; })
          return message.error;
        else
          return wire::ErrorCode::kOk;
      },
      body);
}

SLPError errorFor(wire::ErrorCode code) {
  switch (code) {
    case wire::ErrorCode::kOk:
      return SLP_OK;
    case wire::ErrorCode::kLanguageNotSupported:
      return SLP_LANGUAGE_NOT_SUPPORTED;
    case wire::ErrorCode::kParseError:
      return SLP_PARSE_ERROR;
    case wire::ErrorCode::kScopeNotSupported:
      return SLP_SCOPE_NOT_SUPPORTED;
    case wire::ErrorCode::kAuthenticationAbsent:
      return SLP_AUTHENTICATION_ABSENT;
    case wire::ErrorCode::kAuthenticationUnknown:
    case wire::ErrorCode::kAuthenticationFailed:
      return SLP_AUTHENTICATION_FAILED;
    case wire::ErrorCode::kMessageNotSupported:
      return SLP_NOT_IMPLEMENTED;
    case wire::ErrorCode::kInternalError:
      return SLP_INTERNAL_SYSTEM_ERROR;
    default:
      return SLP_NETWORK_ERROR;
  }
}

}  // namespace slp::client
