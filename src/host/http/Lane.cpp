#include "host/http/Lane.h"

#include <exception>
#include <pthread.h>
#include <utility>

#include "framework/utils/Log.h"

namespace host {
namespace {

constexpr std::size_t kMaxThreadName = 15;

void run(const Lane::Job& job) {
  try {
    job();
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "Lane:run: a job failed:%1%") % error.what();
  } catch (...) {
    utils::formatted_log_t(utils::LOG_ERROR, "Lane:run: a job failed");
  }
}

}  // namespace

Lane::Lane(const std::string& name, unsigned int threads, std::size_t backlog) : mBacklog(backlog) {
  for (unsigned int i = 0; i < threads; ++i) {
    mThreads.emplace_back([this] { work(); });
    pthread_setname_np(mThreads.back().native_handle(), name.substr(0, kMaxThreadName).c_str());
  }
}

Lane::~Lane() {
  close();
}

bool Lane::submit(Job job) {
  {
    const std::lock_guard lock(mMutex);
    if (mClosed || mJobs.size() >= mBacklog) return false;
    mJobs.push_back({std::move(job), std::chrono::steady_clock::now()});
  }
  mWake.notify_one();
  return true;
}

std::chrono::milliseconds Lane::longestWait() const {
  const std::lock_guard lock(mMutex);
  if (mJobs.empty()) return std::chrono::milliseconds(0);
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - mJobs.front().since);
}

std::size_t Lane::waiting() const {
  const std::lock_guard lock(mMutex);
  return mJobs.size();
}

void Lane::close() {
  std::deque<Waiting> dropped;
  {
    const std::lock_guard lock(mMutex);
    mClosed = true;
    dropped.swap(mJobs);
  }
  mWake.notify_all();
  for (std::thread& thread : mThreads) {
    if (thread.joinable()) thread.join();
  }
}

void Lane::work() {
  while (true) {
    Job job;
    {
      std::unique_lock lock(mMutex);
      mWake.wait(lock, [this] { return mClosed || !mJobs.empty(); });
      if (mClosed) return;
      job = std::move(mJobs.front().job);
      mJobs.pop_front();
    }
    run(job);
  }
}

}  // namespace host
