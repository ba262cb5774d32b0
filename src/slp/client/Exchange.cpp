#include "slp/client/Exchange.h"

#include <utility>

namespace slp::client {
namespace {

using namespace std::chrono_literals;

/// One that has more to say than fits a datagram lives, and may need the time for its segments to be sent again.
constexpr auto kWaitForRest = 5s;

}  // namespace

Exchange::Exchange(const net::Endpoint& peer, std::shared_ptr<const Terms> terms, bool again)
    : mPeer(peer), mTerms(std::move(terms)), mAgain(again) {}

void Exchange::advance(Transport& transport, TimePoint now) {
  if (mState == State::kWaiting) {
    mState = isTooLong() ? State::kWantsStream : State::kDatagrams;
    if (mState == State::kDatagrams) tryDatagram(transport, now);
    return;
  }
  if (!timed() || now < mDue) return;
  if (mState == State::kStream) return end(transport, mHeard ? State::kAnswered : State::kSilent);
  tryDatagram(transport, now);
}

void Exchange::tryDatagram(Transport& transport, TimePoint now) {
  if (mTries == mTerms->waits.size() || !transport.sendTo(mTerms->request, mPeer)) {
    mState = State::kWantsStream;
    return;
  }
  // Repetitions go out in pairs: where three of ten datagrams are lost each way, a single one fails every other time.
  if (mAgain || mTries > 0) transport.sendTo(mTerms->request, mPeer);
  mDue = now + mTerms->waits[mTries];
  ++mTries;
}

void Exchange::openStream(Transport& transport, TimePoint now) {
  mState = State::kStream;
  mStream = transport.openStream(mPeer, mTerms->request);
  mDue = now + (mHeard || isTooLong() ? std::chrono::milliseconds(kWaitForRest) : kWaitForSilent);
  mGivesWayAt = now + kWaitForSilent;
}

void Exchange::streamConnected(TimePoint now) {
  if (mState != State::kStream) return;
  mGivesWayAt = TimePoint::max();
  if (mHeard || isTooLong()) mDue = now + kWaitForRest;
}

void Exchange::answered(Transport& transport) {
  if (!over()) end(transport, State::kAnswered);
}

void Exchange::overflowed() {
  if (mHeard) return;  // once is enough, however often the datagram arrives
  mHeard = true;
  if (mState == State::kWaiting || mState == State::kDatagrams) mState = State::kWantsStream;
}

void Exchange::refused() {
  if (mState == State::kDatagrams || (mState == State::kWantsStream && !mHeard)) mState = State::kRefused;
}

void Exchange::streamFailed(Transport& transport) {
  if (mState == State::kStream) end(transport, mHeard ? State::kAnswered : State::kSilent);
}

void Exchange::abandon(Transport& transport) {
  if (!over()) end(transport, mHeard ? State::kAnswered : State::kSilent);
}

void Exchange::end(Transport& transport, State state) {
  if (mState == State::kStream) transport.closeStream(mStream);
  mState = state;
}

}  // namespace slp::client
