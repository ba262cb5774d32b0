#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace host {

/// Worker threads with a bounded backlog, for one kind of work, so that no other kind waits behind it. Safe for every
/// thread.
class Lane {
 public:
  using Job = std::function<void()>;

  Lane(const std::string& name, unsigned int threads, std::size_t backlog);
  /// Closes.
  ~Lane();
  Lane(const Lane&) = delete;
  Lane& operator=(const Lane&) = delete;

  /// False when the backlog is full or the lane is closed; the job is then dropped. A job that throws costs only
  /// itself.
  bool submit(Job job);

  /// How long the oldest job that waits has been waiting; 0 when none does.
  std::chrono::milliseconds longestWait() const;
  /// Jobs that wait for a thread.
  std::size_t waiting() const;

  /// Drops what waits, takes nothing more, and returns when what runs has ended. Not to be called by a job.
  void close();

 private:
  struct Waiting {
    Job job;
    std::chrono::steady_clock::time_point since;
  };
  void work();

  const std::size_t mBacklog;
  mutable std::mutex mMutex;
  std::condition_variable mWake;
  std::deque<Waiting> mJobs;
  bool mClosed = false;
  std::vector<std::thread> mThreads;
};

}  // namespace host
