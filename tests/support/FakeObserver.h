#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "framework/utils/Observer.h"

namespace support {

/// Writes down what plug-ins tell, for as long as it lives. Safe for every thread.
class FakeObserver {
 public:
  FakeObserver() : mNotes(std::make_shared<Notes>()) { utils::observer::set(mNotes); }
  ~FakeObserver() { utils::observer::set(nullptr); }
  FakeObserver(const FakeObserver&) = delete;
  FakeObserver& operator=(const FakeObserver&) = delete;

  /// Done by another thread whenever anything is told, and waited for: it never ends when it needs a lock that the
  /// teller holds.
  void whenTold(std::function<void()> work) { mNotes->work = std::move(work); }

  /// "announcement seen 192.0.2.1 (reason)", in the order in which they came.
  std::vector<std::string> sightings() const { return mNotes->read(mNotes->sightings); }
  std::vector<utils::Sighting> wholeSightings() const { return mNotes->read(mNotes->whole); }
  std::vector<utils::PassReport> passes() const { return mNotes->read(mNotes->passes); }
  int passesBegun() const { return mNotes->read(mNotes->passesBegun); }
  int changes() const { return mNotes->read(mNotes->changes); }
  unsigned long count(const std::string& counter, const std::string& kind) const {
    const auto counts = mNotes->read(mNotes->counts);
    const auto found = counts.find(counter + "/" + kind);
    return found == counts.end() ? 0 : found->second;
  }
  /// -1 when it was never measured.
  double gauge(const std::string& name) const {
    const auto gauges = mNotes->read(mNotes->gauges);
    const auto found = gauges.find(name);
    return found == gauges.end() ? -1 : found->second;
  }

 private:
  struct Notes : utils::Observer {
    void sighted(const utils::Sighting& sighting) override {
      note([&] {
        whole.push_back(sighting);
        sightings.push_back(textOf(sighting));
      });
    }
    void passBegan() override {
      note([&] { ++passesBegun; });
    }
    void passEnded(const utils::PassReport& report) override {
      note([&] { passes.push_back(report); });
    }
    void counted(std::string_view counter, std::string_view kind, unsigned long by) override {
      note([&] { counts[std::string(counter) + "/" + std::string(kind)] += by; });
    }
    void measured(std::string_view gauge, double value) override {
      note([&] { gauges[std::string(gauge)] = value; });
    }
    void inventoryChanged() override {
      note([&] { ++changes; });
    }

    template <typename Note>
    void note(const Note& take) {
      {
        const std::lock_guard lock(mutex);
        take();
      }
      if (work) std::thread(work).join();
    }
    template <typename Value>
    Value read(const Value& value) const {
      const std::lock_guard lock(mutex);
      return value;
    }
    static std::string textOf(const utils::Sighting& sighting) {
      static constexpr const char* kSources[] = {"announcement", "slp", "search", "hand"};
      static constexpr const char* kOutcomes[] = {"seen", "verified", "failed", "left"};
      std::string text = kSources[static_cast<int>(sighting.source)];
      text += std::string(" ") + kOutcomes[static_cast<int>(sighting.outcome)] + " " + sighting.address;
      return sighting.reason.empty() ? text : text + " (" + sighting.reason + ")";
    }

    std::function<void()> work;
    mutable std::mutex mutex;  ///< guards what follows
    std::vector<std::string> sightings;
    std::vector<utils::Sighting> whole;
    std::vector<utils::PassReport> passes;
    std::map<std::string, unsigned long> counts;
    std::map<std::string, double> gauges;
    int passesBegun = 0;
    int changes = 0;
  };

  const std::shared_ptr<Notes> mNotes;
};

}  // namespace support
