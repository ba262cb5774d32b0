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
#include "slp/agent/TransactionNumbers.h"
#include "slp/net/Address.h"
#include "slp/net/MessageStream.h"

namespace slp::agent {

/// Registers with the agent of another process that holds the port of this machine, over one connection of loopback
/// that stays open: its end withdraws what was registered, and tells us that the port may be free. For one thread.
class PortClient {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  /// What is registered under a URL: all of it, to be sent, or only what there is.
  struct Services {
    std::function<std::vector<Registration>(const std::string& url)> of;
    std::function<std::vector<Variant>(const std::string& url)> variants;
  };

  /// Requests that the agent has to answer at the same time.
  static constexpr std::size_t kMaxUnderWay = 64;
  /// Whoever accepts the connection, but does not answer for so long, is no agent.
  static constexpr std::chrono::seconds kPatience{10};

  /// What the agent refuses is registered again after this: it may have the URL itself, and end before us.
  static constexpr std::chrono::seconds kRefusedAgain{60};

  /// How a connection has ended, or that none came about.
  enum class End {
    kSilent,    ///< nobody has answered
    kNotAsked,  ///< there was nothing to register, so that an idle connection was closed
    kAnswered,
  };

  /// `addresses` are tried in their order. `ended` must not call `connect` itself.
  PortClient(EventLoop& loop, std::vector<net::Endpoint> addresses, Services services, std::function<void(End)> ended);
  ~PortClient();
  PortClient(const PortClient&) = delete;
  PortClient& operator=(const PortClient&) = delete;

  /// Registers all of these once it is connected, first those of which an earlier connection has told nothing.
  void connect(const std::vector<std::string>& urls, TimePoint now);
  /// Also forgets what has been told.
  void close();
  bool active() const { return mStream.has_value(); }
  bool connected() const { return mStream && !mStream->connecting(); }
  /// Whether whoever has the port takes registrations on this connection.
  bool accepted() const { return mAccepted; }

  void changed(const std::string& url, TimePoint now);
  /// The same for all of these and all that has been told.
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
  void disconnect();
  void fail(TimePoint now);
  End end() const;

  EventLoop& mLoop;
  std::vector<net::Endpoint> mAddresses;
  Services mServices;
  std::function<void(End)> mEnded;
  std::size_t mNextAddress = 0;
  std::optional<net::MessageStream> mStream;
  TimePoint mPatienceEnds;
  bool mReached = false;  ///< somebody has taken the connection
  bool mAsked = false;
  bool mAnswered = false;
  bool mAccepted = false;
  TransactionNumbers mXids;
  ToldRegistrations mTold{kRefusedAgain};
  std::map<std::uint16_t, Flight> mFlights;
};

}  // namespace slp::agent
