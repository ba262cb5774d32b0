#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "slp/include/slp.h"
#include "slp/net/Address.h"
#include "slp/net/UdpSocket.h"

namespace slp::api {

/// A property for the time of one test.
class PropertyGuard {
 public:
  PropertyGuard(std::string name, const std::string& value) : mName(std::move(name)) {
    const char* const before = SLPGetProperty(mName.c_str());
    if (before != nullptr) mBefore = before;
    SLPSetProperty(mName.c_str(), value.c_str());
  }
  ~PropertyGuard() { SLPSetProperty(mName.c_str(), mBefore.c_str()); }
  PropertyGuard(const PropertyGuard&) = delete;
  PropertyGuard& operator=(const PropertyGuard&) = delete;

 private:
  std::string mName;
  std::string mBefore;
};

/// A handle that closes itself.
class OpenHandle {
 public:
  explicit OpenHandle(const char* language = "en") { mResult = SLPOpen(language, SLP_FALSE, &mHandle); }
  ~OpenHandle() { SLPClose(mHandle); }
  OpenHandle(const OpenHandle&) = delete;
  OpenHandle& operator=(const OpenHandle&) = delete;

  operator SLPHandle() const { return mHandle; }
  SLPError result() const { return mResult; }

 private:
  SLPHandle mHandle = nullptr;
  SLPError mResult = SLP_INTERNAL_SYSTEM_ERROR;
};

/// A port of this machine that swallows whatever it is sent: a host that is there and does not answer.
class SilentPort {
 public:
  SilentPort() { mError = mSocket.open(net::Family::kV4, 0); }
  int error() const { return mError; }
  std::uint16_t port() const { return mSocket.localPort(); }

 private:
  net::UdpSocket mSocket;
  int mError;
};

/// A port above 1023 that nobody has just now.
inline std::uint16_t freePort() {
  return SilentPort().port();
}

/// What a callback was called with. Null texts are "(null)".
struct CallbackRecord {
  std::string text;
  unsigned lifetime = 0;
  SLPError code = SLP_OK;
  bool operator==(const CallbackRecord&) const = default;
};

inline std::string textOf(const char* text) {
  return text == nullptr ? "(null)" : text;
}

/// Cookie of the callbacks below: what they were called with, and after which call they end the search.
struct Recorder {
  std::vector<CallbackRecord> calls;
  std::size_t stopAfter = SIZE_MAX;
};

inline SLPBoolean recordUrl(SLPHandle, const char* url, unsigned short lifetime, SLPError code, void* cookie) {
  auto& recorder = *static_cast<Recorder*>(cookie);
  recorder.calls.push_back({textOf(url), lifetime, code});
  return recorder.calls.size() < recorder.stopAfter ? SLP_TRUE : SLP_FALSE;
}

inline SLPBoolean recordText(SLPHandle, const char* text, SLPError code, void* cookie) {
  auto& recorder = *static_cast<Recorder*>(cookie);
  recorder.calls.push_back({textOf(text), 0, code});
  return recorder.calls.size() < recorder.stopAfter ? SLP_TRUE : SLP_FALSE;
}

inline void recordReport(SLPHandle, SLPError code, void* cookie) {
  static_cast<Recorder*>(cookie)->calls.push_back({"", 0, code});
}

inline const CallbackRecord kLastCall{"(null)", 0, SLP_LAST_CALL};

}  // namespace slp::api
