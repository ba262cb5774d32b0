#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace discovery {

/// A value that some threads replace and others read without a lock of theirs. Safe for every thread. Whoever loaded
/// the value keeps it for as long as it likes; a value ends with its last holder, never under the lock.
/// `Published<const T>` is for values that change only by being replaced.
template <typename T>
class Published {
 public:
  Published() = default;
  explicit Published(std::shared_ptr<T> value) : mValue(std::move(value)) {}
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  /// Null when nothing is published.
  std::shared_ptr<T> load() const {
    const std::lock_guard lock(mMutex);
    return mValue;
  }

  void store(std::shared_ptr<T> value) {
    const std::lock_guard lock(mMutex);
    mValue.swap(value);
  }

  /// False, with nothing changed, when there is a value.
  bool storeIfEmpty(std::shared_ptr<T> value) {
    const std::lock_guard lock(mMutex);
    if (mValue) return false;
    mValue.swap(value);
    return true;
  }

 private:
  mutable std::mutex mMutex;
  std::shared_ptr<T> mValue;
};

}  // namespace discovery
