#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "slp/agent/EventLoop.h"
#include "slp/agent/ToldRegistrations.h"
#include "slp/net/Address.h"
#include "slp/net/MessageStream.h"

namespace slp::agent {

/// Registers with the agent of another process that holds the port of this machine, over one connection of loopback
/// that stays open: its end withdraws what was registered, and tells us that the port may be free. For one thread.
class PortClient {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  using Lookup = std::function<std::vector<Registration>(const std::string& url)>;

  /// Requests that the agent has to answer at the same time.
  static constexpr std::size_t kMaxUnderWay = 64;
  /// Whoever accepts the connection, but does not answer for so long, is no agent.
  static constexpr std::chrono::seconds kPatience{10};

  /// `addresses` are tried in their order. `ended` is called when the connection has ended, or none came about; true
  /// when an agent had answered on it. It must not call `connect` itself.
  PortClient(EventLoop& loop, std::vector<net::Endpoint> addresses, Lookup lookup, std::function<void(bool)> ended);
  ~PortClient();
  PortClient(const PortClient&) = delete;
  PortClient& operator=(const PortClient&) = delete;

  /// Registers all of these once it is connected.
  void connect(const std::vector<std::string>& urls, TimePoint now);
  void close();
  bool active() const { return mStream.has_value(); }
  bool connected() const { return mStream && !mStream->connecting(); }

  void changed(const std::string& url, TimePoint now);
  /// The same for everything that differs from these.
  void compare(std::vector<std::string> urls, TimePoint now);
  void withdrawAll(TimePoint now);
  /// Whether the agent knows what it is to know, for the time being.
  bool idle(TimePoint now) const;

  void work(TimePoint now);
  std::optional<TimePoint> next() const;

 private:
  struct Flight {
    ToldRegistrations::Task task;
    std::optional<std::chrono::seconds> refresh;
  };

  void open(TimePoint now);
  void ready();
  void take(std::span<const std::byte> message, TimePoint now);
  void fill(TimePoint now);
  std::string messageFor(const ToldRegistrations::Task& task, std::uint16_t xid, Flight& flight);
  void tell(const std::string& url, TimePoint now);
  void fail(TimePoint now);

  EventLoop& mLoop;
  std::vector<net::Endpoint> mAddresses;
  Lookup mLookup;
  std::function<void(bool)> mEnded;
  std::size_t mNextAddress = 0;
  std::optional<net::MessageStream> mStream;
  TimePoint mPatienceEnds;
  bool mAnswered = false;
  std::uint16_t mXid = 0;
  ToldRegistrations mTold;
  std::map<std::uint16_t, Flight> mFlights;
};

}  // namespace slp::agent
