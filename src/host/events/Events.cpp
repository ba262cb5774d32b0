#include "host/events/Events.h"

#include <algorithm>
#include <exception>
#include <pthread.h>
#include <utility>

#include "framework/utils/Log.h"
#include "host/Version.h"
#include "host/events/EventText.h"
#include "json/writer.h"

namespace host {
namespace {

constexpr const char* kPath = "/1.0/events";
/// Changes with every second that passes, and is no news.
constexpr const char* kUptime = "uptimeSeconds";

std::string greeting() {
  json::Object data;
  data["version"] = json::String(std::string(kVersion));
  return eventText("hello", data);
}

std::string resetEvent() {
  return eventText("reset", {});
}

/// What the source says; nothing when it fails, so that the rest goes on.
template <typename Source>
auto ask(const Source& source) -> std::optional<decltype(source())> {
  try {
    return source();
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "Events:ask: failed:%1%") % error.what();
    return std::nullopt;
  }
}

Answer tooMany() {
  Answer answer = failureAnswer(503, "Too many pages follow this server live: close some, or ask again without events");
  answer.headers.emplace_back("Retry-After", "30");
  return answer;
}

}  // namespace

Events::Events(EventSource source, EventTimes times)
    : mSource(std::move(source)),
      mTimes(times),
      mStreams([this] {
        const std::lock_guard lock(mMutex);
        mHasNewcomers = true;
        mWake.notify_one();
      }),
      mThread([this] { run(); }) {
  pthread_setname_np(mThread.native_handle(), "kvt-events");
}

Events::~Events() {
  close();
}

void Events::addRoutes(Routes& routes) {
  routes.add("GET", kPath, [this](const ClientRequest& request, const Service::Done& done) { done(listen(request)); });
}

Answer Events::listen(const ClientRequest& request) {
  Answer answer;
  answer.headers = {{"Content-Type", "text/event-stream"}, {"Cache-Control", "no-store"}, {"X-Accel-Buffering", "no"}};
  if (request.method == "HEAD") return answer;
  answer.stream = mStreams.open(request.isStillAllowed);
  return answer.stream ? answer : tooMany();
}

void Events::hint() {
  const std::lock_guard lock(mMutex);
  mHinted = true;
  mWake.notify_one();
}

void Events::close() {
  {
    const std::lock_guard lock(mMutex);
    mClosing = true;
    mWake.notify_one();
  }
  mStreams.close();
  if (mThread.joinable()) mThread.join();
}

// ---- the thread

void Events::run() {
  while (waitForWork()) {
    try {
      work();
    } catch (const std::exception& error) {
      utils::formatted_log_t(utils::LOG_ERROR, "Events:run: failed:%1%") % error.what();
    }
  }
}

bool Events::waitForWork() {
  std::unique_lock lock(mMutex);
  const auto isUrgent = [this] { return mClosing || mHasNewcomers; };
  if (!mIsActive) {
    mWake.wait(lock, isUrgent);
    return !mClosing;
  }
  // A hint brings the next look forward, so the time to wait for is another one after each.
  while (!isUrgent() && Clock::now() < nextWork()) {
    mWake.wait_until(lock, nextWork());
  }
  return !mClosing;
}

/// Called with the lock held.
Events::Clock::time_point Events::nextWork() const {
  const auto look = mLooked + (mHinted ? mTimes.betweenLists : mTimes.poll);
  return std::min({look, mToldStatus + mTimes.status, mSent + mTimes.heartbeat});
}

void Events::work() {
  noticeWhoListens();
  const auto now = Clock::now();
  bool isTimeToLook = false;
  bool hasNewcomers = false;
  {
    const std::lock_guard lock(mMutex);
    hasNewcomers = std::exchange(mHasNewcomers, false);
    isTimeToLook = mIsActive && now >= mLooked + (mHinted ? mTimes.betweenLists : mTimes.poll);
    if (isTimeToLook) mHinted = false;
  }
  if (hasNewcomers) greet();
  if (isTimeToLook) look();
  if (now >= mToldStatus + mTimes.status) tellStatus();
  if (now >= mSent + mTimes.heartbeat) send(std::string(kHeartbeat));
  noticeWhoListens();
}

/// Once nobody does, nothing is kept.
void Events::noticeWhoListens() {
  mIsActive = !mStreams.in(EventStream::State::kGreeted).empty();
  if (mIsActive) return;
  mDiff.clear();
  mHasList = false;
  mSightings = 0;
  mStatus.clear();
}

void Events::greet() {
  const auto newcomers = mStreams.in(EventStream::State::kJoined);
  if (!mIsActive) {
    // Nobody is there to be told the difference from nothing.
    serverNews();
    if (mSource.sightingsVersion) mSightings = ask(mSource.sightingsVersion).value_or(0);
    mLooked = mSent = Clock::now();
    mIsActive = true;
  }
  for (const auto& newcomer : newcomers) {
    newcomer->send(greeting());
  }
  // A status goes to all when it changes; whoever is new has seen none.
  mStatus.clear();
  mToldStatus = {};
}

void Events::look() {
  mLooked = Clock::now();
  const std::string servers = serverNews();
  const std::string sightings = sightingNews();
  send(servers);
  if (sightings != servers) send(sightings);  // both may be a reset
}

/// What is to be sent; "" for nothing.
std::string Events::serverNews() {
  if (!mSource.servers) return "";
  const auto records = ask(mSource.servers).value_or(std::nullopt);
  if (!records) return "";
  const ServerChanges changes = mDiff.take(*records);
  const bool hadList = std::exchange(mHasList, true);
  if (!hadList || changes.size() > kMostChanges) return resetEvent();
  if (changes.empty()) return "";
  std::string event = serversEvent(changes);
  return event.size() > kMostBytes ? resetEvent() : event;
}

std::string Events::sightingNews() {
  if (!mSource.sightings) return "";
  for (std::size_t most = kMostChanges;; most /= 2) {
    const auto changes = ask([this, most] { return mSource.sightings(mSightings, most); });
    if (!changes) return "";
    std::string event = changes->isComplete ? sightingsEvent(*changes) : resetEvent();
    if (event.size() > kMostBytes && most > 1) continue;  // fewer, then
    mSightings = changes->version;
    if (changes->hasMore) hint();
    return changes->isComplete && changes->changed.empty() && changes->removed.empty() ? "" : event;
  }
}

void Events::tellStatus() {
  mToldStatus = Clock::now();
  if (!mSource.status) return;
  const auto status = ask(mSource.status).value_or(std::nullopt);
  if (!status) return;
  json::Object comparable = *status;
  if (const auto uptime = comparable.Find(kUptime); uptime != comparable.End()) comparable.Erase(uptime);
  std::string text;
  json::Writer::Write(comparable, text);
  if (text == mStatus) return;
  mStatus = std::move(text);
  send(eventText("status", *status));
}

void Events::send(const std::string& piece) {
  if (piece.empty()) return;
  mSent = Clock::now();
  for (const auto& stream : mStreams.in(EventStream::State::kGreeted)) {
    stream->send(piece);
  }
}

}  // namespace host
