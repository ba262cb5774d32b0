#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "slp/agent/Registration.h"
#include "slp/wire/Message.h"

namespace slp::agent {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

/// The registrations that this agent answers for, found by URL and by type without a scan. Safe for every thread;
/// visitors run under the registry's lock, must be quick and must not call it.
class Registry {
 public:
  /// One entry as a visitor sees it; the views live until it returns.
  struct Entry {
    std::string_view url;
    std::string_view serviceType;
    std::string_view scopes;
    std::string_view attributes;
    std::string_view language;
    std::uint16_t lifetime = 0;  ///< seconds that are left, begun ones counted; kLifetimeForever stays
    Owner owner = kThisProcess;
  };
  /// False ends the walk.
  using Visitor = std::function<bool(const Entry&)>;

  /// What is searched for by its type. A registration speaks a language when the primary parts of the tags are the
  /// same; of the registrations of one URL that do, one with the very dialect is preferred (RFC 2608, section 16).
  struct Search {
    std::string_view serviceType;  ///< an abstract one finds its concrete ones
    std::string_view scopes;
    std::string_view filter;    ///< empty: none
    std::string_view language;  ///< compared only with a filter or for attributes
  };
  /// kOk (also for nothing found), kParseError for a filter that cannot be read, kLanguageNotSupported when there are
  /// services of the type in the scopes, but with a filter none in the language.
  using Result = wire::ErrorCode;

  Registry();
  ~Registry();
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  /// Replaces entirely what is registered under the URL in the language, in its place in the order. A URL that this
  /// process registered is left alone by everyone else (kInvalidRegistration); beyond the limits kBusyNow; a lifetime
  /// of 0, no URL, type or language, or a text too long for a message kInvalidRegistration. Without a connection even
  /// the longest lifetime ends, after 65,535 seconds.
  wire::ErrorCode add(const Registration& registration, Owner owner, TimePoint now);
  /// Whatever the owner has under the URL, in every language. kInvalidRegistration when the owner has no such URL.
  wire::ErrorCode remove(std::string_view url, Owner owner);
  /// The URLs that went; one that was there in several languages once for each.
  std::vector<std::string> removeAll(Owner owner);
  /// Takes out what has reached the end of its lifetime, and returns its URLs in the same way. Nothing else does, so
  /// that none goes unnoticed.
  std::vector<std::string> expire(TimePoint now);
  std::optional<TimePoint> nextExpiry() const;

  /// Visits each URL once, in order of registration.
  Result findServices(const Search& search, TimePoint now, const Visitor& visit) const;
  /// The attributes of a URL in the language; without one of that language none (kLanguageNotSupported).
  Result findByUrl(std::string_view url, std::string_view scopes, std::string_view language, TimePoint now,
                   const Visitor& visit) const;
  /// The attributes of the services of a type (no filter; always by language) that `admit` lets in, merged into one
  /// list. `cut` when it would exceed `maxBytes`: then some services have not been looked at. `found` is the number of
  /// those that were let in.
  struct Merged {
    Result result = Result::kOk;
    std::string attributes;
    bool cut = false;
    std::size_t found = 0;
  };
  Merged mergeAttributes(const Search& search, std::string_view tags, TimePoint now, std::size_t maxBytes,
                         const Visitor& admit) const;
  /// Each type in the scopes once, in the spelling of its first registration, as they came; all authorities without
  /// one.
  void visitTypes(std::optional<std::string_view> namingAuthority, std::string_view scopes,
                  const std::function<bool(std::string_view)>& visit) const;
  std::vector<std::string> types(std::optional<std::string_view> namingAuthority, std::string_view scopes) const;

  std::vector<Registration> ofOwner(Owner owner) const;
  /// Whatever is registered under the URL, in every language, with the lifetimes that are left.
  std::vector<Registration> ofUrl(std::string_view url, TimePoint now) const;
  std::vector<Variant> variantsOf(std::string_view url, TimePoint now) const;
  /// Every URL once, and every type in each of its spellings, whatever their scopes.
  std::vector<std::string> urls() const;
  std::vector<std::string> allTypes() const;
  std::size_t size() const;
  /// Grows whenever a type appears or goes, so that group memberships can follow.
  std::uint64_t typesGeneration() const;

 private:
  struct State;
  mutable std::shared_mutex mMutex;
  std::unique_ptr<State> mState;
};

}  // namespace slp::agent
