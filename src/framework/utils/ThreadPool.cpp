#include "framework/utils/ThreadPool.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <mutex>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "framework/utils/Log.h"

namespace utils {
namespace {

void runGuarded(ThreadPoolJob& job) {
  try {
    job.execute();
  } catch (const std::exception& error) {
    formatted_log_t(LOG_ERROR, "ThreadPool:execute: a job ended by an exception:%1%") % error.what();
  } catch (...) {
    formatted_log_t(LOG_ERROR, "ThreadPool:execute: a job ended by an unknown exception");
  }
}

}  // namespace

ThreadPoolJob::~ThreadPoolJob() = default;

/// The queue is our own, so that jobs can be counted and dropped; the workers get one call of `runNext` for each job.
struct ThreadPool::State {
  explicit State(int threads) : workers(static_cast<std::size_t>(std::max(threads, 1))) {}

  std::mutex mutex;
  std::deque<std::unique_ptr<ThreadPoolJob>> pending;
  int executing = 0;
  bool closed = false;
  boost::asio::thread_pool workers;

  std::unique_ptr<ThreadPoolJob> begin() {
    const std::lock_guard lock(mutex);
    if (pending.empty()) return nullptr;
    auto job = std::move(pending.front());
    pending.pop_front();
    ++executing;
    return job;
  }

  void runNext() {
    auto job = begin();
    if (!job) return;
    runGuarded(*job);
    job.reset();  // a job counts until it is gone
    const std::lock_guard lock(mutex);
    --executing;
  }
};

ThreadPool::ThreadPool(int threads) : mState(std::make_unique<State>(threads)) {}

ThreadPool::~ThreadPool() {
  close();
  mState->workers.join();
}

void ThreadPool::addJob(ThreadPoolJob* job) {
  std::unique_ptr<ThreadPoolJob> owned(job);  // dropped, when it is, without the lock
  if (!owned) return;
  const std::lock_guard lock(mState->mutex);
  if (mState->closed) return;
  boost::asio::post(mState->workers, [state = mState.get()] { state->runNext(); });
  mState->pending.push_back(std::move(owned));
}

int ThreadPool::getRunningJobCount() {
  const std::lock_guard lock(mState->mutex);
  return static_cast<int>(mState->pending.size()) + mState->executing;
}

int ThreadPool::getPendingJobCount() {
  const std::lock_guard lock(mState->mutex);
  return static_cast<int>(mState->pending.size());
}

void ThreadPool::close() {
  std::deque<std::unique_ptr<ThreadPoolJob>> dropped;
  const std::lock_guard lock(mState->mutex);
  mState->closed = true;
  dropped.swap(mState->pending);
}

}  // namespace utils
