#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace utils {

/// One sight of another server, or of its going.
struct Sighting {
  enum class Source {
    kAnnouncement,  ///< a record of the multicast group
    kSlp,           ///< a discovery pass
    kSearch,        ///< somebody looked for its address
    kByHand         ///< somebody added or removed it
  };
  enum class Outcome {
    kSeen,      ///< says that it is there, which proves nothing
    kVerified,  ///< has answered with its details
    kFailed,    ///< did not answer, or not as it should; `reason` says how
    kLeft       ///< is gone, or was taken out
  };

  std::string address;    ///< the key in the list of servers
  std::string displayId;  ///< "" when it is not known
  Source source = Source::kSlp;
  Outcome outcome = Outcome::kSeen;
  std::string reason;  ///< in words
};

/// What a discovery pass came to.
struct PassReport {
  std::chrono::milliseconds duration{0};
  unsigned long found = 0;   ///< services that were reported
  unsigned long listed = 0;  ///< servers in the list after it
};

/// What plug-ins tell of their work, for whoever wants to show or count it. Called by any thread, at any moment, so it
/// must be quick, must not block and must not call back. Where names are given they are of a fixed, small set.
class Observer {
 public:
  virtual ~Observer() = default;

  virtual void sighted(const Sighting& sighting) = 0;
  virtual void passBegan() = 0;
  virtual void passEnded(const PassReport& report) = 0;
  /// Something that only grows: `counter` by its name ("announce_records"), `kind` within it ("dropped: too short").
  virtual void counted(std::string_view counter, std::string_view kind, unsigned long by) = 0;
  /// Something that goes up and down, as it is now ("discovery_jobs_waiting").
  virtual void measured(std::string_view gauge, double value) = 0;
  /// The list of servers is not what it was.
  virtual void inventoryChanged() = 0;
};

/// The observer of the process, if there is one. Each function hands on to it, costs next to nothing without one, and
/// throws nothing. Safe for every thread.
namespace observer {

/// The one that is told from now on; null for none. Calls under way to the one before may still end after this returns.
void set(std::shared_ptr<Observer> observer);

void sighted(const Sighting& sighting) noexcept;
void passBegan() noexcept;
void passEnded(const PassReport& report) noexcept;
void counted(std::string_view counter, std::string_view kind, unsigned long by = 1) noexcept;
void measured(std::string_view gauge, double value) noexcept;
void inventoryChanged() noexcept;

}  // namespace observer
}  // namespace utils
