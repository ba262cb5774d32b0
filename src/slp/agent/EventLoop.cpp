#include "slp/agent/EventLoop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/epoll.h>
#include <system_error>

namespace slp::agent {
namespace {

constexpr std::size_t kEventsPerTurn = 64;
constexpr std::chrono::milliseconds kLongestWait{3'600'000};

/// Rounded up, so that what is due at `until` is due when the wait ends.
int milliseconds(std::optional<EventLoop::TimePoint> until) {
  if (!until) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), kLongestWait).count());
}

}  // namespace

EventLoop::EventLoop() : mEpoll(::epoll_create1(EPOLL_CLOEXEC)) {
  if (!mEpoll) throw std::system_error(errno, std::generic_category(), "epoll_create1");
}

void EventLoop::control(int operation, int fd, const Watch& watch) {
  epoll_event event{};
  event.events = watch.events;
  event.data.u64 = (static_cast<std::uint64_t>(watch.serial) << 32U) | static_cast<std::uint32_t>(fd);
  if (::epoll_ctl(mEpoll.get(), operation, fd, &event) != 0)
    throw std::system_error(errno, std::generic_category(), "epoll_ctl");
}

void EventLoop::watch(int fd, Handler handler) {
  Watch watch{std::make_shared<Handler>(std::move(handler)), ++mSerial, EPOLLIN};
  control(EPOLL_CTL_ADD, fd, watch);
  mWatches.insert_or_assign(fd, std::move(watch));
}

void EventLoop::waitFor(int fd, bool reading, bool writing) {
  const auto found = mWatches.find(fd);
  if (found == mWatches.end()) return;
  const std::uint32_t events = (reading ? EPOLLIN : 0U) | (writing ? EPOLLOUT : 0U);
  if (events == found->second.events) return;
  found->second.events = events;
  control(EPOLL_CTL_MOD, fd, found->second);
}

void EventLoop::forget(int fd) {
  if (mWatches.erase(fd) > 0) ::epoll_ctl(mEpoll.get(), EPOLL_CTL_DEL, fd, nullptr);
}

void EventLoop::run(std::optional<TimePoint> until) {
  std::array<epoll_event, kEventsPerTurn> events;
  const int count = ::epoll_wait(mEpoll.get(), events.data(), static_cast<int>(events.size()), milliseconds(until));
  for (int i = 0; i < count; ++i) {
    const std::uint64_t key = events[static_cast<std::size_t>(i)].data.u64;
    const auto found = mWatches.find(static_cast<int>(key & 0xFFFFFFFFU));
    if (found == mWatches.end() || found->second.serial != key >> 32U) continue;
    const std::shared_ptr<Handler> handler = found->second.handler;  // it may forget itself
    (*handler)();
  }
}

}  // namespace slp::agent
