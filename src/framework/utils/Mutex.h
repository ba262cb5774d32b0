#pragma once

#include <mutex>
#include <shared_mutex>

namespace utils {

/// A plain mutual-exclusion lock, taken through `Lock`.
class Mutex {
 public:
  Mutex() = default;
  ~Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

 private:
  friend class Lock;
  std::mutex mMutex;
};

/// Holds a mutex for its scope. `deferred` false locks at once; a deferred one stays unlocked.
class Lock {
 public:
  Lock(Mutex* mutex, bool deferred);
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  friend class Condition;
  std::unique_lock<std::mutex> mLock;
};

/// A reader-writer lock and its two scoped holders.
class SharedMutex {
 public:
  SharedMutex() = default;
  ~SharedMutex() = default;
  SharedMutex(const SharedMutex&) = delete;
  SharedMutex& operator=(const SharedMutex&) = delete;

 private:
  friend class SharedLock_SMutex;
  friend class UniqueLock_SMutex;
  std::shared_mutex mMutex;
};

class SharedLock_SMutex {
 public:
  explicit SharedLock_SMutex(SharedMutex* mutex);
  ~SharedLock_SMutex();

 private:
  std::shared_lock<std::shared_mutex> mLock;
};

class UniqueLock_SMutex {
 public:
  explicit UniqueLock_SMutex(SharedMutex* mutex);
  ~UniqueLock_SMutex();

 private:
  std::unique_lock<std::shared_mutex> mLock;
};

}  // namespace utils
