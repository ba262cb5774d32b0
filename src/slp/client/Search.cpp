#include "slp/client/Search.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "slp/client/Errors.h"
#include "slp/net/Traffic.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Limits.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/StringList.h"

namespace slp::client {
namespace {

/// So many exchanges start at once, and more after a pause, lest the first datagrams drown in buffers and in the
/// kernel's search for neighbours.
constexpr std::size_t kStartsPerTurn = 256;
constexpr auto kTurn = std::chrono::milliseconds(10);

/// How long an exchange with a silent peer takes.
std::chrono::milliseconds courseOf(const std::vector<std::chrono::milliseconds>& waits) {
  return std::accumulate(waits.begin(), waits.end(), Exchange::kWaitForSilent);
}

}  // namespace

Search::Search(Request request, const config::Settings& settings, Transport& transport,
               DirectoryAgents& directoryAgents, KnownResponders& responders, Collector& collector)
    : mRequest(std::move(request)),
      mKey(mRequest.key()),
      mSettings(settings),
      mTransport(transport),
      mDirectoryAgents(directoryAgents),
      mResponders(responders),
      mCollector(collector),
      mDeadline(transport.now() + settings.multicastMaximumWait) {
  // A handle that is tied to some networks has other responders than one that is not.
  if (mKey) *mKey += '\n' + transport.networks();
  if (auto bytes = mRequest.unicast())
    mTerms = std::make_shared<const Exchange::Terms>(
        Exchange::Terms{std::move(*bytes), settings.datagramTimeouts, settings.maxDatagramMessage()});
}

Search::~Search() {
  for (Peer* peer : mStreaming)
    peer->exchange.abandon(mTransport);
  // A search that was over at once has heard nobody. After a second request what could be heard was heard.
  const bool cutShort = mDiscovery && !mDiscovery->done() && mDiscovery->rounds() < 2;
  if (cutShort && !mDiscoveryAnswered) mDirectoryAgents.releaseDiscovery();
}

void Search::run(const Plan& plan) {
  if (mTerms == nullptr) return;
  begin(plan);
  advance();
  while (!mOver && !idle()) {
    const auto event = mTransport.wait(nextDue());
    handle(event);
    startWaiting();
    const bool more = event.kind != Transport::EventKind::kTimeUp && ++mEventsSinceAdvance < limits::kMaxBacklog;
    if (more && !needsMulticast()) continue;
    mEventsSinceAdvance = 0;
    advance();
  }
}

void Search::begin(const Plan& plan) {
  mPlan = plan;
  for (const auto& host : plan.hosts)
    ask(host, Purpose::kHost);
  if (plan.thisMachine) {
    const auto family = mSettings.useIpv4 ? net::Family::kV4 : net::Family::kV6;
    ask({net::Address::loopback(family), mSettings.port}, Purpose::kThisMachine);
  }
  if (plan.directoryAgents) {
    configureDirectoryAgents();
    askDirectoryAgents();
  }
  // Those who are asked before others leave them half of the time.
  mChosenDeadline.reset();
  const auto now = mTransport.now();
  if (plan.more || (plan.directoryAgents && plan.multicast)) mChosenDeadline = now + (mDeadline - now) / 2;
}

Search::Peer& Search::ask(const net::Endpoint& endpoint, Purpose purpose) {
  if (const auto known = mPeerOfEndpoint.find(endpoint); known != mPeerOfEndpoint.end()) return *known->second;
  auto& peer = mPeers.emplace_back(
      Peer{Exchange(endpoint, mTerms, purpose == Purpose::kKnown), purpose, std::string(), false, false});
  mPeerOfEndpoint.emplace(endpoint, &peer);
  ++mUnsettled;
  // Of the rest it is known already that it is only to be had over TCP.
  if (purpose != Purpose::kRest) mWaiting.push_back(&peer);
  return peer;
}

void Search::configureDirectoryAgents() {
  const auto& hosts = mSettings.directoryAgents;
  if (!mDirectoryAgents.claimConfiguration(hosts, mTransport.now())) return;
  startWaiting();  // names may take their time
  std::vector<net::Endpoint> endpoints;
  for (const auto& host : hosts) {
    for (const auto& address : resolveBesideTime(mTransport, host))
      endpoints.push_back({address, mSettings.port});
  }
  mDirectoryAgents.configure(endpoints, mSettings.scopes);
}

void Search::askDirectoryAgents() {
  if (!mPlan.directoryAgents) return;
  for (const auto& agent : mDirectoryAgents.serving(mRequest.scopes(), mTransport.now())) {
    auto& peer = ask(agent.endpoint, Purpose::kDirectoryAgent);
    if (peer.purpose == Purpose::kKnown) peer.purpose = Purpose::kDirectoryAgent;
    peer.scopes = agent.scopes;
  }
}

void Search::askKnownResponders() {
  if (mKnownAsked || !mKey || (mRounds->rounds() < 2 && !mRounds->done())) return;
  mKnownAsked = true;
  for (const auto& responder : mResponders.of(*mKey)) {
    if (!mRounds->knows(responder.address)) ask(responder, Purpose::kKnown);
  }
  // Of all of them, however many they are.
  mKnownDeadline = mTransport.now() + courseOf(mTerms->waits);
}

void Search::startWaiting() {
  if (mOver) return;
  const auto now = mTransport.now();
  if (now >= mNextTurn) mStartsOfTurn = 0;
  while (!mWaiting.empty() && mStartsOfTurn < kStartsPerTurn) {
    Peer* peer = mWaiting.front();
    mWaiting.pop_front();
    if (peer->exchange.state() != Exchange::State::kWaiting) continue;
    if (mStartsOfTurn++ == 0) mNextTurn = now + kTurn;
    drive(*peer, now);
  }
  openStreams(now);
}

void Search::drive(Peer& peer, TimePoint now) {
  auto& exchange = peer.exchange;
  exchange.advance(mTransport, now);
  if (exchange.timed()) mTimers.emplace(exchange.due(), &peer);
  if (exchange.state() == Exchange::State::kWantsStream) mWantStream.push_back(&peer);
  settle(peer);
}

/// Connections cost those that are asked something, and more than a few at once are refused by this system. So they
/// wait for one another; those that do not come about give way, since overflows are easily forged.
void Search::openStreams(TimePoint now) {
  if (!streamsAreWanted()) return;
  const bool full = mStreaming.size() >= limits::kMaxExchanges;
  for (std::size_t i = full ? mStreaming.size() : 0; i-- > 0;) {
    Peer* peer = mStreaming[i];
    if (now < peer->exchange.givesWayAt()) continue;
    peer->exchange.abandon(mTransport);
    settle(*peer);
  }
  while (mStreaming.size() < limits::kMaxExchanges) {
    Peer* peer = nextForStream();
    if (peer == nullptr) return;
    peer->exchange.openStream(mTransport, now);
    mStreaming.push_back(peer);
    mTimers.emplace(peer->exchange.due(), peer);
  }
}

Search::Peer* Search::nextForStream() {
  while (streamsAreWanted()) {
    auto& queue = mWantStream.empty() ? mWantRest : mWantStream;
    Peer* peer = queue.front();
    queue.pop_front();
    if (peer->exchange.state() == Exchange::State::kWantsStream) return peer;
  }
  return nullptr;
}

bool Search::needsMulticast() const {
  if (!mPlan.multicast || mRounds) return false;
  if (!mPlan.directoryAgents || isDirectoryAgentType(mRequest.serviceType())) return true;
  const auto scopes = wire::splitList(mRequest.scopes());
  return !std::all_of(scopes.begin(), scopes.end(), [&](std::string_view scope) { return isServed(scope); });
}

bool Search::isServed(std::string_view scope) const {
  return std::any_of(mPeers.begin(), mPeers.end(), [&](const Peer& peer) {
    const bool hopeful = !peer.exchange.over() || peer.served;
    return hopeful && wire::contains(peer.scopes, scope);
  });
}

/// Over before they begin when the request does not fit a datagram.
Convergence Search::roundsOf(const Request& request, const std::vector<config::Milliseconds>& waits) const {
  const auto bytes = request.multicast({});
  const std::size_t size = bytes ? bytes->size() : 0;
  const std::size_t limit = mSettings.maxDatagramMessage();
  Convergence rounds(waits, size > limit ? 0 : limit - size);
  if (size > limit) rounds.stop();
  return rounds;
}

void Search::beginMulticast() {
  mRounds = roundsOf(mRequest, mSettings.multicastTimeouts);
  mTooLong = mRounds->done();
}

void Search::beginDiscovery() {
  if (!mPlan.directoryAgents || isDirectoryAgentType(mRequest.serviceType())) return;
  if (!mDirectoryAgents.claimDiscovery(mTransport.now(), mSettings.daActiveDiscoveryInterval)) return;
  mDiscoveryRequest.emplace(
      ServiceQuery{std::string(wire::kDirectoryAgentType), mRequest.scopes(), std::string(), mRequest.language()});
  mDiscovery = roundsOf(*mDiscoveryRequest, mSettings.daDiscoveryTimeouts);
}

void Search::advance() {
  const auto now = mTransport.now();
  if (now >= mDeadline) {
    mUnasked = mPlan.more || !mWaiting.empty() || (mPlan.multicast && !mRounds);
    return end(End::kComplete);
  }
  advanceExchanges(now);
  if (needsMulticast()) beginMulticast();
  if (mRounds) advanceRounds(now);
  if (mDiscovery) advanceDiscovery(now);
  startWaiting();
}

void Search::advanceExchanges(TimePoint now) {
  while (!mTimers.empty() && mTimers.begin()->first <= now) {
    Peer* peer = mTimers.begin()->second;
    mTimers.erase(mTimers.begin());
    if (peer->exchange.timed() && peer->exchange.due() <= now) drive(*peer, now);
  }
  if (mKnownDeadline && now >= *mKnownDeadline) {
    mKnownDeadline.reset();
    giveUp(true);
  }
  if (mChosenDeadline && now >= *mChosenDeadline) {
    mChosenDeadline.reset();
    giveUp(false);
  }
}

/// The silent ones of those that answered earlier, or of those who were asked before others. Those that were not even
/// asked are given up, too: so many are gone at once only when the network is another one.
void Search::giveUp(bool known) {
  for (auto& peer : mPeers) {
    if ((peer.purpose == Purpose::kKnown) != known || peer.exchange.heard()) continue;
    if (peer.purpose == Purpose::kThisMachine && !mPlan.more) continue;
    peer.exchange.abandon(mTransport);
    settle(peer);
  }
}

void Search::advanceRounds(TimePoint now) {
  if (mRounds->step(now) == Convergence::Step::kSend) {
    const auto bytes = mRequest.multicast(mRounds->previousResponders());
    const auto interfaces = bytes ? mTransport.multicast(*bytes, mRequest.group(), mRequest.serviceType()) : 0;
    if (mRounds->rounds() == 1) {
      mNoInterface = interfaces == 0;
      if (mNoInterface)
        mRounds->stop();
      else
        beginDiscovery();
    }
  }
  askKnownResponders();
}

void Search::advanceDiscovery(TimePoint now) {
  if (mDiscovery->step(now) != Convergence::Step::kSend) return;
  const auto bytes = mDiscoveryRequest->multicast(mDiscovery->previousResponders());
  if (bytes) mTransport.multicast(*bytes, mDiscoveryRequest->group(), wire::kDirectoryAgentType);
}

TimePoint Search::nextDue() const {
  auto due = mDeadline;
  if (mRounds && !mRounds->done()) due = std::min(due, mRounds->due());
  if (mDiscovery && !mDiscovery->done()) due = std::min(due, mDiscovery->due());
  if (!mTimers.empty()) due = std::min(due, mTimers.begin()->first);
  if (!mWaiting.empty()) due = std::min(due, mNextTurn);
  if (mKnownDeadline) due = std::min(due, *mKnownDeadline);
  if (mChosenDeadline) due = std::min(due, *mChosenDeadline);
  if (!streamsAreWanted()) return due;
  for (const Peer* peer : mStreaming)
    due = std::min(due, peer->exchange.givesWayAt());
  return due;
}

/// The search for directory agents is not waited for.
bool Search::idle() const {
  return mUnsettled == 0 && (!mRounds || mRounds->done()) && !needsMulticast();
}

void Search::settle(Peer& peer) {
  if (peer.settled || !peer.exchange.over()) return;
  peer.settled = true;
  --mUnsettled;
  std::erase(mStreaming, &peer);
  const auto state = peer.exchange.state();
  if (peer.purpose == Purpose::kHost) {
    mHostAnswered |= state == Exchange::State::kAnswered;
    mHostRefused |= state == Exchange::State::kRefused;
    mHostSilent |= state == Exchange::State::kSilent;
  }
  if (state == Exchange::State::kAnswered) return;
  if (peer.purpose == Purpose::kDirectoryAgent) mDirectoryAgents.silent(peer.exchange.peer(), mTransport.now());
  if (peer.purpose == Purpose::kKnown && mKey) mResponders.forget(*mKey, peer.exchange.peer());
}

void Search::handle(const Transport::Event& event) {
  switch (event.kind) {
    case Transport::EventKind::kDatagram:
      datagram(event);
      break;
    case Transport::EventKind::kStreamMessage:
      streamMessage(event);
      break;
    case Transport::EventKind::kStreamConnected:
      if (Peer* peer = peerOf(event.stream)) streamConnected(*peer);
      break;
    case Transport::EventKind::kStreamFailed:
      if (Peer* peer = peerOf(event.stream)) streamFailed(*peer);
      break;
    case Transport::EventKind::kRefused:
      if (const auto peer = mPeerOfEndpoint.find(event.from); peer != mPeerOfEndpoint.end()) {
        peer->second->exchange.refused();
        settle(*peer->second);
      }
      break;
    case Transport::EventKind::kCancelled:
      end(End::kCancelled);
      break;
    case Transport::EventKind::kTimeUp:
      break;
  }
}

void Search::datagram(const Transport::Event& event) {
  const auto decoded = wire::decode(event.bytes);
  const auto* message = std::get_if<wire::Message>(&decoded);
  if (message == nullptr) {
    net::countMessage(net::Fate::kDropped, event.bytes);
    if (mRequest.answeredBy(std::get<wire::Rejected>(decoded))) cutReply(event.from);
    return;
  }
  const auto* advert = std::get_if<wire::DirectoryAgentAdvert>(&message->body);
  if (advert != nullptr && mDiscoveryRequest && mDiscoveryRequest->answeredBy(*message))
    return discovered(*advert, event.from);
  if (!mRequest.answeredBy(*message)) return;
  Peer* peer = peerOf(event.from);
  // Without a request to the group, only those who were asked may answer.
  if (peer == nullptr && !mRounds) return;
  reply(*message, event.from, peer, !message->header.overflow);
}

void Search::streamMessage(const Transport::Event& event) {
  Peer* peer = peerOf(event.stream);
  if (peer == nullptr) return;
  const auto decoded = wire::decode(event.bytes);
  const auto* message = std::get_if<wire::Message>(&decoded);
  if (message == nullptr) net::countMessage(net::Fate::kDropped, event.bytes);
  if (message == nullptr || !mRequest.answeredBy(*message)) return streamFailed(*peer);
  reply(*message, peer->exchange.peer(), peer, true);
}

void Search::streamConnected(Peer& peer) {
  peer.exchange.streamConnected(mTransport.now());
  mTimers.emplace(peer.exchange.due(), &peer);
}

void Search::streamFailed(Peer& peer) {
  peer.exchange.streamFailed(mTransport);
  settle(peer);
}

void Search::reply(const wire::Message& message, const net::Endpoint& from, Peer* peer, bool whole) {
  const auto error = errorOf(message.body);
  if (error == wire::ErrorCode::kOk) {
    const net::Endpoint agent = peer != nullptr ? peer->exchange.peer() : net::Endpoint{from.address, mSettings.port};
    mAnswered = true;
    if (peer != nullptr) peer->served = true;
    takeResults(message, {agent, peer != nullptr && peer->purpose == Purpose::kHost, !whole}, peer);
  } else {
    noteError(error, peer);
    if (mRounds) hear(from, peer, false);
  }
  if (mOver) return;
  if (!whole) return askForRest(from, peer);
  if (peer == nullptr) return;
  peer->exchange.answered(mTransport);
  settle(*peer);
}

/// An answer of which nothing can be read but that there is one.
void Search::cutReply(const net::Endpoint& from) {
  Peer* peer = peerOf(from);
  if (peer == nullptr && !mRounds) return;
  if (mRounds) hear(from, peer, true);
  askForRest(from, peer);
}

void Search::askForRest(const net::Endpoint& from, Peer* peer) {
  if (peer == nullptr) {
    if (mPeers.size() >= limits::kMaxKnownResponders) return;
    peer = &ask({from.address, mSettings.port}, Purpose::kRest);
  }
  if (peer->exchange.heard()) return;
  peer->exchange.overflowed();
  if (peer->exchange.state() != Exchange::State::kWantsStream) return;
  (peer->purpose == Purpose::kRest ? mWantRest : mWantStream).push_back(peer);
}

void Search::takeResults(const wire::Message& message, const Source& source, const Peer* peer) {
  if (const auto* advert = std::get_if<wire::DirectoryAgentAdvert>(&message.body))
    mDirectoryAgents.learn(*advert, source.agent, mSettings.port, mTransport.now());
  const auto taken = mCollector.take(message.body, source);
  if (mRounds) hear(source.agent, peer, taken != Collector::Taken::kNothing || source.cut);
  if (taken == Collector::Taken::kEnough) end(End::kComplete);
  if (taken == Collector::Taken::kStopped) end(End::kStopped);
}

/// Keeps the books of who answers such a search.
void Search::hear(const net::Endpoint& from, const Peer* peer, bool useful) {
  if (peer == nullptr && useful)
    mRounds->answered(from.address);
  else
    mRounds->list(from.address);
  const bool byGroup = peer == nullptr || peer->purpose == Purpose::kKnown || peer->purpose == Purpose::kRest;
  if (!mKey || !byGroup || from.address.isLoopback()) return;
  const net::Endpoint responder{from.address, mSettings.port};
  if (useful)
    mResponders.remember(*mKey, responder);
  else if (mRequest.isPlain())
    mResponders.forget(*mKey, responder);
}

void Search::discovered(const wire::DirectoryAgentAdvert& advert, const net::Endpoint& from) {
  mDiscoveryAnswered = true;
  mDiscovery->answered(from.address);
  mDirectoryAgents.learn(advert, from, mSettings.port, mTransport.now());
  askDirectoryAgents();
}

/// What those say who were asked by themselves counts when nobody knows better. That this machine's agent does not
/// serve the scopes says nothing about the others.
void Search::noteError(wire::ErrorCode error, const Peer* peer) {
  if (peer == nullptr || peer->purpose == Purpose::kKnown || peer->purpose == Purpose::kRest || mError) return;
  if (peer->purpose == Purpose::kThisMachine && error == wire::ErrorCode::kScopeNotSupported) return;
  mError = error;
}

/// An answer may come from another port than the one that was asked.
Search::Peer* Search::peerOf(const net::Endpoint& from) {
  auto found = mPeerOfEndpoint.find(from);
  if (found == mPeerOfEndpoint.end()) found = mPeerOfEndpoint.lower_bound({from.address, 0});
  if (found == mPeerOfEndpoint.end() || found->first.address != from.address) return nullptr;
  return found->second;
}

Search::Peer* Search::peerOf(Transport::StreamId stream) {
  const auto found =
      std::find_if(mStreaming.begin(), mStreaming.end(), [&](const Peer* peer) { return peer->exchange.owns(stream); });
  return found == mStreaming.end() ? nullptr : *found;
}

void Search::end(End end) {
  mOver = true;
  mEnd = end;
}

Outcome Search::conclude() {
  if (mEnd != End::kComplete) return {mEnd, SLP_OK};
  return {End::kComplete, mCollector.results() > 0 ? SLP_OK : errorOfNothing()};
}

SLPError Search::errorOfNothing() const {
  if (mTerms == nullptr) return SLP_PARAMETER_BAD;
  if (mCollector.lacksAnswer()) return SLP_NETWORK_ERROR;
  if (mAnswered) return SLP_OK;
  if (mError) return errorFor(*mError);
  if (mTooLong) return SLP_BUFFER_OVERFLOW;
  if (mUnasked) return SLP_NETWORK_TIMED_OUT;
  const bool onlyHosts = !mRounds && !mPlan.hosts.empty();
  if (onlyHosts) return mHostSilent || !mHostRefused ? SLP_NETWORK_TIMED_OUT : SLP_NETWORK_ERROR;
  return mNoInterface && !mPlan.ownAgent ? SLP_NETWORK_ERROR : SLP_OK;
}

}  // namespace slp::client
