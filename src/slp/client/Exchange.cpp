#include "slp/client/Exchange.h"

#include <utility>

namespace slp::client {
namespace {

using namespace std::chrono_literals;

/// A peer that was silent to every datagram has this long over TCP: a few round trips of any network in one site.
constexpr auto kWaitForSilent = 500ms;
/// One that has more to say than fits a datagram lives, and may need the time for its segments to be sent again.
constexpr auto kWaitForRest = 5s;

}  // namespace

Exchange::Exchange(const net::Endpoint& peer, std::shared_ptr<const Terms> terms, bool again)
    : mPeer(peer), mTerms(std::move(terms)), mAgain(again) {}

void Exchange::advance(Transport& transport, TimePoint now) {
  if (mState == State::kWaiting) {
    if (mHeard || mTerms->request.size() > mTerms->maxDatagram) return openStream(transport, now, kWaitForRest);
    mState = State::kDatagrams;
    return tryDatagram(transport, now);
  }
  if (!active() || now < mDue) return;
  if (mState == State::kStream) return end(transport, mHeard ? State::kAnswered : State::kSilent);
  tryDatagram(transport, now);
}

void Exchange::tryDatagram(Transport& transport, TimePoint now) {
  if (mTries == mTerms->waits.size()) return openStream(transport, now, kWaitForSilent);
  // Repetitions go out in pairs: where three of ten datagrams are lost each way, a single one fails every other time.
  const bool pair = mAgain || mTries > 0;
  const bool sent = transport.sendTo(mTerms->request, mPeer);
  if (!sent) return openStream(transport, now, kWaitForSilent);
  if (pair) transport.sendTo(mTerms->request, mPeer);
  mDue = now + mTerms->waits[mTries];
  ++mTries;
}

void Exchange::openStream(Transport& transport, TimePoint now, std::chrono::milliseconds wait) {
  mState = State::kStream;
  mStream = transport.openStream(mPeer, mTerms->request);
  mDue = now + wait;
}

void Exchange::answered(Transport& transport) {
  if (!over()) end(transport, State::kAnswered);
}

void Exchange::overflowed(Transport& transport, TimePoint now) {
  if (mHeard) return;  // once is enough, however often the datagram arrives
  mHeard = true;
  if (mState == State::kDatagrams) openStream(transport, now, kWaitForRest);
}

void Exchange::refused() {
  if (mState == State::kDatagrams) mState = State::kRefused;
}

void Exchange::streamFailed(Transport& transport) {
  if (mState == State::kStream) end(transport, mHeard ? State::kAnswered : State::kSilent);
}

void Exchange::abandon(Transport& transport) {
  if (active()) end(transport, State::kSilent);
}

void Exchange::end(Transport& transport, State state) {
  if (mState == State::kStream) transport.closeStream(mStream);
  mState = state;
}

}  // namespace slp::client
