#include "slp/agent/PortClient.h"

#include <algorithm>

#include "slp/agent/Due.h"
#include "slp/agent/RegistrationMessages.h"
#include "slp/config/Log.h"
#include "slp/net/Traffic.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Limits.h"

namespace slp::agent {

PortClient::PortClient(EventLoop& loop, std::vector<net::Endpoint> addresses, Services services,
                       std::function<void(End)> ended)
    : mLoop(loop), mAddresses(std::move(addresses)), mServices(std::move(services)), mEnded(std::move(ended)) {}

PortClient::~PortClient() {
  close();
}

void PortClient::connect(const std::vector<std::string>& urls, TimePoint now) {
  disconnect();
  mReached = mAsked = mAnswered = mAccepted = false;
  compare(urls, now);
  mNextAddress = 0;
  open(now);
}

void PortClient::open(TimePoint now) {
  while (mNextAddress < mAddresses.size()) {
    auto stream = net::MessageStream::connect(mAddresses[mNextAddress++], limits::kMaxRequest);
    if (stream.failed()) continue;
    mStream.emplace(std::move(stream));
    mPatienceEnds = now + kPatience;
    mLoop.watch(mStream->fd(), [this] { ready(); });
    mLoop.waitFor(mStream->fd(), mStream->wantsRead(), mStream->wantsWrite());
    return;
  }
  disconnect();
  mEnded(end());
}

void PortClient::close() {
  disconnect();
  mTold = ToldRegistrations(kRefusedAgain);
}

void PortClient::disconnect() {
  if (mStream) {
    mLoop.forget(mStream->fd());
    mStream.reset();
  }
  mAccepted = false;
  mFlights.clear();
  mTold.connectionEnded();
}

PortClient::End PortClient::end() const {
  if (mAnswered) return End::kAnswered;
  return mReached && !mAsked ? End::kNotAsked : End::kSilent;
}

/// The connection is over, or has not come about: another address may do, else the owner decides.
void PortClient::fail(TimePoint now) {
  disconnect();
  if (!mReached)
    open(now);
  else
    mEnded(end());
}

void PortClient::tell(const std::string& url, TimePoint now) {
  mTold.set(url, mServices.variants(url), now);
}

void PortClient::changed(const std::string& url, TimePoint now) {
  if (mStream) tell(url, now);
}

void PortClient::compare(std::vector<std::string> urls, TimePoint now) {
  std::sort(urls.begin(), urls.end());
  mTold.keepOnly(urls, now);
  for (const std::string& url : urls)
    tell(url, now);
}

void PortClient::withdrawAll(TimePoint now) {
  mTold.withdrawAll(now);
}

bool PortClient::idle(TimePoint now) const {
  const auto due = mTold.next();
  return !connected() || (mFlights.empty() && (!due || *due > now));
}

void PortClient::ready() {
  const TimePoint now = std::chrono::steady_clock::now();
  mStream->ready();
  while (mStream) {
    const auto message = mStream->next();
    if (!message) break;
    take(*message, now);
  }
  if (mStream->failed()) {
    fail(now);
    return;
  }
  fill(now);
}

void PortClient::take(std::span<const std::byte> bytes, TimePoint now) {
  const auto decoded = wire::decode(bytes);
  const auto* message = std::get_if<wire::Message>(&decoded);
  if (message == nullptr) net::countMessage(net::Fate::kDropped, bytes);
  const auto* answer = message != nullptr ? std::get_if<wire::ServiceAcknowledge>(&message->body) : nullptr;
  if (answer == nullptr) return;
  const auto flight = mFlights.find(message->header.xid);
  if (flight == mFlights.end()) return;
  mAnswered = true;
  if (answer->error == wire::ErrorCode::kOk) mAccepted = true;
  mPatienceEnds = now + kPatience;
  const Flight done = flight->second;
  mFlights.erase(flight);
  if (mTold.done(done.task, answer->error, now, done.refresh))
    config::logLimited(config::LogLevel::kWarning, "agent refuses",
                       "the SLP agent of another process of this machine refuses " + done.task.key.url +
                           " with error " + std::to_string(static_cast<unsigned>(answer->error)));
}

std::string PortClient::messageFor(const ToldRegistrations::Task& task, std::uint16_t xid, Flight& flight) {
  if (task.deregister) return deregistrationMessage(task.key.url, task.key.language, task.scopes, xid, true);
  for (const Registration& registration : mServices.of(task.key.url)) {
    if (registration.language != task.key.language) continue;
    const WireLifetime lifetime = wireLifetime(registration.lifetime, {}, kWireLifetime);
    flight.refresh = lifetime.refresh;
    return registrationMessage(registration, task.scopes, lifetime.seconds, xid, true);
  }
  return {};
}

void PortClient::fill(TimePoint now) {
  mReached = mReached || connected();
  while (connected() && mFlights.size() < kMaxUnderWay) {
    const auto task = mTold.take(now);
    if (!task) break;
    const std::uint16_t xid = mXids.next();
    Flight flight{*task, std::nullopt};
    const std::string message = messageFor(*task, xid, flight);
    if (message.empty()) {  // it has ended meanwhile, or no message can hold it
      mTold.done(*task, wire::ErrorCode::kInvalidRegistration, now, std::nullopt);
      continue;
    }
    if (mFlights.empty()) mPatienceEnds = now + kPatience;
    mFlights.insert_or_assign(xid, std::move(flight));
    mStream->send(message);
    mAsked = true;
  }
  if (mStream) mLoop.waitFor(mStream->fd(), mStream->wantsRead(), mStream->wantsWrite());
}

void PortClient::work(TimePoint now) {
  if (!mStream) return;
  const bool waits = mStream->connecting() || !mFlights.empty();
  if (mStream->failed() || (waits && now >= mPatienceEnds)) {
    fail(now);
    return;
  }
  fill(now);
}

std::optional<PortClient::TimePoint> PortClient::next() const {
  if (!mStream) return std::nullopt;
  if (mStream->failed()) return TimePoint{};
  std::optional<TimePoint> result;
  if (mStream->connecting() || !mFlights.empty()) result = mPatienceEnds;
  if (connected() && mFlights.size() < kMaxUnderWay) result = earlier(result, mTold.next());
  return result;
}

}  // namespace slp::agent
