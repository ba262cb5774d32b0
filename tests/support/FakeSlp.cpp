#include "support/FakeSlp.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace support {
namespace {

std::mutex gMutex;
FakeSlp* gCurrent = nullptr;
SLPLogCallback* gLog = nullptr;
void* gLogCookie = nullptr;
SLPCounterCallback* gCounter = nullptr;
void* gCounterCookie = nullptr;

FakeSlp* current() {
  const std::lock_guard lock(gMutex);
  return gCurrent;
}

SLPHandle numbered(std::size_t number) {
  return reinterpret_cast<SLPHandle>(static_cast<std::uintptr_t>(number));
}

}  // namespace

FakeSlp::FakeSlp() {
  const std::lock_guard lock(gMutex);
  gCurrent = this;
}

FakeSlp::~FakeSlp() {
  const std::lock_guard lock(gMutex);
  gCurrent = nullptr;
}

void FakeSlp::answerOpen(SLPError result) {
  const std::lock_guard lock(mMutex);
  mOpenResult = result;
}

void FakeSlp::answerRegister(SLPError result) {
  const std::lock_guard lock(mMutex);
  mRegisterResult = result;
}

void FakeSlp::failRegister(const std::string& url, SLPError result) {
  const std::lock_guard lock(mMutex);
  mRegisterFailures[url] = result;
}

void FakeSlp::answerDeregister(SLPError result) {
  const std::lock_guard lock(mMutex);
  mDeregisterResult = result;
}

void FakeSlp::setServices(const std::string& type, std::vector<std::string> urls, SLPError result) {
  const std::lock_guard lock(mMutex);
  mServices[type] = {std::move(urls), result};
}

void FakeSlp::setAttributes(const std::string& url, const std::string& list) {
  const std::lock_guard lock(mMutex);
  mAttributes[url] = {list, SLP_OK};
}

void FakeSlp::failAttributes(const std::string& url, SLPError error) {
  const std::lock_guard lock(mMutex);
  mAttributes[url] = {"", error};
}

void FakeSlp::hold(bool on) {
  const std::lock_guard lock(mMutex);
  mHoldSearches = on;
  mHoldInquiries = on;
  mChanged.notify_all();
}

void FakeSlp::holdInquiries(bool on) {
  const std::lock_guard lock(mMutex);
  mHoldInquiries = on;
  mChanged.notify_all();
}

bool FakeSlp::say(int level, const char* text) {
  const std::lock_guard lock(gMutex);
  if (gLog == nullptr) return false;
  gLog(level, text, gLogCookie);
  return true;
}

bool FakeSlp::tell(SLPMessageFate fate, const char* kind) {
  const std::lock_guard lock(gMutex);
  if (gCounter == nullptr) return false;
  gCounter(fate, kind, gCounterCookie);
  return true;
}

std::vector<FakeSlp::Registration> FakeSlp::registrations() const {
  const std::lock_guard lock(mMutex);
  return mRegistrations;
}

std::vector<std::string> FakeSlp::deregistrations() const {
  const std::lock_guard lock(mMutex);
  return mDeregistrations;
}

std::vector<std::string> FakeSlp::searches() const {
  const std::lock_guard lock(mMutex);
  return mSearches;
}

std::vector<std::string> FakeSlp::inquiries() const {
  const std::lock_guard lock(mMutex);
  return mInquiries;
}

std::size_t FakeSlp::opened() const {
  const std::lock_guard lock(mMutex);
  return mOpened;
}

std::size_t FakeSlp::openHandles() const {
  const std::lock_guard lock(mMutex);
  return mOpen.size();
}

std::size_t FakeSlp::closings() const {
  const std::lock_guard lock(mMutex);
  return mClosings;
}

std::size_t FakeSlp::held() const {
  const std::lock_guard lock(mMutex);
  return mHeld;
}

SLPError FakeSlp::open(SLPHandle* handle) {
  const std::lock_guard lock(mMutex);
  if (mOpenResult != SLP_OK) return mOpenResult;
  *handle = numbered(++mOpened);
  mOpen.insert(*handle);
  return SLP_OK;
}

void FakeSlp::close(SLPHandle handle) {
  const std::lock_guard lock(mMutex);
  ++mClosings;
  mOpen.erase(handle);
  mChanged.notify_all();
}

bool FakeSlp::isOpen(SLPHandle handle) const {
  return mOpen.contains(handle);
}

bool FakeSlp::pass(SLPHandle handle, const bool& isHeld) {
  std::unique_lock lock(mMutex);
  ++mHeld;
  mChanged.wait(lock, [&] { return !isHeld || !isOpen(handle); });
  --mHeld;
  return isOpen(handle);
}

SLPError FakeSlp::registerService(SLPHandle handle, Registration registration, SLPRegReport* report, void* cookie) {
  SLPError result = SLP_OK;
  {
    const std::lock_guard lock(mMutex);
    if (!isOpen(handle)) return SLP_PARAMETER_BAD;
    const auto failure = mRegisterFailures.find(registration.url);
    const bool fails = mRegisterResult == SLP_OK && failure != mRegisterFailures.end();
    result = fails ? failure->second : mRegisterResult;
    if (result == SLP_OK) mRegistrations.push_back(std::move(registration));
  }
  report(handle, result, cookie);
  return result;
}

SLPError FakeSlp::deregisterService(SLPHandle handle, const std::string& url, SLPRegReport* report, void* cookie) {
  SLPError result = SLP_OK;
  {
    const std::lock_guard lock(mMutex);
    if (!isOpen(handle)) return SLP_PARAMETER_BAD;
    result = mDeregisterResult;
    if (result == SLP_OK) mDeregistrations.push_back(url);
  }
  report(handle, result, cookie);
  return result;
}

SLPError FakeSlp::findServices(SLPHandle handle, const std::string& type, SLPSrvURLCallback* callback, void* cookie) {
  Services services;
  {
    const std::lock_guard lock(mMutex);
    mSearches.push_back(type);
    const auto found = mServices.find(type);
    if (found != mServices.end()) services = found->second;
  }
  if (!pass(handle, mHoldSearches)) return SLP_PARAMETER_BAD;
  for (const std::string& url : services.urls)
    callback(handle, url.c_str(), 65535, SLP_OK, cookie);
  if (services.result == SLP_OK) callback(handle, nullptr, 0, SLP_LAST_CALL, cookie);
  return services.result;
}

SLPError FakeSlp::findAttributes(SLPHandle handle, const std::string& url, SLPAttrCallback* callback, void* cookie) {
  Attributes attributes;
  bool isKnown = false;
  {
    const std::lock_guard lock(mMutex);
    mInquiries.push_back(url);
    const auto found = mAttributes.find(url);
    isKnown = found != mAttributes.end();
    if (isKnown) attributes = found->second;
  }
  if (!pass(handle, mHoldInquiries)) return SLP_PARAMETER_BAD;
  if (attributes.error != SLP_OK) {
    callback(handle, nullptr, attributes.error, cookie);
    return attributes.error;
  }
  if (isKnown) callback(handle, attributes.list.c_str(), SLP_OK, cookie);
  callback(handle, nullptr, SLP_LAST_CALL, cookie);
  return SLP_OK;
}

}  // namespace support

namespace {

char* copyOfText(const std::string& text) {
  auto* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace

SLPError SLPOpen(const char*, SLPBoolean, SLPHandle* handle) {
  auto* const slp = support::current();
  if (slp != nullptr) return slp->open(handle);
  static int anyHandle = 0;
  *handle = &anyHandle;
  return SLP_OK;
}

void SLPClose(SLPHandle handle) {
  if (auto* const slp = support::current()) slp->close(handle);
}

SLPError SLPReg(SLPHandle handle, const char* url, const unsigned short lifetime, const char* type,
                const char* attributes, SLPBoolean fresh, SLPRegReport report, void* cookie) {
  auto* const slp = support::current();
  if (slp == nullptr) return SLP_OK;
  return slp->registerService(handle, {url, lifetime, type, attributes, fresh == SLP_TRUE}, report, cookie);
}

SLPError SLPDereg(SLPHandle handle, const char* url, SLPRegReport report, void* cookie) {
  auto* const slp = support::current();
  return slp == nullptr ? SLP_OK : slp->deregisterService(handle, url, report, cookie);
}

SLPError SLPFindSrvs(SLPHandle handle, const char* type, const char*, const char*, SLPSrvURLCallback callback,
                     void* cookie) {
  auto* const slp = support::current();
  return slp == nullptr ? SLP_OK : slp->findServices(handle, type, callback, cookie);
}

SLPError SLPFindAttrs(SLPHandle handle, const char* url, const char*, const char*, SLPAttrCallback callback,
                      void* cookie) {
  auto* const slp = support::current();
  return slp == nullptr ? SLP_OK : slp->findAttributes(handle, url, callback, cookie);
}

/// Enough of a parser for the URLs of tests: "service:<type>://<host>[:<port>]"; an IPv6 host is all but the port.
SLPError SLPParseSrvURL(const char* text, SLPSrvURL** parsed) {
  const std::string url(text);
  const auto typeEnd = url.find("://");
  if (typeEnd == std::string::npos) return SLP_PARSE_ERROR;
  std::string host = url.substr(typeEnd + 3);
  host = host.substr(0, host.find('/'));
  const auto colon = host.rfind(':');
  const int port = colon == std::string::npos ? 0 : std::atoi(host.c_str() + colon + 1);
  auto* const result = static_cast<SLPSrvURL*>(std::malloc(sizeof(SLPSrvURL)));
  if (result == nullptr) return SLP_MEMORY_ALLOC_FAILED;
  *result = {copyOfText(url.substr(0, typeEnd)), copyOfText(host.substr(0, colon)), port, copyOfText(""),
             copyOfText("")};
  *parsed = result;
  return SLP_OK;
}

/// Only for what SLPParseSrvURL made.
void SLPFree(void* memory) {
  auto* const url = static_cast<SLPSrvURL*>(memory);
  if (url == nullptr) return;
  for (char* text : {url->s_pcSrvType, url->s_pcHost, url->s_pcNetFamily, url->s_pcSrvPart})
    std::free(text);
  std::free(url);
}

void SLPSetCounter(SLPCounterCallback callback, void* cookie) {
  const std::lock_guard lock(support::gMutex);
  support::gCounter = callback;
  support::gCounterCookie = cookie;
}

void SLPSetLog(SLPLogCallback callback, void* cookie) {
  const std::lock_guard lock(support::gMutex);
  support::gLog = callback;
  support::gLogCookie = cookie;
}
