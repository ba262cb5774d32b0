#include "slp/client/Collector.h"

#include <algorithm>
#include <utility>

#include "slp/client/Request.h"
#include "slp/wire/Limits.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/StringList.h"
#include "slp/wire/Text.h"

namespace slp::client {
namespace {

/// Text that may be handed out and logged: something, and no control characters.
bool isClean(std::string_view text) {
  return !text.empty() && std::none_of(text.begin(), text.end(), wire::isControl);
}

}  // namespace

Collector::Collector(Transport& transport, int maxResults)
    : mTransport(transport),
      mMaxResults(maxResults < 1 ? limits::kMaxResults
                                 : std::min(static_cast<std::size_t>(maxResults), limits::kMaxResults)) {}

ServiceCollector::ServiceCollector(const ServiceQuery& query, Transport& transport, int maxResults,
                                   KnownResponders& responders, const UrlSink& sink)
    : Collector(transport, maxResults), mType(query.serviceType), mResponders(responders), mSink(sink) {}

Collector::Taken ServiceCollector::take(const wire::Body& answer, const Source& source) {
  if (const auto* advert = std::get_if<wire::DirectoryAgentAdvert>(&answer))
    return advert->bootTime == 0 ? Taken::kNothing : takeFrom(advert->url, 0, source);
  if (const auto* advert = std::get_if<wire::ServiceAgentAdvert>(&answer)) return takeFrom(advert->url, 0, source);
  const auto* reply = std::get_if<wire::ServiceReply>(&answer);
  auto taken = Taken::kNothing;
  if (reply == nullptr) return taken;
  for (const auto& entry : reply->urls) {
    taken = std::max(taken, takeFrom(entry.url, entry.lifetime, source));
    if (taken >= Taken::kEnough) break;
  }
  return taken;
}

Collector::Taken ServiceCollector::takeFrom(std::string_view url, std::uint16_t lifetime, const Source& source) {
  if (!isWanted(url)) return Taken::kNothing;
  return once(std::string(url), [&] {
    mResponders.rememberSender(url, source.agent);
    return mSink(url, lifetime);
  });
}

Collector::Taken ServiceCollector::takeOwn(std::string_view url, std::uint16_t lifetime) {
  return once(std::string(url), [&] { return mSink(url, lifetime); });
}

bool ServiceCollector::isWanted(std::string_view url) const {
  return isClean(url) && wire::covers(mType, wire::serviceTypeOf(url));
}

TypeCollector::TypeCollector(const TypeQuery& query, Transport& transport, int maxResults, const TextSink& sink)
    : Collector(transport, maxResults), mAuthority(query.namingAuthority), mSink(sink) {}

Collector::Taken TypeCollector::take(const wire::Body& answer, const Source&) {
  const auto* reply = std::get_if<wire::ServiceTypeReply>(&answer);
  auto taken = Taken::kNothing;
  if (reply == nullptr) return taken;
  for (const auto type : wire::splitList(reply->types)) {
    if (!isClean(type)) continue;
    if (mAuthority && !wire::equalFolded(wire::namingAuthority(type), *mAuthority)) continue;
    taken = std::max(taken, takeOwn(type));
    if (taken >= Taken::kEnough) break;
  }
  return taken;
}

Collector::Taken TypeCollector::takeOwn(std::string_view type) {
  return once(wire::folded(type), [&] { return mSink(type); });
}

AttributeCollector::AttributeCollector(const AttributeQuery& query, Transport& transport, int maxResults,
                                       KnownResponders& responders, const TextSink& sink)
    : Collector(transport, maxResults),
      mUrl(wire::isServiceType(query.urlOrType) ? std::string() : query.urlOrType),
      mResponders(responders),
      mSink(sink) {}

Collector::Taken AttributeCollector::take(const wire::Body& answer, const Source& source) {
  const auto* reply = std::get_if<wire::AttributeReply>(&answer);
  if (reply == nullptr) return Taken::kNothing;
  if (source.cut) {
    if (mCut.size() < limits::kMaxKnownResponders) mCut.insert(source.agent);
    return Taken::kNothing;
  }
  mCut.erase(source.agent);
  const bool ofUrl = !mUrl.empty();
  if (reply->attributes.empty() && !(ofUrl && source.inCharge)) return Taken::kNothing;
  if (ofUrl) mResponders.rememberSender(mUrl, source.agent);
  return takeOwn(reply->attributes);
}

Collector::Taken AttributeCollector::takeOwn(std::string_view attributes) {
  const auto taken = once(std::string(attributes), [&] { return mSink(attributes); });
  return !mUrl.empty() && taken == Taken::kResults ? Taken::kEnough : taken;
}

}  // namespace slp::client
