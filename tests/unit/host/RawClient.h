#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace host_test {

/// An HTTP answer as it came over the wire.
struct RawAnswer {
  int status = 0;                              ///< 0: the connection ended, or nothing came in time
  std::map<std::string, std::string> headers;  ///< names in lower case
  std::string body;

  std::string header(const std::string& name) const;
};

/// A client that sends what it is told, well-formed or not, and reads what comes back. No wait is longer than 20 s.
class RawClient {
 public:
  /// Connects to the loopback address; throws std::runtime_error when that fails.
  explicit RawClient(std::uint16_t port, bool ipV6 = false);
  ~RawClient();
  RawClient(RawClient&& other) noexcept;
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  /// False when the server has closed.
  bool send(std::string_view text);
  /// The next answer. That to a HEAD request has no body whatever its header says.
  RawAnswer read(bool head = false);
  RawAnswer ask(std::string_view text) {
    send(text);
    return read();
  }
  /// True when the server closed, false when something else came or nothing did.
  bool isClosed();
  /// Whether something has come within a moment.
  bool hasData(std::chrono::milliseconds moment);

 private:
  bool fill();

  int mSocket;
  std::string mReceived;
};

/// "GET <target>" with a Host header and whatever further lines.
std::string getRequest(std::string_view target, std::string_view lines = "");
/// A POST with a body and its length.
std::string postRequest(std::string_view target, std::string_view body);

}  // namespace host_test
