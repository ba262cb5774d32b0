#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "AgentPeer.h"
#include "slp/agent/EventLoop.h"
#include "slp/net/Wakeup.h"

namespace slp::agent {

/// A directory agent on a port of loopback, over UDP and TCP, in a thread of its own.
class FakeDirectoryAgent {
 public:
  explicit FakeDirectoryAgent(std::uint16_t port) : mPort(port) {
    int error = mUdp.open(net::Family::kV4, port);
    if (error == 0) mListener = net::listenTcp(net::Family::kV4, port, error);
    if (error != 0) throw std::runtime_error("no port for the directory agent");
    mLoop.watch(mWakeup.fd(), [this] { mWakeup.clear(); });
    mLoop.watch(mUdp.fd(), [this] { readDatagrams(); });
    mLoop.watch(mListener.get(), [this] { accept(); });
    mThread = std::thread([this] {
      while (!mStop)
        mLoop.run({});
    });
  }
  ~FakeDirectoryAgent() {
    mStop = true;
    mWakeup.signal();
    mThread.join();
  }
  FakeDirectoryAgent(const FakeDirectoryAgent&) = delete;
  FakeDirectoryAgent& operator=(const FakeDirectoryAgent&) = delete;

  net::Endpoint endpoint() const { return {net::Address::loopback(net::Family::kV4), mPort}; }

  /// What is registered.
  std::map<std::string, std::string> attributes() const {
    const std::lock_guard lock(mMutex);
    return mAttributes;
  }
  std::set<std::string> urls() const {
    std::set<std::string> result;
    for (const auto& [url, text] : attributes())
      result.insert(url);
    return result;
  }
  std::size_t registrations() const { return mRegistrations; }
  std::size_t overTcp() const { return mOverTcp; }
  std::uint16_t lifetime() const { return mLifetime; }

  void forget() {
    const std::lock_guard lock(mMutex);
    mAttributes.clear();
  }
  void setBootTime(std::uint32_t time) { mBootTime = time; }
  /// None of those that the services are in.
  void serveOtherScopes() { mOtherScopes = true; }
  std::size_t heard() const { return mHeard; }  ///< messages, answered or not
  std::size_t questions() const { return mQuestions; }
  void setSilent(bool silent) { mSilent = silent; }
  void setError(wire::ErrorCode error) { mError = error; }
  /// Every second datagram is lost.
  void loseHalf() { mLoseHalf = true; }

  /// An advert that nobody has asked for.
  std::string advert(std::uint16_t xid = 0) const { return advertOf(mBootTime, xid); }
  /// What it would say when it ends, and somebody else may say in its name.
  std::string farewell() const { return advertOf(0, 0); }

 private:
  std::string advertOf(std::uint32_t bootTime, std::uint16_t xid) const {
    const std::string url = "service:directory-agent://127.0.0.1:" + std::to_string(mPort);
    wire::Message message;
    message.header.xid = xid;
    wire::DirectoryAgentAdvert body;
    body.bootTime = bootTime;
    body.url = url;
    body.scopes = mOtherScopes ? "OTHER" : "DEFAULT";
    message.body = body;
    return encoded(message);
  }

  void readDatagrams();
  void accept();
  void readStream(int fd);
  std::string answer(std::span<const std::byte> bytes);
  wire::ErrorCode take(const wire::Message& message);

  const std::uint16_t mPort;
  net::UdpSocket mUdp;
  net::Descriptor mListener;
  EventLoop mLoop;
  net::Wakeup mWakeup;
  std::map<int, net::MessageStream> mStreams;
  std::size_t mDatagrams = 0;
  mutable std::mutex mMutex;
  std::map<std::string, std::string> mAttributes;
  std::atomic<std::size_t> mRegistrations{0};
  std::atomic<std::size_t> mOverTcp{0};
  std::atomic<std::uint16_t> mLifetime{0};
  std::atomic<std::uint32_t> mBootTime{1'000};
  std::atomic<bool> mSilent{false};
  std::atomic<bool> mOtherScopes{false};
  std::atomic<std::size_t> mQuestions{0};
  std::atomic<std::size_t> mHeard{0};
  std::atomic<bool> mLoseHalf{false};
  std::atomic<wire::ErrorCode> mError{wire::ErrorCode::kOk};
  std::atomic<bool> mStop{false};
  std::thread mThread;
};

}  // namespace slp::agent
