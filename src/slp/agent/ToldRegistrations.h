#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "slp/agent/Registration.h"
#include "slp/wire/Message.h"

namespace slp::agent {

/// What one peer (a directory agent, or the agent that holds the port of this machine) has been told of our
/// registrations, and what it is to be told next: a state machine without sockets, whose time is the caller's. Texts
/// are not kept here. One URL has one request under way at a time, because datagrams overtake one another and a
/// deregistration takes every language of a URL. For one thread.
class ToldRegistrations {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Key {
    std::string url;
    std::string language;
    auto operator<=>(const Key&) const = default;
  };

  using Wanted = Variant;  ///< with the scopes that the peer shares with the registration

  struct Task {
    bool deregister = false;
    Key key;
    std::string scopes;  ///< a deregistration needs those that were told (RFC 2608, section 10.6)
  };

  /// How soon the peer is asked again when it is busy, doubled each time up to the second.
  static constexpr std::chrono::seconds kFirstRetry{1};
  static constexpr std::chrono::seconds kLastRetry{60};

  /// `refusedAgain`: a registration that the peer refuses is told again after this; without it, only once something
  /// changes.
  explicit ToldRegistrations(std::optional<std::chrono::seconds> refusedAgain = std::nullopt)
      : mRefusedAgain(refusedAgain) {}

  /// These, and only these, are to be known of the URL; each is told again, because it may have changed, by `due`.
  void set(std::string_view url, const std::vector<Wanted>& wanted, TimePoint due);
  /// No URL but these, which are sorted, is to be known any more.
  void keepOnly(const std::vector<std::string>& sortedUrls, TimePoint due);
  /// The peer has lost what it knew.
  void tellAgain(TimePoint due);
  /// The connection has ended, and perhaps with it what the peer knew. All is due again, what it has answered longest
  /// ago first: a peer that takes one thing from each connection comes to know everything.
  void connectionEnded();
  /// Everything that the peer knows is to be withdrawn, now.
  void withdrawAll(TimePoint now);

  /// The next thing to tell; it counts as under way until `done` or `unanswered`.
  std::optional<Task> take(TimePoint now);
  /// The peer has answered. A registration that it took is due again after `refresh`; one that it refuses is given up
  /// for the time being; a busy peer is asked again. True when it was refused.
  bool done(const Task& task, wire::ErrorCode error, TimePoint now, std::optional<std::chrono::seconds> refresh);
  /// No answer, or it could not be sent; what was wanted last is due again after a while.
  void unanswered(const Task& task, TimePoint now);

  /// When the next thing is due; nothing when there is none.
  std::optional<TimePoint> next() const;
  std::size_t underWay() const { return mUnderWay; }
  std::size_t size() const { return mItems.size(); }

 private:
  struct Item {
    std::string scopes;      ///< wanted
    std::string toldScopes;  ///< told, or being told
    bool wanted = false;
    bool told = false;
    bool underWay = false;
    bool changed = false;  ///< while it was under way
    unsigned failures = 0;
    std::optional<TimePoint> due;
    TimePoint answered{};
  };
  using Items = std::map<Key, Item>;
  struct Earlier {
    bool operator()(const std::pair<TimePoint, const Key*>& left, const std::pair<TimePoint, const Key*>& right) const {
      return left.first != right.first ? left.first < right.first : *left.second < *right.second;
    }
  };

  void schedule(Items::value_type& entry, std::optional<TimePoint> due);
  void erase(Items::iterator item);
  void unwant(Items::iterator item, TimePoint due);
  void retryLater(Items::value_type& entry, TimePoint now);
  void tellSiblings(const Key& key, TimePoint now);
  bool siblingUnderWay(const std::string& url) const;
  Items::iterator finish(const Task& task);

  std::optional<std::chrono::seconds> mRefusedAgain;
  Items mItems;
  std::set<std::pair<TimePoint, const Key*>, Earlier> mQueue;  ///< the keys live in mItems
  std::size_t mUnderWay = 0;
};

}  // namespace slp::agent
