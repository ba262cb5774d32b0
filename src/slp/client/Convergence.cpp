#include "slp/client/Convergence.h"

#include <utility>

#include "slp/wire/Limits.h"

namespace slp::client {
namespace {

constexpr std::size_t kSilentRoundsAtTheEnd = 2;

}  // namespace

Convergence::Convergence(std::vector<std::chrono::milliseconds> waits, std::size_t room)
    : mWaits(std::move(waits)), mRoom(room) {}

Convergence::Step Convergence::step(TimePoint now) {
  if (mDone) return Step::kDone;
  if (mRound > 0) {
    if (now < mDue) return Step::kWait;
    mSilentRounds = mNews ? 0 : mSilentRounds + 1;
  }
  if (mSilentRounds == kSilentRoundsAtTheEnd || mRound == mWaits.size()) {
    mDone = true;
    return Step::kDone;
  }
  mNews = false;
  mDue = now + mWaits[mRound];
  ++mRound;
  return Step::kSend;
}

void Convergence::answered(const net::Address& responder) {
  if (add(responder)) mNews = true;
}

void Convergence::list(const net::Address& responder) {
  add(responder);
}

bool Convergence::add(const net::Address& responder) {
  // Every machine has the loopback address: in the list it would silence them all.
  if (mResponders.size() >= limits::kMaxKnownResponders || responder.isLoopback()) return false;
  if (!mResponders.insert(responder).second) return false;
  const std::string text = responder.text();
  const std::size_t comma = mList.empty() ? 0 : 1;
  if (mList.size() + comma + text.size() <= mRoom) {
    if (comma != 0) mList += ',';
    mList += text;
  }
  return true;
}

}  // namespace slp::client
