#include "host/observe/RequestMetrics.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <set>

namespace host {
namespace {

constexpr const char* kOther = "other";
constexpr std::array<std::string_view, 5> kMethods{"GET", "HEAD", "POST", "PUT", "DELETE"};

/// Seconds. From what a small document takes to what a search of a silent address takes.
const prometheus::Histogram::BucketBoundaries& buckets() {
  static const prometheus::Histogram::BucketBoundaries bounds{0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1,
                                                              0.25,  0.5,    1,     2.5,  5,     10,   30};
  return bounds;
}

std::string methodLabel(std::string_view method) {
  return std::find(kMethods.begin(), kMethods.end(), method) == kMethods.end() ? kOther : std::string(method);
}

std::string statusLabel(int status) {
  return status >= 100 && status < 600 ? std::to_string(status / 100) + "xx" : kOther;
}

}  // namespace

struct RequestMetrics::State {
  prometheus::Registry registry;
  prometheus::Family<prometheus::Counter>& requests =
      prometheus::BuildCounter()
          .Name("kvt_http_requests_total")
          .Help("Requests that were answered, by resource, method and class of status.")
          .Register(registry);
  prometheus::Family<prometheus::Histogram>& durations =
      prometheus::BuildHistogram()
          .Name("kvt_http_request_duration_seconds")
          .Help("From a request's arrival as a whole to its answer, by resource and method.")
          .Register(registry);
  std::mutex mutex;  ///< guards what follows
  std::set<std::string> resources;

  std::string resourceLabel(const std::string& resource) {
    if (resource.empty()) return kOther;
    const std::lock_guard lock(mutex);
    if (resources.size() < kMostResources) resources.insert(resource);
    return resources.contains(resource) ? resource : kOther;
  }
};

RequestMetrics::RequestMetrics() : mState(std::make_unique<State>()) {}
RequestMetrics::~RequestMetrics() = default;

void RequestMetrics::served(const std::string& resource, std::string_view method, int status,
                            std::chrono::nanoseconds duration) {
  const prometheus::Labels labels{{"resource", mState->resourceLabel(resource)}, {"method", methodLabel(method)}};
  prometheus::Labels withStatus = labels;
  withStatus.emplace("status", statusLabel(status));
  mState->requests.Add(withStatus).Increment();
  mState->durations.Add(labels, buckets()).Observe(std::chrono::duration<double>(duration).count());
}

std::vector<prometheus::MetricFamily> RequestMetrics::collect() const {
  return mState->registry.Collect();
}

}  // namespace host
