#include "FakeNetwork.h"

#include <algorithm>
#include <utility>

#include <gtest/gtest.h>

#include "slp/wire/Codec.h"
#include "slp/wire/StringList.h"

namespace slp::test {
namespace {

std::string_view previousRespondersOf(const wire::Message& message) {
  return std::visit(
      [](const auto& body) -> std::string_view {
        if constexpr (requires { body.previousResponders; })
          return body.previousResponders;
        else
          return {};
      },
      message.body);
}

bool asksForDirectoryAgents(const wire::Message& request) {
  const auto* services = std::get_if<wire::ServiceRequest>(&request.body);
  return services != nullptr && services->serviceType == "service:directory-agent";
}

}  // namespace

FakeAgent& FakeNetwork::add(FakeAgent agent) {
  const auto where = agent.endpoint.address;
  return mAgents.insert_or_assign(where, std::move(agent)).first->second;
}

void FakeNetwork::elapse(Milliseconds time) {
  if (!mPaused) {
    mNow += time;
    return;
  }
  // The clock of the search stands, the network goes on.
  std::multimap<TimePoint, Arrival> moved;
  for (auto& [when, arrival] : mArrivals)
    moved.emplace(std::max(mNow, when - time), std::move(arrival));
  mArrivals = std::move(moved);
}

void FakeNetwork::startAnew() {
  sent.clear();
  mArrivals.clear();
}

std::size_t FakeNetwork::countOf(Via via) const {
  return static_cast<std::size_t>(
      std::count_if(sent.begin(), sent.end(), [&](const Sent& one) { return one.via == via; }));
}

std::size_t FakeNetwork::countTo(const net::Endpoint& to) const {
  return static_cast<std::size_t>(
      std::count_if(sent.begin(), sent.end(), [&](const Sent& one) { return one.via != Via::kGroup && one.to == to; }));
}

bool FakeNetwork::loses() {
  return static_cast<double>(mRandom()) < lossEachWay * static_cast<double>(std::mt19937::max());
}

Transport::TimePoint FakeNetwork::arrivalTime(Milliseconds delay) {
  auto when = mNow + 2 * latency + delay;
  if (jitter.count() > 0) when += Milliseconds(mRandom() % static_cast<std::uint32_t>(jitter.count()));
  return when;
}

void FakeNetwork::deliver(FakeAgent& agent, std::string_view message, Via via) {
  if (loses() || !agent.answer) return;
  const auto decoded = wire::decode(wire::bytesOf(message));
  const auto* request = std::get_if<wire::Message>(&decoded);
  ASSERT_NE(request, nullptr) << "a request that cannot be read";
  EXPECT_EQ(request->header.multicast, via == Via::kGroup);
  if (agent.heedsPreviousResponders && wire::contains(previousRespondersOf(*request), agent.endpoint.address.text()))
    return;
  for (auto& answer : agent.answer(*request, via)) {
    const std::size_t copies = repeatsAnswers ? 3 : 1;
    for (std::size_t i = 0; i < copies; ++i) {
      if (loses()) continue;
      arrive(arrivalTime(agent.delay), {EventKind::kDatagram, answer, agent.answersFrom.value_or(agent.endpoint), 0});
    }
  }
}

std::size_t FakeNetwork::multicast(std::string_view message, Group group, std::string_view) {
  if (interfaces == 0) return 0;
  sent.push_back({std::string(message), Via::kGroup, {}, group, elapsed()});
  for (auto& [where, agent] : mAgents) {
    if (agent.hearsGroup) deliver(agent, message, Via::kGroup);
  }
  return interfaces;
}

bool FakeNetwork::sendTo(std::string_view message, const net::Endpoint& to) {
  if (interfaces == 0 && !to.address.isLoopback()) return false;
  sent.push_back({std::string(message), Via::kDatagram, to, Group::kService, elapsed()});
  const auto found = mAgents.find(to.address);
  // Nobody on this machine: its kernel says so. Nobody elsewhere: nothing is heard.
  const bool refused = found == mAgents.end()
                           ? to.address.isLoopback()
                           : found->second.udp == FakeAgent::Port::kRefuses || found->second.endpoint.port != to.port;
  if (refused)
    arrive(arrivalTime(Milliseconds(0)), {EventKind::kRefused, {}, to, 0});
  else if (found != mAgents.end() && found->second.udp == FakeAgent::Port::kOpen)
    deliver(found->second, message, Via::kDatagram);
  return true;
}

Transport::StreamId FakeNetwork::openStream(const net::Endpoint& to, std::string_view message) {
  const auto id = ++mLastStream;
  mOpen.insert(id);
  sent.push_back({std::string(message), Via::kStream, to, Group::kService, elapsed()});
  const auto found = mAgents.find(to.address);
  const bool there = found != mAgents.end();
  const auto port = there ? found->second.tcp : FakeAgent::Port::kSilent;
  if (port == FakeAgent::Port::kRefuses || (interfaces == 0 && !to.address.isLoopback()))
    arrive(arrivalTime(Milliseconds(0)), {EventKind::kStreamFailed, {}, to, id});
  if (port != FakeAgent::Port::kOpen || !found->second.answer) return id;
  arrive(arrivalTime(Milliseconds(0)), {EventKind::kStreamConnected, {}, to, id});
  const auto decoded = wire::decode(wire::bytesOf(message));
  for (auto& answer : found->second.answer(std::get<wire::Message>(decoded), Via::kStream))
    arrive(arrivalTime(found->second.delay), {EventKind::kStreamMessage, answer, to, id});
  return id;
}

Transport::Event FakeNetwork::wait(TimePoint until) {
  Event event;
  for (;;) {
    const auto next = mArrivals.begin();
    const bool something = next != mArrivals.end() && next->first <= std::max(until, mNow);
    const auto reached = something ? std::max(mNow, next->first) : std::max(until, mNow);
    if (cancelAt && *cancelAt <= reached) {
      mNow = std::max(mNow, *cancelAt);
      event.kind = EventKind::kCancelled;
      return event;
    }
    mNow = reached;
    if (!something) return event;
    mCurrent = std::move(next->second);
    mArrivals.erase(next);
    if (mCurrent.stream != 0 && !mOpen.contains(mCurrent.stream)) continue;
    break;
  }
  event.kind = mCurrent.kind;
  event.bytes = wire::bytesOf(mCurrent.bytes);
  event.from = mCurrent.from;
  event.stream = mCurrent.stream;
  return event;
}

std::vector<net::Address> FakeNetwork::resolve(std::string_view host) {
  if (resolved++ == 0) sentBeforeResolving = sent.size();
  if (const auto numeric = net::Address::parse(host)) return {*numeric};
  elapse(resolving);
  const auto found = names.find(host);
  return found == names.end() ? std::vector<net::Address>{} : found->second;
}

net::Address address(std::string_view text) {
  const auto parsed = net::Address::parse(text);
  EXPECT_TRUE(parsed) << text;
  return parsed.value_or(net::Address{});
}

net::Endpoint endpoint(std::string_view text, std::uint16_t port) {
  return {address(text), port};
}

std::string reply(const wire::Message& request, const wire::Body& body, bool overflow) {
  wire::Header header = request.header;
  header.multicast = false;
  header.overflow = overflow;
  std::string bytes;
  EXPECT_TRUE(wire::encode(header, body, bytes));
  return bytes;
}

std::string serviceReply(const wire::Message& request, const std::vector<std::string>& urls, bool overflow,
                         std::uint16_t lifetime) {
  wire::ServiceReply body;
  for (const auto& url : urls)
    body.urls.push_back({lifetime, url, {}});
  return reply(request, body, overflow);
}

FakeAgent serviceAgent(const net::Endpoint& at, std::vector<std::string> urls) {
  FakeAgent agent;
  agent.endpoint = at;
  agent.answer = [urls = std::move(urls)](const wire::Message& request, Via via) -> std::vector<std::string> {
    const auto* services = std::get_if<wire::ServiceRequest>(&request.body);
    if (services == nullptr || asksForDirectoryAgents(request)) return {};
    if (urls.empty() && via == Via::kGroup) return {};
    return {serviceReply(request, urls)};
  };
  return agent;
}

FakeAgent attributeAgent(const net::Endpoint& at, std::string attributes) {
  FakeAgent agent;
  agent.endpoint = at;
  agent.answer = [attributes = std::move(attributes)](const wire::Message& request, Via) -> std::vector<std::string> {
    if (!std::holds_alternative<wire::AttributeRequest>(request.body)) return {};
    return {reply(request, wire::AttributeReply{wire::ErrorCode::kOk, attributes, {}})};
  };
  return agent;
}

FakeAgent directoryAgent(const net::Endpoint& at, std::vector<std::string> urls, std::string scopes) {
  FakeAgent agent;
  agent.endpoint = at;
  const auto own = "service:directory-agent://" + at.address.text();
  agent.answer = [urls = std::move(urls), scopes = std::move(scopes), own](const wire::Message& request,
                                                                           Via via) -> std::vector<std::string> {
    if (asksForDirectoryAgents(request)) {
      wire::DirectoryAgentAdvert advert;
      advert.bootTime = 1'000;
      advert.url = own;
      advert.scopes = scopes;
      return {reply(request, advert)};
    }
    if (via == Via::kGroup || !std::holds_alternative<wire::ServiceRequest>(request.body)) return {};
    return {serviceReply(request, urls)};
  };
  return agent;
}

}  // namespace slp::test
