#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace host_test {

/// A server on the loopback address that answers each connection with whatever bytes a script gives, whether they are
/// HTTP or not, and closes it.
class ScriptedServer {
 public:
  /// Gets the request as it was received; its result is sent as it is. It may block until `stopping`.
  using Script = std::function<std::string(const std::string& request)>;

  explicit ScriptedServer(Script script);
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  std::uint16_t port() const { return mPort; }
  std::vector<std::string> requests() const;
  /// A script that waits until the server ends.
  std::string hang() const;

 private:
  void serve();
  void answer(int connection);

  const Script mScript;
  std::uint16_t mPort = 0;  // before the socket, whose making sets it
  const int mSocket;
  std::atomic<bool> mStopping = false;
  mutable std::mutex mMutex;
  std::vector<std::string> mRequests;
  std::thread mThread;
};

/// An answer with its length, as a server writes it.
std::string httpAnswer(int status, const std::string& body, const std::string& lines = "");

/// A port of the loopback address where nobody listens.
std::uint16_t deadPort();

}  // namespace host_test
