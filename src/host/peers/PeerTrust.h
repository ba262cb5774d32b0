#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "state/Directory.h"
#include "state/Pins.h"

namespace host {

/// The certificates of other servers: each is pinned at the first contact and must not change from then on, unless the
/// administrator says so. What cannot be known is refused: with a file of pins that makes no sense nobody is trusted.
/// Validity and names do not count, because a pinned certificate is trusted for what it is.
///
/// Safe for every thread. Whoever asks in a handshake does not wait for the disk: a thread of its own writes, new pins
/// and changes after a second, and that a server was seen again after ten minutes.
class PeerTrust {
 public:
  struct Delays {
    std::chrono::milliseconds change{1'000};
    std::chrono::milliseconds seen{600'000};
    std::chrono::milliseconds afterFailure{60'000};
  };

  enum class Outcome {
    kDone,
    kUnknown,  ///< there is no pin, or nothing is offered
    kOther,    ///< the fingerprint is neither the offered nor the pinned one
    kUnwritten
  };

  /// Logs what is wrong with the file, if anything is. The directory must outlive it.
  explicit PeerTrust(const state::Directory& directory) : PeerTrust(directory, Delays()) {}
  PeerTrust(const state::Directory& directory, Delays delays);
  /// Writes what is not written yet.
  ~PeerTrust();
  PeerTrust(const PeerTrust&) = delete;
  PeerTrust& operator=(const PeerTrust&) = delete;

  /// Whether the certificate that a server shows is refused, and why. One that is not the pinned one is kept as
  /// offered.
  std::optional<std::string> refusesCertificate(const state::PinnedAddress& address, const std::string& fingerprint);

  /// Notes the certificate of a server that has answered as one of ours, and pins it at the first contact, which not
  /// everything that speaks TLS is worth. The refusal is for one whose address was given to another one meanwhile.
  std::optional<std::string> confirm(const state::PinnedAddress& address, const std::string& fingerprint);

  /// Whether it may not be called without TLS, and why: a server that had it once does not lose it, whatever a record
  /// says.
  std::optional<std::string> refusesHttp(const std::string& host) const;

  /// Pins what the server offers, which is on the disk on return. With a fingerprint only when it is that one; with
  /// that of the pin itself the offer is dismissed.
  Outcome trust(const state::PinnedAddress& address, const std::optional<std::string>& fingerprint);
  /// The next contact is a first one.
  Outcome forget(const state::PinnedAddress& address);

  state::Pins::Table table() const;

 private:
  using Clock = std::chrono::steady_clock;

  void load();
  std::optional<std::string> refusal() const;
  void writeWithin(std::chrono::milliseconds delay);
  void writeInTime();
  bool write();

  const state::Directory& mDirectory;
  const Delays mDelays;
  std::string mTrouble;  ///< why nobody is trusted; "" usually. Constant after construction.
  mutable std::mutex mMutex;
  state::Pins mPins;
  std::optional<Clock::time_point> mWriteAt;
  bool mIsEnding = false;
  std::condition_variable mWake;
  std::mutex mWriting;  ///< before `mMutex`, so that what is older never comes later to the disk
  std::thread mWriter;  ///< last: it works on the members above
};

}  // namespace host
