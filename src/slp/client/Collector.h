#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>

#include "slp/client/KnownResponders.h"
#include "slp/client/Queries.h"
#include "slp/client/Transport.h"
#include "slp/wire/Limits.h"
#include "slp/wire/Message.h"

namespace slp::client {

/// Who sent an answer, and how much it is worth.
struct Source {
  net::Endpoint agent;    ///< where it can be asked for more
  bool inCharge = false;  ///< asked because the question is about what it has itself
  bool cut = false;       ///< the answer did not fit; the whole of it is asked for
};

/// Makes results of answers: checks them, takes each once and hands it out, while the clock of the search stands still.
/// For one thread.
class Collector {
 public:
  /// Of an answer: it has nothing, it has results (even if they had been seen before); no more are needed; the one who
  /// searches wants no more.
  enum class Taken { kNothing, kResults, kEnough, kStopped };

  /// `maxResults`: less than 1 for all.
  Collector(Transport& transport, int maxResults);
  virtual ~Collector() = default;
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  /// Of an answer without an error.
  virtual Taken take(const wire::Body& answer, const Source& source) = 0;
  /// Whether an answer is of no use because it was cut, and the whole of it has not come.
  virtual bool lacksAnswer() const { return false; }
  std::size_t results() const { return mResults; }

 protected:
  /// Calls `give`, unless `key` has had its call before, or the results would become more than fit.
  template <typename Give>
  Taken once(std::string key, Give give) {
    const std::size_t size = key.size();
    if (size > limits::kMaxResultBytes - mBytes) return Taken::kEnough;
    if (!mSeen.insert(std::move(key)).second) return Taken::kResults;
    ++mResults;
    mBytes += size;
    mTransport.pauseClock();
    const bool more = give();
    mTransport.resumeClock();
    if (!more) return Taken::kStopped;
    return mResults >= mMaxResults ? Taken::kEnough : Taken::kResults;
  }

 private:
  Transport& mTransport;
  std::size_t mMaxResults;
  std::size_t mResults = 0;
  std::size_t mBytes = 0;  ///< of mSeen; at most limits::kMaxResultBytes
  std::unordered_set<std::string> mSeen;
};

/// URLs. What comes from the network must be of the type asked for by its own text, so that nobody can slip a URL of
/// another scheme ("https://...") into a list of services. Remembers who sent it.
class ServiceCollector final : public Collector {
 public:
  ServiceCollector(const ServiceQuery& query, Transport& transport, int maxResults, KnownResponders& responders,
                   const UrlSink& sink);
  Taken take(const wire::Body& answer, const Source& source) override;
  Taken takeOwn(std::string_view url, std::uint16_t lifetime);

 private:
  Taken takeFrom(std::string_view url, std::uint16_t lifetime, const Source& source);
  bool isWanted(std::string_view url) const;

  std::string mType;
  KnownResponders& mResponders;
  const UrlSink& mSink;
};

/// Service types, each once, whatever its case.
class TypeCollector final : public Collector {
 public:
  TypeCollector(const TypeQuery& query, Transport& transport, int maxResults, const TextSink& sink);
  Taken take(const wire::Body& answer, const Source& source) override;
  Taken takeOwn(std::string_view type);

 private:
  std::optional<std::string> mAuthority;
  const TextSink& mSink;
};

/// Attribute lists: of a type each distinct one; of a URL the first. An empty list says that the agent does not know
/// the URL, or nobody of the type, except when it comes from the agent whose URL it is. A list that was cut is none: it
/// ends in the middle of a value, and nobody could tell. Remembers who knows the URL.
class AttributeCollector final : public Collector {
 public:
  AttributeCollector(const AttributeQuery& query, Transport& transport, int maxResults, KnownResponders& responders,
                     const TextSink& sink);
  Taken take(const wire::Body& answer, const Source& source) override;
  Taken takeOwn(std::string_view attributes);
  bool lacksAnswer() const override { return !mCut.empty(); }

 private:
  std::string mUrl;  ///< empty when the question is about a type
  KnownResponders& mResponders;
  const TextSink& mSink;
  std::set<net::Endpoint> mCut;  ///< agents whose list was cut, and has not come whole
};

}  // namespace slp::client
