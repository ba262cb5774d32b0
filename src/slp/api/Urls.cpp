#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>

#include "slp/api/Allocation.h"
#include "slp/api/Arguments.h"
#include "slp/api/Library.h"
#include "slp/wire/Escape.h"
#include "slp/wire/ServiceUrl.h"

namespace slp::api {
namespace {

/// The structure, with its texts behind it in the same block.
SLPSrvURL* blockOf(const wire::ServiceUrl& url) {
  const std::array<const std::string*, 4> texts{&url.type, &url.host, &url.family, &url.rest};
  std::size_t size = sizeof(SLPSrvURL);
  for (const std::string* text : texts)
    size += text->size() + 1;
  auto* const block = static_cast<char*>(allocate(size));
  auto* const result = new (block) SLPSrvURL{};
  const std::array<char**, 4> fields{&result->s_pcSrvType, &result->s_pcHost, &result->s_pcNetFamily,
                                     &result->s_pcSrvPart};
  char* next = block + sizeof(SLPSrvURL);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    *fields[i] = next;
    std::memcpy(next, texts[i]->c_str(), texts[i]->size() + 1);
    next += texts[i]->size() + 1;
  }
  result->s_iPort = url.port;
  return result;
}

using Conversion = std::optional<std::string> (*)(std::string_view, wire::TextKind);

SLPError convert(const char* text, char** result, SLPBoolean isTag, Conversion conversion) {
  if (result != nullptr) *result = nullptr;
  if (text == nullptr || result == nullptr) return SLP_PARAMETER_BAD;
  const std::optional<std::string> input = optionalText(text);
  if (!input) return SLP_PARAMETER_BAD;
  const auto converted = conversion(*input, isTag == SLP_FALSE ? wire::TextKind::kValue : wire::TextKind::kTag);
  if (!converted) return SLP_PARSE_ERROR;
  *result = copyOf(*converted);
  return SLP_OK;
}

}  // namespace
}  // namespace slp::api

using namespace slp;
using namespace slp::api;

SLPError SLPParseSrvURL(const char* pcSrvURL, SLPSrvURL** ppSrvURL) {
  return guarded([&]() -> SLPError {
    if (ppSrvURL != nullptr) *ppSrvURL = nullptr;
    if (pcSrvURL == nullptr || ppSrvURL == nullptr) return SLP_PARAMETER_BAD;
    const std::optional<std::string> text = optionalText(pcSrvURL);
    if (!text) return SLP_PARAMETER_BAD;
    const std::optional<wire::ServiceUrl> url = wire::parseServiceUrl(*text);
    if (!url) return SLP_PARSE_ERROR;
    *ppSrvURL = blockOf(*url);
    return SLP_OK;
  });
}

SLPError SLPEscape(const char* pcInbuf, char** ppcOutBuf, SLPBoolean isTag) {
  return guarded([&] { return convert(pcInbuf, ppcOutBuf, isTag, wire::escape); });
}

SLPError SLPUnescape(const char* pcInbuf, char** ppcOutBuf, SLPBoolean isTag) {
  return guarded([&] { return convert(pcInbuf, ppcOutBuf, isTag, wire::unescape); });
}

void SLPFree(void* pvMem) {
  std::free(pvMem);
}
