#include "framework/launcher/ResourceTable.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "framework/http/UriTemplate.h"

namespace launcher {
namespace {

/// Calls `visit` for each segment of a template.
template <typename Visit>
void forEachSegment(std::string_view uriTemplate, Visit visit) {
  for (;;) {
    const auto slash = uriTemplate.find('/');
    visit(uriTemplate.substr(0, slash));
    if (slash == std::string_view::npos) return;
    uriTemplate.remove_prefix(slash + 1);
  }
}

/// The template without the names of its parameters.
std::string shape(const std::string& uriTemplate) {
  std::string text;
  forEachSegment(uriTemplate, [&](std::string_view segment) {
    text += '/';
    text += http::isUriParameter(segment) ? std::string_view("{}") : segment;
  });
  return text;
}

/// One letter for each segment; literal ones rank below parameters.
std::string rank(const std::string& uriTemplate) {
  std::string text;
  forEachSegment(uriTemplate, [&](std::string_view segment) { text += http::isUriParameter(segment) ? 'p' : 'l'; });
  return text;
}

}  // namespace

void ProxyUse::enter() {
  const std::lock_guard lock(mMutex);
  ++mRunning;
}

void ProxyUse::leave() {
  const std::lock_guard lock(mMutex);
  if (--mRunning == 0) mIdle.notify_all();
}

void ProxyUse::waitUntilIdle() {
  std::unique_lock lock(mMutex);
  mIdle.wait(lock, [this] { return mRunning == 0; });
}

bool ResourceTable::add(const http::RestApi& api, plugins::BasePluginProxy* proxy, bool inProcess) {
  const bool exists = std::any_of(mResources.begin(), mResources.end(), [&](const ResourcePtr& other) {
    return other->api.verb() == api.verb() && shape(other->api.uri()) == shape(api.uri());
  });
  if (proxy == nullptr || exists) return false;
  auto resource = std::make_shared<Resource>(Resource{api, inProcess, useOf(proxy)});
  const auto where = std::upper_bound(
      mResources.begin(), mResources.end(), rank(api.uri()),
      [](const std::string& ranked, const ResourcePtr& other) { return ranked < rank(other->api.uri()); });
  mResources.insert(where, std::move(resource));
  return true;
}

std::vector<ResourceTable::ResourcePtr> ResourceTable::remove(const plugins::BasePluginProxy* proxy) {
  const auto kept = std::stable_partition(mResources.begin(), mResources.end(),
                                          [&](const ResourcePtr& resource) { return resource->use->proxy() != proxy; });
  std::vector<ResourcePtr> removed(kept, mResources.end());
  mResources.erase(kept, mResources.end());
  return removed;
}

ResourceTable::Match ResourceTable::match(http::RestApi::RestVerb_ verb, const std::string& path,
                                          http::HTTPCommand::Origin_ origin) const {
  Match result;
  for (const auto& resource : mResources) {
    if (resource->inProcess && origin == http::HTTPCommand::ORIGIN_CLIENT) continue;
    auto parameters = http::matchUriTemplate(resource->api.uri(), path);
    if (!parameters) continue;
    if (resource->api.verb() == verb) return {resource, false, std::move(*parameters)};
    result.otherVerb = true;
  }
  return result;
}

std::vector<plugins::BasePluginProxy*> ResourceTable::proxies() const {
  std::vector<plugins::BasePluginProxy*> proxies;
  for (const auto& resource : mResources) {
    plugins::BasePluginProxy* const proxy = resource->use->proxy();
    if (std::find(proxies.begin(), proxies.end(), proxy) == proxies.end()) proxies.push_back(proxy);
  }
  return proxies;
}

std::shared_ptr<ProxyUse> ResourceTable::useOf(plugins::BasePluginProxy* proxy) const {
  const auto known = std::find_if(mResources.begin(), mResources.end(),
                                  [&](const ResourcePtr& resource) { return resource->use->proxy() == proxy; });
  return known != mResources.end() ? (*known)->use : std::make_shared<ProxyUse>(proxy);
}

}  // namespace launcher
