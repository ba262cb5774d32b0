#pragma once

#include <string>

#include <gtest/gtest.h>

#include "Support.h"

namespace slp::api {

/// A registration that withdraws itself.
class Registered {
 public:
  Registered(SLPHandle handle, const char* url, const char* attributes, const char* type = "")
      : mHandle(handle), mUrl(url) {
    Recorder recorder;
    EXPECT_EQ(SLPReg(handle, url, SLP_LIFETIME_MAXIMUM, type, attributes, SLP_TRUE, recordReport, &recorder), SLP_OK);
  }
  ~Registered() {
    Recorder recorder;
    SLPDereg(mHandle, mUrl.c_str(), recordReport, &recorder);
  }
  Registered(const Registered&) = delete;
  Registered& operator=(const Registered&) = delete;

 private:
  SLPHandle mHandle;
  std::string mUrl;
};

/// Tests of a process whose agent serves a port that needs no privilege. Nothing leaves the machine.
class LoopbackAgent : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    static const std::uint16_t sPort = freePort();  // the agent keeps the port of its first registration
    SLPSetProperty("net.slp.port", std::to_string(sPort).c_str());
    SLPSetProperty("net.slp.interfaces", "lo");
    const OpenHandle handle;
    const Registered first(handle, "service:first://here", "");
  }

  const OpenHandle mHandle;
};

}  // namespace slp::api
