#include "framework/utils/Mutex.h"

namespace utils {

Lock::Lock(Mutex* mutex, bool deferred) : mLock(mutex->mMutex, std::defer_lock) {
  if (!deferred) mLock.lock();
}
Lock::~Lock() = default;

SharedLock_SMutex::SharedLock_SMutex(SharedMutex* mutex) : mLock(mutex->mMutex) {}
SharedLock_SMutex::~SharedLock_SMutex() = default;

UniqueLock_SMutex::UniqueLock_SMutex(SharedMutex* mutex) : mLock(mutex->mMutex) {}
UniqueLock_SMutex::~UniqueLock_SMutex() = default;

}  // namespace utils
