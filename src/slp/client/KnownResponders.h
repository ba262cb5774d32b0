#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "slp/net/Address.h"

namespace slp::client {

/// Who answered earlier searches: those who stay silent in the next one are asked by unicast, so that a lossy network
/// does not make services come and go; and who sent which URL, so that its attributes cost one round trip. Safe for
/// every thread; the oldest entries go when the limits, of number and of bytes, are reached.
class KnownResponders {
 public:
  /// `search` identifies a search: its kind, folded service type, scopes and language.
  void remember(const std::string& search, const net::Endpoint& responder);
  void forget(const std::string& search, const net::Endpoint& responder);
  std::vector<net::Endpoint> of(const std::string& search) const;

  /// A URL of more than limits::kMaxKnownUrl bytes is passed over.
  void rememberSender(std::string_view url, const net::Endpoint& sender);
  std::optional<net::Endpoint> senderOf(std::string_view url) const;
  void forgetSender(std::string_view url);

 private:
  // Most recently remembered first.
  using SearchOrder = std::list<std::pair<std::string, net::Endpoint>>;
  using SenderOrder = std::list<std::pair<std::string, net::Endpoint>>;

  void drop(const std::string& search, const net::Endpoint& responder);

  mutable std::mutex mMutex;
  SearchOrder mSearchOrder;
  std::size_t mSearchBytes = 0;  ///< of its texts
  std::unordered_map<std::string, std::map<net::Endpoint, SearchOrder::iterator>> mBySearch;
  SenderOrder mSenderOrder;
  std::size_t mSenderBytes = 0;
  std::unordered_map<std::string_view, SenderOrder::iterator> mByUrl;
};

}  // namespace slp::client
