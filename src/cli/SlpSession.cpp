#include "cli/SlpSession.h"

#include <slp.h>
#include <string_view>
#include <utility>

#include "cli/SlpFailure.h"

namespace cli {
namespace {

void setProperty(const char* name, const std::string& value) {
  SLPSetProperty(name, value.c_str());
}

SLPBoolean onUrl(SLPHandle, const char* url, unsigned short lifetime, SLPError code, void* cookie) {
  if (code == SLP_OK) (*static_cast<const SlpSession::UrlSink*>(cookie))(url, lifetime);
  return SLP_TRUE;
}

SLPBoolean onText(SLPHandle, const char* text, SLPError code, void* cookie) {
  if (code == SLP_OK) (*static_cast<const SlpSession::TextSink*>(cookie))(text);
  return SLP_TRUE;
}

SLPBoolean onTypes(SLPHandle, const char* types, SLPError code, void* cookie) {
  if (code != SLP_OK) return SLP_TRUE;
  for (std::string_view rest = types; !rest.empty();) {
    const std::size_t comma = rest.find(',');
    (*static_cast<const SlpSession::TextSink*>(cookie))(std::string(rest.substr(0, comma)));
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
  }
  return SLP_TRUE;
}

void onReport(SLPHandle, SLPError, void*) {}  // the call returns the same

void* cookieOf(const auto& sink) {
  return const_cast<void*>(static_cast<const void*>(&sink));
}

SlpSession::Ended ended(SLPError code, const std::string& doing) {
  if (code == SLP_OK) return std::nullopt;
  return slpFailure(code, doing);
}

}  // namespace

SlpSession::SlpSession(void* handle, const SlpOptions& options) : mHandle(handle), mOptions(options) {}

SlpSession::~SlpSession() {
  SLPClose(mHandle);
}

Result<std::unique_ptr<SlpSession>> SlpSession::open(const SlpOptions& options, std::chrono::milliseconds timeout) {
  if (options.port != 0) setProperty("net.slp.port", std::to_string(options.port));
  setProperty("net.slp.multicastMaximumWait", std::to_string(timeout.count()));
  SLPHandle handle = nullptr;
  const SLPError code = SLPOpen("", SLP_FALSE, &handle);
  if (code != SLP_OK) return slpFailure(code, "open the SLP library");
  std::unique_ptr<SlpSession> session(new SlpSession(handle, options));
  if (const Ended failed = session->associate()) return *failed;
  return session;
}

SlpSession::Ended SlpSession::associate() const {
  if (!mOptions.host.empty() && SLPAssociateIP(mHandle, mOptions.host.c_str()) != SLP_OK) {
    return Failure{ExitCode::kUnreachable, "cannot find the host " + mOptions.host};
  }
  if (!mOptions.interfaces.empty() && SLPAssociateIFList(mHandle, mOptions.interfaces.c_str()) != SLP_OK) {
    return Failure{ExitCode::kUsage, "no such interface: " + mOptions.interfaces};
  }
  return std::nullopt;
}

SlpSession::Ended SlpSession::findServices(const std::string& type, const UrlSink& found) const {
  const SLPError code =
      SLPFindSrvs(mHandle, type.c_str(), mOptions.scopes.c_str(), mOptions.filter.c_str(), onUrl, cookieOf(found));
  return ended(code, "find " + type);
}

SlpSession::Ended SlpSession::findAttributes(const std::string& urlOrType, const TextSink& found) const {
  const SLPError code = SLPFindAttrs(mHandle, urlOrType.c_str(), mOptions.scopes.c_str(), "", onText, cookieOf(found));
  return ended(code, "find the attributes of " + urlOrType);
}

SlpSession::Ended SlpSession::findTypes(const TextSink& found) const {
  const SLPError code = SLPFindSrvTypes(mHandle, "*", mOptions.scopes.c_str(), onTypes, cookieOf(found));
  return ended(code, "find service types");
}

SlpSession::Ended SlpSession::add(const std::string& url, const std::string& attributes) const {
  // The library takes any text with a type, as programs may know better; a person has mistyped it.
  SLPSrvURL* parsed = nullptr;
  if (SLPParseSrvURL(url.c_str(), &parsed) != SLP_OK)
    return Failure{ExitCode::kUsage, "cannot register " + url + ": this is no URL of a service"};
  SLPFree(parsed);
  const SLPError code =
      SLPReg(mHandle, url.c_str(), SLP_LIFETIME_MAXIMUM, "", attributes.c_str(), SLP_TRUE, onReport, nullptr);
  return ended(code, "register " + url);
}

SlpSession::Ended SlpSession::remove(const std::string& url) const {
  return ended(SLPDereg(mHandle, url.c_str(), onReport, nullptr), "deregister " + url);
}

}  // namespace cli
