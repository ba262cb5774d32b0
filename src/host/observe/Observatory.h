#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "framework/utils/Observer.h"
#include "host/http/FrontCounts.h"
#include "host/observe/Counts.h"
#include "host/observe/MetricsText.h"
#include "host/observe/RequestMetrics.h"
#include "host/observe/Sightings.h"
#include "json/elements.h"

namespace host {

/// Keeps what the plug-ins and the host tell of their work, and shows it: as metrics, as status, and as the answer to
/// why a server is in the list. Bounded whatever it is told. Safe for every thread; those who tell wait for no reader
/// and hold up nobody. It calls its listener and its providers with no lock held.
class Observatory : public utils::Observer {
 public:
  using Time = std::chrono::system_clock::time_point;
  using Now = std::function<Time()>;
  using Provider = std::function<json::UnknownElement()>;
  using Queues = std::map<std::string, std::size_t>;

  /// The last discovery pass.
  struct Pass {
    Time began;
    utils::PassReport report;
  };
  struct Discovery {
    PassState state;
    std::optional<Pass> last;
  };

  explicit Observatory(Now now = std::chrono::system_clock::now);

  void sighted(const utils::Sighting& sighting) override;
  void passBegan() override;
  void passEnded(const utils::PassReport& report) override;
  void counted(std::string_view counter, std::string_view kind, unsigned long by) override;
  void measured(std::string_view gauge, double value) override;
  void inventoryChanged() override;

  /// A request of a client has been answered; `resource` is its template, "" when there is none such.
  void requestServed(const std::string& resource, std::string_view method, int status,
                     std::chrono::nanoseconds duration);

  /// Has the listener, one at a time, called after sightings, passes and the list have changed: by the thread that
  /// tells of it, so it must return at once and throw nothing. Empty: nobody listens any more, although a call under
  /// way may still end.
  void onChange(std::function<void()> listener);
  /// Each sighting as `sightingDocument` shows it.
  Sightings::Changes changedSince(std::uint64_t version, std::size_t most) const {
    return mSightings.changedSince(version, most);
  }

  const Sightings& sightings() const { return mSightings; }
  Discovery discovery() const;
  const Counts& counts() const { return mCounts; }
  Time started() const { return mStarted; }
  Time now() const { return mNow(); }

  /// Whether the plug-ins are started.
  void setReady(bool isReady) { mIsReady = isReady; }
  bool isReady() const { return mIsReady; }

  // Of the parts that know more. What is provided is asked for by every reader, by any thread, until null takes its
  // place; a call under way may still end.

  /// A member of the status document, such as "certificate".
  void provide(const std::string& member, Provider provider);
  /// Lengths of queues, by name.
  void provideQueues(std::function<Queues()> provider);
  /// What the front does.
  void provideFront(std::function<FrontCounts()> provider);

  /// What the providers say now.
  json::Object provided() const;
  Queues queues() const;

  /// The page for Prometheus.
  std::string metrics() const;

 private:
  void changed() const;

  const Now mNow;
  const Time mStarted;
  Sightings mSightings;
  Counts mCounts;
  RequestMetrics mRequests;
  std::atomic<bool> mIsReady = false;
  mutable std::mutex mMutex;  ///< guards what follows
  Discovery mDiscovery;
  Time mPassBegan;
  std::function<void()> mListener;
  std::map<std::string, Provider> mProviders;
  std::function<Queues()> mQueues;
  std::function<FrontCounts()> mFront;
};

}  // namespace host
