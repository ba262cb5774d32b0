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

  /// Replaces the value by what `change` makes of it, a shared pointer, so that the change of no other thread is lost.
  /// `change` is called without the lock, once more whenever another thread was faster; what it throws changes nothing.
  template <typename Change>
  void update(const Change& change) {
    for (;;) {
      const std::shared_ptr<T> before = load();
      std::shared_ptr<T> changed = change(before);
      const std::lock_guard lock(mMutex);
      if (mValue == before) return mValue.swap(changed);
    }
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
