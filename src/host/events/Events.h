#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "host/events/EventDiff.h"
#include "host/events/EventSource.h"
#include "host/events/EventStreams.h"
#include "host/http/Routes.h"

namespace host {

/// How often events come at most, and at least.
struct EventTimes {
  std::chrono::milliseconds betweenLists{1'000};  ///< from one look at servers and sightings to the next
  std::chrono::milliseconds poll{30'000};         ///< a look without a hint
  std::chrono::milliseconds status{2'000};
  std::chrono::milliseconds heartbeat{15'000};
};

/// Tells those that listen (GET /1.0/events) what changes: servers, sightings, status. One thread looks when it is
/// hinted that something has changed, compares with what it saw before, and sends the difference to all; while nobody
/// listens it sleeps and keeps nothing.
///
/// Who joins is greeted once there is something to compare with, so that whatever changes after the greeting arrives:
/// a client that fetches the lists after it and then applies what comes misses nothing.
class Events {
 public:
  /// More changes of servers than that at once, or more bytes, are told by "reset": fetching everything is then cheaper
  /// for both sides. More sightings than that come in several events, one look after the other. Every piece lies once
  /// for each who listens, and a client that reads must be able to follow.
  static constexpr std::size_t kMostChanges = 500;
  static constexpr std::size_t kMostBytes = 128 * 1024;

  explicit Events(EventSource source, EventTimes times = {});
  /// Closes.
  ~Events();
  Events(const Events&) = delete;
  Events& operator=(const Events&) = delete;

  /// The routes must not serve after this has gone.
  void addRoutes(Routes& routes);

  /// Something has changed. From any thread; returns at once.
  void hint();

  /// Ends every stream and the thread; waits for a look under way.
  void close();

 private:
  using Clock = std::chrono::steady_clock;

  Answer listen(const ClientRequest& request);
  void run();
  /// False when it is over.
  bool waitForWork();
  Clock::time_point nextWork() const;
  void work();
  void greet();
  void look();
  void tellStatus();
  void noticeWhoListens();
  std::string serverNews();
  std::string sightingNews();
  void send(const std::string& piece);

  const EventSource mSource;
  const EventTimes mTimes;
  EventStreams mStreams;

  std::mutex mMutex;  ///< guards the next three
  std::condition_variable mWake;
  bool mHinted = false;
  bool mHasNewcomers = false;
  bool mClosing = false;

  // Of the thread alone.
  EventDiff mDiff;
  bool mHasList = false;  ///< there is something to compare with
  std::uint64_t mSightings = 0;
  std::string mStatus;
  Clock::time_point mLooked;
  Clock::time_point mToldStatus;
  Clock::time_point mSent;
  bool mIsActive = false;  ///< somebody listens

  std::thread mThread;  ///< last, so that everything else exists when it begins
};

}  // namespace host
