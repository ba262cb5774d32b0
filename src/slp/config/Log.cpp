#include "slp/config/Log.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <syslog.h>
#include <type_traits>
#include <utility>

#include "slp/config/LogLimiter.h"

namespace slp::config {
namespace {

// Nothing here has a destructor: messages may come while the process ends.
using SharedSink = std::shared_ptr<const LogSink>;
constinit std::mutex deliveryMutex;    // held while a message is handed out: one at a time
constinit std::mutex sinkMutex;        // of `sink`, and never held while somebody else's code runs
constinit SharedSink* sink = nullptr;  // owned; null: syslog
thread_local bool tDelivering = false;
constinit std::mutex limiterMutex;
constinit LogLimiter limiter;
static_assert(std::is_trivially_destructible_v<std::mutex> && std::is_trivially_destructible_v<LogLimiter>);

int priorityOf(LogLevel level) {
  switch (level) {
    case LogLevel::kWarning:
      return LOG_WARNING;
    case LogLevel::kInfo:
      return LOG_INFO;
    case LogLevel::kDebug:
      return LOG_DEBUG;
  }
  return LOG_DEBUG;
}

void toSyslog(LogLevel level, std::string_view text) {
  constexpr std::size_t kLongest = 4'096;
  ::syslog(LOG_DAEMON | priorityOf(level), "slp: %.*s", static_cast<int>(std::min(text.size(), kLongest)), text.data());
}

/// Marks the thread that hands out a message.
struct Delivering {
  Delivering() { tDelivering = true; }
  ~Delivering() { tDelivering = false; }
  Delivering(const Delivering&) = delete;
  Delivering& operator=(const Delivering&) = delete;
};

/// A copy, so that a sink may be replaced while it runs. Null: syslog.
SharedSink currentSink() {
  const std::lock_guard lock(sinkMutex);
  return sink == nullptr ? SharedSink() : *sink;
}

}  // namespace

std::optional<std::uint64_t> LogLimiter::admit(std::string_view subject, TimePoint now) {
  Place& place = placeOf(std::hash<std::string_view>()(subject));
  if (place.taken && now - place.last < kInterval) {
    ++place.leftOut;
    return std::nullopt;
  }
  place.taken = true;
  place.last = now;
  return std::exchange(place.leftOut, 0);
}

LogLimiter::Place& LogLimiter::placeOf(std::size_t subject) {
  const auto known = std::find_if(mPlaces.begin(), mPlaces.end(),
                                  [&](const Place& place) { return place.taken && place.subject == subject; });
  if (known != mPlaces.end()) return *known;
  Place& oldest = *std::min_element(mPlaces.begin(), mPlaces.end(), [](const Place& left, const Place& right) {
    return left.taken != right.taken ? !left.taken : left.last < right.last;
  });
  oldest = Place{};
  oldest.subject = subject;
  return oldest;
}

void setLogSink(LogSink newSink) {
  std::unique_ptr<SharedSink> other;
  if (newSink) other = std::make_unique<SharedSink>(std::make_shared<const LogSink>(std::move(newSink)));
  {
    const std::lock_guard lock(sinkMutex);
    SharedSink* const old = std::exchange(sink, other.release());
    other.reset(old);
  }
  // The old one may be running; a sink that replaces itself does not wait for itself.
  if (!tDelivering) {
    const std::lock_guard awaited(deliveryMutex);
  }
  // It goes here, without a lock: what it holds may have a destructor with a mind of its own.
}

void log(LogLevel level, std::string_view text) {
  if (tDelivering) return;
  const std::lock_guard delivery(deliveryMutex);
  const Delivering delivering;
  try {
    if (const SharedSink current = currentSink(); current != nullptr)
      (*current)(level, text);
    else
      toSyslog(level, text);
  } catch (...) {
    // A message that cannot be written is lost, and nothing else.
  }
}

void logLimited(LogLevel level, std::string_view subject, std::string_view text) {
  std::optional<std::uint64_t> leftOut;
  {
    const std::lock_guard lock(limiterMutex);
    leftOut = limiter.admit(subject, std::chrono::steady_clock::now());
  }
  if (!leftOut) return;
  if (*leftOut == 0)
    log(level, text);
  else
    log(level, std::string(text) + " (" + std::to_string(*leftOut) + " more like this were left out)");
}

}  // namespace slp::config
