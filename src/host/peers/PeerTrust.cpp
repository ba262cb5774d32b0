#include "host/peers/PeerTrust.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "framework/utils/DateTime.h"
#include "framework/utils/Log.h"
#include "host/net/Address.h"

namespace host {
namespace {

using state::Pin;
using state::PinnedAddress;

std::string now() {
  utils::DateTime time;
  utils::DateTime::get_current_time(time);
  return time.to_string();
}

std::string toText(const PinnedAddress& address) {
  return bracketed(address.host) + ":" + std::to_string(address.port);
}

std::string changed(const PinnedAddress& address, const std::string& shown, const std::string& pinned) {
  const std::string text = toText(address);
  return "The certificate of " + text + " has changed (now " + shown + ", was " + pinned + "): kvtctl peers trust " +
         text + " accepts it";
}

}  // namespace

PeerTrust::PeerTrust(const state::Directory& directory, Delays delays) : mDirectory(directory), mDelays(delays) {
  load();
  mWriter = std::thread([this] { writeInTime(); });
}

PeerTrust::~PeerTrust() {
  {
    const std::lock_guard lock(mMutex);
    mIsEnding = true;
  }
  mWake.notify_all();
  mWriter.join();
}

void PeerTrust::load() {
  try {
    mPins = state::Pins::load(mDirectory);
  } catch (const std::exception& error) {
    mTrouble =
        "The file of pinned certificates, pins.json in the state directory, cannot be read: no server is trusted "
        "until it is mended or removed, and this server started anew";
    utils::formatted_log_t(utils::LOG_ERROR, "PeerTrust:load:%1%:%2%") % error.what() % mTrouble;
  }
}

std::optional<std::string> PeerTrust::refusal() const {
  return mTrouble.empty() ? std::nullopt : std::optional(mTrouble);
}

std::optional<std::string> PeerTrust::refusesCertificate(const PinnedAddress& address, const std::string& fingerprint) {
  if (!mTrouble.empty()) return refusal();
  const std::lock_guard lock(mMutex);
  Pin* pin = mPins.find(address);
  if (pin == nullptr || pin->fingerprint == fingerprint) return std::nullopt;
  const std::string text = changed(address, fingerprint, pin->fingerprint);
  if (pin->offered != fingerprint) {
    pin->offered = fingerprint;
    pin->offeredSince = now();
    writeWithin(mDelays.change);
    utils::formatted_log_t(utils::LOG_ERROR, "PeerTrust:refusesCertificate:%1%") % text;
  }
  return text;
}

std::optional<std::string> PeerTrust::confirm(const PinnedAddress& address, const std::string& fingerprint) {
  if (auto refused = refusesCertificate(address, fingerprint)) return refused;
  const std::lock_guard lock(mMutex);
  if (Pin* pin = mPins.find(address)) {
    if (pin->fingerprint != fingerprint) return changed(address, fingerprint, pin->fingerprint);
    const bool isBack = !pin->offered.empty();
    pin->offered.clear();
    pin->offeredSince.clear();
    pin->lastSeen = now();
    writeWithin(isBack ? mDelays.change : mDelays.seen);
    return std::nullopt;
  }
  const std::string time = now();
  const std::size_t others = mPins.countOf(address.host);
  if (others >= state::Pins::kMaxOfHost) {
    return "There are " + std::to_string(others) + " pinned certificates at " + address.host +
           ", which is the most that are kept of an address: kvtctl peers forget makes room";
  }
  if (others > 0) {
    utils::formatted_log_t(utils::LOG_FAILURE,
                           "PeerTrust:confirm:first contact at %1%, an address that has %2% pinned already:%3%") %
        toText(address) % others % fingerprint;
  }
  if (!mPins.add(address, Pin{fingerprint, time, time, "", ""})) {
    return "There are " + std::to_string(state::Pins::kMax) +
           " pinned certificates, which is the most that are kept: kvtctl peers forget makes room";
  }
  writeWithin(mDelays.change);
  return std::nullopt;
}

std::optional<std::string> PeerTrust::refusesHttp(const std::string& host) const {
  if (!mTrouble.empty()) return refusal();
  const std::lock_guard lock(mMutex);
  if (!mPins.holds(host)) return std::nullopt;
  return "The server at " + host +
         " had TLS before and is not called without it: kvtctl peers forget takes back that it had";
}

PeerTrust::Outcome PeerTrust::trust(const PinnedAddress& address, const std::optional<std::string>& fingerprint) {
  {
    const std::lock_guard lock(mMutex);
    Pin* pin = mPins.find(address);
    if (pin == nullptr || (!fingerprint && pin->offered.empty())) return Outcome::kUnknown;
    if (fingerprint && *fingerprint != pin->offered && *fingerprint != pin->fingerprint) return Outcome::kOther;
    const std::string wanted = fingerprint.value_or(pin->offered);
    const std::string time = now();
    if (wanted != pin->fingerprint) *pin = Pin{wanted, time, time, "", ""};
    pin->offered.clear();
    pin->offeredSince.clear();
  }
  return write() ? Outcome::kDone : Outcome::kUnwritten;
}

PeerTrust::Outcome PeerTrust::forget(const PinnedAddress& address) {
  {
    const std::lock_guard lock(mMutex);
    if (!mPins.erase(address)) return Outcome::kUnknown;
  }
  return write() ? Outcome::kDone : Outcome::kUnwritten;
}

state::Pins::Table PeerTrust::table() const {
  const std::lock_guard lock(mMutex);
  return mPins.table();
}

/// Under the lock.
void PeerTrust::writeWithin(std::chrono::milliseconds delay) {
  const auto time = Clock::now() + delay;
  if (mWriteAt && *mWriteAt <= time) return;
  mWriteAt = time;
  mWake.notify_all();
}

void PeerTrust::writeInTime() {
  std::unique_lock lock(mMutex);
  while (true) {
    const auto due = mWriteAt;
    if (!due && mIsEnding) return;
    if (!due) {
      mWake.wait(lock);
    } else if (!mIsEnding && Clock::now() < *due) {
      mWake.wait_until(lock, *due);
    } else {
      lock.unlock();
      const bool isWritten = write();
      lock.lock();
      if (!isWritten && mIsEnding) return;
    }
  }
}

/// What changes meanwhile sets its time anew.
bool PeerTrust::write() {
  const std::lock_guard writing(mWriting);
  try {
    state::Pins pins;
    {
      const std::lock_guard lock(mMutex);
      pins = mPins;
      mWriteAt.reset();
    }
    pins.save(mDirectory);
    return true;
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "PeerTrust:write:the pinned certificates cannot be written:%1%") %
        error.what();
    const std::lock_guard lock(mMutex);
    writeWithin(mDelays.afterFailure);
    return false;
  }
}

}  // namespace host
