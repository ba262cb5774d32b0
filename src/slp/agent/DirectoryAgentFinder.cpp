#include "slp/agent/DirectoryAgentFinder.h"

#include <algorithm>

#include "slp/wire/Codec.h"
#include "slp/wire/Limits.h"
#include "slp/wire/Message.h"
#include "slp/wire/ServiceType.h"

namespace slp::agent {
namespace {

constexpr std::size_t kSilentRoundsAtTheEnd = 2;

}  // namespace

DirectoryAgentFinder::DirectoryAgentFinder(Settings settings, PeerSender& sender, std::uint32_t seed)
    : mSettings(std::move(settings)), mSender(sender), mXid(static_cast<std::uint16_t>(seed)) {}

std::uint16_t DirectoryAgentFinder::nextXid() {
  if (++mXid == 0) ++mXid;
  return mXid;
}

std::string DirectoryAgentFinder::request(std::uint16_t xid, bool multicast) const {
  std::string responders;
  if (multicast)
    for (const std::string& responder : mResponders)
      responders += (responders.empty() ? "" : ",") + responder;
  wire::Header header;
  header.multicast = multicast;
  header.xid = xid;
  header.language = mSettings.language;
  wire::ServiceRequest body;
  body.previousResponders = responders;
  body.serviceType = wire::kDirectoryAgentType;
  body.scopes = mSettings.scopes;
  std::string bytes;
  if (!wire::encode(header, body, bytes) || bytes.size() > mSettings.maxDatagramMessage) bytes.clear();
  return bytes;
}

void DirectoryAgentFinder::search(TimePoint at) {
  if (mSearchDue || mSettings.discoveryTimeouts.empty()) return;
  mSearchDue = at;
  mSearchXid = nextXid();
  mRound = 0;
  mSilentRounds = 0;
  mNewResponder = true;  // there is no round yet that could have been silent
  mResponders.clear();
}

void DirectoryAgentFinder::searchOn(TimePoint now) {
  mSilentRounds = mNewResponder ? 0 : mSilentRounds + 1;
  mNewResponder = false;
  const std::string message = request(mSearchXid, true);
  if (message.empty() || mRound == mSettings.discoveryTimeouts.size() || mSilentRounds == kSilentRoundsAtTheEnd) {
    mSearchDue.reset();
    return;
  }
  mSender.multicast(message);
  mSearchDue = now + mSettings.discoveryTimeouts[mRound++];
}

void DirectoryAgentFinder::ask(const net::Endpoint& agent, TimePoint now) {
  if (mQuestions.size() >= limits::kMaxDirectoryAgents) return;
  const auto [question, isNew] = mQuestions.try_emplace(agent);
  question->second.rumour = false;
  if (!isNew) return;
  question->second.xid = nextXid();
  question->second.due = now;
}

std::size_t DirectoryAgentFinder::rumours() const {
  return static_cast<std::size_t>(
      std::count_if(mQuestions.begin(), mQuestions.end(), [](const auto& entry) { return entry.second.rumour; }));
}

void DirectoryAgentFinder::check(const net::Endpoint& agent, TimePoint now) {
  if (const auto question = mQuestions.find(agent); question != mQuestions.end()) {
    // It was silent as a configured one, and seems to be back.
    if (!question->second.rumour && question->second.tries == 0) question->second.due = now;
    return;
  }
  if (rumours() < kMaxRumours) mQuestions[agent] = {nextXid(), 0, now, true};
}

void DirectoryAgentFinder::known(const net::Endpoint& agent) {
  const auto question = mQuestions.find(agent);
  if (question != mQuestions.end() && !question->second.rumour) mQuestions.erase(question);
}

bool DirectoryAgentFinder::answered(const net::Endpoint& from, std::uint16_t xid) {
  if (const auto question = mQuestions.find(from); question != mQuestions.end() && question->second.xid == xid) {
    mQuestions.erase(question);
    return true;
  }
  if (!mSearchDue || mRound == 0 || xid != mSearchXid) return false;
  std::string responder = from.address.text();
  if (mResponders.size() < limits::kMaxDirectoryAgents &&
      std::find(mResponders.begin(), mResponders.end(), responder) == mResponders.end()) {
    mResponders.push_back(std::move(responder));
    mNewResponder = true;
  }
  return true;
}

std::vector<net::Endpoint> DirectoryAgentFinder::work(TimePoint now) {
  if (mSearchDue && *mSearchDue <= now) searchOn(now);
  std::vector<net::Endpoint> silent;
  for (auto entry = mQuestions.begin(); entry != mQuestions.end();) {
    const auto current = entry++;
    auto& [agent, question] = *current;
    if (question.due > now) continue;
    const std::vector<std::chrono::milliseconds>& waits = mSettings.datagramTimeouts;
    const std::size_t allowed = question.rumour ? std::min(waits.size(), kRumourTries) : waits.size();
    if (question.tries < allowed) {
      mSender.datagram(agent, request(question.xid, false));
      question.due = now + waits[waits.size() - allowed + question.tries++];  // the long ones of them
      continue;
    }
    silent.push_back(agent);
    question.tries = 0;
    question.due = now + kAskAgain;
    if (question.rumour) mQuestions.erase(current);
  }
  return silent;
}

std::optional<DirectoryAgentFinder::TimePoint> DirectoryAgentFinder::next() const {
  std::optional<TimePoint> result = mSearchDue;
  for (const auto& [agent, question] : mQuestions)
    result = result ? std::min(*result, question.due) : question.due;
  return result;
}

}  // namespace slp::agent
