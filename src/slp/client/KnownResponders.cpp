#include "slp/client/KnownResponders.h"

#include "slp/wire/Limits.h"

namespace slp::client {

void KnownResponders::remember(const std::string& search, const net::Endpoint& responder) {
  const std::lock_guard lock(mMutex);
  auto& known = mBySearch[search];
  if (const auto found = known.find(responder); found != known.end()) {
    mSearchOrder.splice(mSearchOrder.begin(), mSearchOrder, found->second);
    return;
  }
  mSearchOrder.emplace_front(search, responder);
  known.emplace(responder, mSearchOrder.begin());
  mSearchBytes += search.size();
  while (mSearchOrder.size() > limits::kMaxKnownResponders || mSearchBytes > limits::kMaxKnownBytes) {
    const auto oldest = mSearchOrder.back();
    drop(oldest.first, oldest.second);
  }
}

void KnownResponders::forget(const std::string& search, const net::Endpoint& responder) {
  const std::lock_guard lock(mMutex);
  drop(search, responder);
}

void KnownResponders::drop(const std::string& search, const net::Endpoint& responder) {
  const auto known = mBySearch.find(search);
  if (known == mBySearch.end()) return;
  const auto found = known->second.find(responder);
  if (found == known->second.end()) return;
  mSearchOrder.erase(found->second);
  mSearchBytes -= search.size();
  known->second.erase(found);
  if (known->second.empty()) mBySearch.erase(known);
}

std::vector<net::Endpoint> KnownResponders::of(const std::string& search) const {
  const std::lock_guard lock(mMutex);
  std::vector<net::Endpoint> responders;
  const auto known = mBySearch.find(search);
  if (known == mBySearch.end()) return responders;
  responders.reserve(known->second.size());
  for (const auto& [responder, position] : known->second)
    responders.push_back(responder);
  return responders;
}

void KnownResponders::rememberSender(std::string_view url, const net::Endpoint& sender) {
  if (url.size() > limits::kMaxKnownUrl) return;
  const std::lock_guard lock(mMutex);
  if (const auto found = mByUrl.find(url); found != mByUrl.end()) {
    found->second->second = sender;
    mSenderOrder.splice(mSenderOrder.begin(), mSenderOrder, found->second);
    return;
  }
  mSenderOrder.emplace_front(url, sender);
  mByUrl.emplace(mSenderOrder.front().first, mSenderOrder.begin());
  mSenderBytes += url.size();
  while (mSenderOrder.size() > limits::kMaxKnownSenders || mSenderBytes > limits::kMaxKnownBytes) {
    mSenderBytes -= mSenderOrder.back().first.size();
    mByUrl.erase(mSenderOrder.back().first);
    mSenderOrder.pop_back();
  }
}

std::optional<net::Endpoint> KnownResponders::senderOf(std::string_view url) const {
  const std::lock_guard lock(mMutex);
  const auto found = mByUrl.find(url);
  if (found == mByUrl.end()) return std::nullopt;
  return found->second->second;
}

void KnownResponders::forgetSender(std::string_view url) {
  const std::lock_guard lock(mMutex);
  const auto found = mByUrl.find(url);
  if (found == mByUrl.end()) return;
  const auto position = found->second;
  mSenderBytes -= url.size();
  mByUrl.erase(found);
  mSenderOrder.erase(position);
}

}  // namespace slp::client
