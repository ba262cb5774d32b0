#pragma once

#include <memory>

namespace utils {

/// A unit of work for a pool, which owns and deletes it. It may do whatever a thread may, such as adding further jobs.
class ThreadPoolJob {
 public:
  virtual ~ThreadPoolJob();
  virtual void execute() = 0;
};

/// A pool of worker threads. Safe for every thread. Destroying it drops what is pending and joins what runs, so none of
/// its own jobs may do that; whoever may still add jobs meanwhile closes it first.
class ThreadPool {
 public:
  /// At least one thread is made.
  explicit ThreadPool(int threads);
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  /// Queues a job, which the pool owns from now on and deletes when it has run; a closed pool deletes it at once. Null
  /// is passed over. A job that throws costs only itself.
  void addJob(ThreadPoolJob* job);
  /// Jobs accepted and not finished, queued ones included, so it may exceed the number of threads.
  int getRunningJobCount();
  /// Jobs queued and not begun.
  int getPendingJobCount();

  /// Drops what is pending and takes nothing more; both counts then fall to 0 as running jobs end.
  void close();

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace utils
