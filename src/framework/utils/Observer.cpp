#include "framework/utils/Observer.h"

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <utility>

namespace utils::observer {
namespace {

/// Never destroyed: plug-ins work until the very end of the process.
struct Present {
  std::atomic<bool> exists = false;  ///< spares the lock where nobody looks
  std::shared_mutex mutex;
  std::shared_ptr<Observer> observer;

  static Present& get() {
    static Present* const present = new Present;
    return *present;
  }
};

template <typename Telling>
void tell(const Telling& telling) noexcept {
  try {
    Present& present = Present::get();
    if (!present.exists) return;
    std::shared_lock lock(present.mutex);
    const std::shared_ptr<Observer> observer = present.observer;
    lock.unlock();
    if (observer) telling(*observer);
  } catch (...) {  // what is only watched goes on when watching fails
  }
}

}  // namespace

void set(std::shared_ptr<Observer> observer) {
  Present& present = Present::get();
  const std::unique_lock lock(present.mutex);
  present.exists = observer != nullptr;
  present.observer.swap(observer);
}

void sighted(const Sighting& sighting) noexcept {
  tell([&](Observer& observer) { observer.sighted(sighting); });
}
void passBegan() noexcept {
  tell([](Observer& observer) { observer.passBegan(); });
}
void passEnded(const PassReport& report) noexcept {
  tell([&](Observer& observer) { observer.passEnded(report); });
}
void counted(std::string_view counter, std::string_view kind, unsigned long by) noexcept {
  tell([&](Observer& observer) { observer.counted(counter, kind, by); });
}
void measured(std::string_view gauge, double value) noexcept {
  tell([&](Observer& observer) { observer.measured(gauge, value); });
}
void inventoryChanged() noexcept {
  tell([](Observer& observer) { observer.inventoryChanged(); });
}

}  // namespace utils::observer
