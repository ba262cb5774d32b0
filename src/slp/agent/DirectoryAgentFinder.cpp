#include "slp/agent/DirectoryAgentFinder.h"

#include <algorithm>

#include "slp/agent/Due.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Limits.h"
#include "slp/wire/Message.h"
#include "slp/wire/ServiceType.h"

namespace slp::agent {

DirectoryAgentFinder::DirectoryAgentFinder(Settings settings, PeerSender& sender, std::uint32_t seed)
    : mSettings(std::move(settings)), mSender(sender), mXids(seed) {}

std::string DirectoryAgentFinder::request(std::uint16_t xid, bool multicast,
                                          std::string_view previousResponders) const {
  wire::Header header;
  header.multicast = multicast;
  header.xid = xid;
  header.language = mSettings.language;
  wire::ServiceRequest body;
  body.previousResponders = previousResponders;
  body.serviceType = wire::kDirectoryAgentType;
  body.scopes = mSettings.scopes;
  std::string bytes;
  if (!wire::encode(header, body, bytes) || bytes.size() > mSettings.maxDatagramMessage) bytes.clear();
  return bytes;
}

void DirectoryAgentFinder::search(TimePoint at) {
  if (mRounds) return;
  // The list may outgrow the datagram, which ends the search: nobody needs so many agents.
  mRounds.emplace(mSettings.discoveryTimeouts, mSettings.maxDatagramMessage);
  mSearchDue = at;
  mSearchXid = mXids.next();
}

void DirectoryAgentFinder::searchOn(TimePoint now) {
  std::string message;
  if (mRounds->step(now) == client::Convergence::Step::kSend)
    message = request(mSearchXid, true, mRounds->previousResponders());
  mSearchDue = mRounds->due();
  if (message.empty())
    mRounds.reset();
  else
    mSender.multicast(message);
}

void DirectoryAgentFinder::ask(const net::Endpoint& agent, TimePoint now) {
  if (mQuestions.size() >= limits::kMaxDirectoryAgents) return;
  const auto [question, isNew] = mQuestions.try_emplace(agent);
  question->second.rumour = false;
  if (!isNew) return;
  question->second.xid = mXids.next();
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
  if (rumours() < kMaxRumours) mQuestions[agent] = {mXids.next(), 0, now, true};
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
  if (!mRounds || mRounds->rounds() == 0 || xid != mSearchXid) return false;
  mRounds->answered(from.address);
  return true;
}

std::vector<net::Endpoint> DirectoryAgentFinder::work(TimePoint now) {
  if (mRounds && mSearchDue <= now) searchOn(now);
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
  std::optional<TimePoint> result;
  if (mRounds) result = mSearchDue;
  for (const auto& [agent, question] : mQuestions)
    result = earlier(result, question.due);
  return result;
}

}  // namespace slp::agent
