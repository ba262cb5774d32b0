#pragma once

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/http/Front.h"
#include "host/tls/TlsContext.h"
#include "state/Directory.h"
#include "support/LogCapture.h"
#include "unit/host/RawClient.h"

namespace host_test {

/// Answers what a function of the test says.
class ScriptedService : public host::Service {
 public:
  std::function<host::Answer(const host::ClientRequest&)> answer = [](const auto&) {
    host::Answer made;
    made.body = "{}";
    return made;
  };

  void serve(host::ClientRequest request, Done done) override {
    auto made = answer(request);
    {
      const std::lock_guard lock(mMutex);
      mRequests.push_back(std::move(request));
    }
    if (made.status != 0) done(std::move(made));
  }
  std::vector<host::ClientRequest> requests() const {
    const std::lock_guard lock(mMutex);
    return mRequests;
  }

 private:
  mutable std::mutex mMutex;
  std::vector<host::ClientRequest> mRequests;
};

/// A front on loopback, with TLS or without.
class FrontFixture : public testing::Test {
 protected:
  ~FrontFixture() override {
    mFront.reset();
    std::filesystem::remove_all(mState.path());
  }

  void start() {
    mFront.emplace(mLimits, mService, mTls);
    const auto endpoints = mFront->listen({{"127.0.0.1", 0}});
    ASSERT_TRUE(endpoints) << endpoints.error();
    mPort = endpoints->front().port;
    mScheme = endpoints->front().scheme;
    mFront->start();
  }
  void startWithTls(const host::TlsSettings& settings = {}) {
    auto context = host::TlsContext::open(settings, mState);
    ASSERT_TRUE(context) << context.error();
    mTls = *context;
    start();
  }
  RawClient client() const { return RawClient(mPort); }

  static std::string newPath() {
    std::string path = testing::TempDir() + "/kvt-front-XXXXXX";
    return mkdtemp(path.data()) != nullptr ? path : "";
  }

  support::LogCapture mLog;
  const state::Directory mState{newPath()};
  host::Limits mLimits;
  ScriptedService mService;
  std::shared_ptr<host::TlsContext> mTls;
  std::optional<host::Front> mFront;
  std::uint16_t mPort = 0;
  std::string mScheme;
};

}  // namespace host_test
