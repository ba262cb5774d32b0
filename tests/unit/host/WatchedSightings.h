#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/utils/Observer.h"

namespace host_test {

/// Notes what the process's observer is told of other servers, for its lifetime. Safe for every thread.
class WatchedSightings {
 public:
  WatchedSightings() { utils::observer::set(mNotes); }
  ~WatchedSightings() { utils::observer::set(nullptr); }
  WatchedSightings(const WatchedSightings&) = delete;
  WatchedSightings& operator=(const WatchedSightings&) = delete;

  std::vector<utils::Sighting> all() const {
    const std::lock_guard lock(mNotes->mutex);
    return mNotes->sightings;
  }
  /// By "counter: kind".
  std::map<std::string, unsigned long> counts() const {
    const std::lock_guard lock(mNotes->mutex);
    return mNotes->counts;
  }

 private:
  struct Notes : utils::Observer {
    void sighted(const utils::Sighting& sighting) override {
      const std::lock_guard lock(mutex);
      sightings.push_back(sighting);
    }
    void counted(std::string_view counter, std::string_view kind, unsigned long by) override {
      const std::lock_guard lock(mutex);
      counts[std::string(counter) + ": " + std::string(kind)] += by;
    }
    void passBegan() override {}
    void passEnded(const utils::PassReport&) override {}
    void measured(std::string_view, double) override {}
    void inventoryChanged() override {}

    std::mutex mutex;
    std::vector<utils::Sighting> sightings;
    std::map<std::string, unsigned long> counts;
  };

  const std::shared_ptr<Notes> mNotes = std::make_shared<Notes>();
};

}  // namespace host_test
