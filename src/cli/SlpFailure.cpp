#include "cli/SlpFailure.h"

#include <algorithm>
#include <array>

namespace cli {
namespace {

struct Words {
  SLPError code;
  ExitCode exit;
  const char* text;
};

constexpr std::array<Words, 17> kWords{{
    {SLP_LANGUAGE_NOT_SUPPORTED, ExitCode::kRefused, "there is nothing in this language (net.slp.locale)"},
    {SLP_PARSE_ERROR, ExitCode::kUsage, "the filter or another text cannot be read"},
    {SLP_INVALID_REGISTRATION, ExitCode::kRefused, "the URL is not one that can be registered, or is not registered"},
    {SLP_SCOPE_NOT_SUPPORTED, ExitCode::kRefused, "nobody serves the scope; give another with --scope"},
    {SLP_AUTHENTICATION_ABSENT, ExitCode::kRefused, "an authentication is asked for, which this program cannot give"},
    {SLP_AUTHENTICATION_FAILED, ExitCode::kRefused, "the other side does not allow it"},
    {SLP_INVALID_UPDATE, ExitCode::kRefused, "the other side does not know the registration"},
    {SLP_REFRESH_REJECTED, ExitCode::kRefused, "the registration was renewed too often"},
    {SLP_NOT_IMPLEMENTED, ExitCode::kNonsense, "the library cannot do that"},
    {SLP_BUFFER_OVERFLOW, ExitCode::kUsage, "the text is too long for a message"},
    {SLP_NETWORK_TIMED_OUT, ExitCode::kUnreachable, "no answer in time"},
    {SLP_NETWORK_INIT_FAILED, ExitCode::kUnreachable,
     "the SLP port needs a privilege; grant it with setcap cap_net_bind_service=+ep, or try --port with a port above "
     "1023"},
    {SLP_MEMORY_ALLOC_FAILED, ExitCode::kNonsense, "there is no memory left"},
    {SLP_PARAMETER_BAD, ExitCode::kUsage, "a text is empty, too long, or not what it should be"},
    {SLP_NETWORK_ERROR, ExitCode::kUnreachable,
     "there is no network to ask, or nobody listens; see --interface, --unicast"},
    {SLP_INTERNAL_SYSTEM_ERROR, ExitCode::kNonsense, "the system refused something; the log may say what"},
    {SLP_TYPE_ERROR, ExitCode::kRefused, "the attributes do not fit the service type"},
}};

}  // namespace

Failure slpFailure(SLPError code, const std::string& doing) {
  const auto* const words =
      std::find_if(kWords.begin(), kWords.end(), [code](const Words& entry) { return entry.code == code; });
  const std::string start = "cannot " + doing + ": ";
  if (words == kWords.end()) return Failure{ExitCode::kNonsense, start + "SLP error " + std::to_string(code)};
  return Failure{words->exit, start + words->text};
}

}  // namespace cli
