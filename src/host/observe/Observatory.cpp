#include "host/observe/Observatory.h"

#include <iterator>
#include <prometheus/metric_family.h>
#include <utility>

#include "host/Version.h"

namespace host {
namespace {

/// Its own metric: one family, a label for each queue.
prometheus::MetricFamily queueFamily(const Observatory::Queues& queues) {
  prometheus::MetricFamily family{
      "kvt_queue_length", "What waits for a thread, by queue.", prometheus::MetricType::Gauge, {}};
  for (const auto& [name, length] : queues) {
    prometheus::ClientMetric metric;
    metric.label = {{"queue", name}};
    metric.gauge.value = static_cast<double>(length);
    family.metric.push_back(std::move(metric));
  }
  return family;
}

void addFront(MetricsFacts& facts, const FrontCounts& front) {
  facts.gauges["http_connections"] = static_cast<double>(front.connections);
  facts.gauges["http_streams"] = static_cast<double>(front.streams);
  facts.counters["http_connections_dropped"] = {{"gave way", front.evicted},
                                                {"too many", front.refused},
                                                {"handshake", front.failedHandshakes},
                                                {"request", front.refusedRequests}};
}

}  // namespace

Observatory::Observatory(Now now) : mNow(std::move(now)), mStarted(mNow()) {}

void Observatory::sighted(const utils::Sighting& sighting) {
  if (mSightings.take(sighting, mNow())) changed();
}

void Observatory::passBegan() {
  {
    const std::lock_guard lock(mMutex);
    mDiscovery.state.isRunning = true;
    mPassBegan = mNow();
  }
  changed();
}

void Observatory::passEnded(const utils::PassReport& report) {
  {
    const std::lock_guard lock(mMutex);
    mDiscovery.state.isRunning = false;
    ++mDiscovery.state.passes;
    mDiscovery.state.total += report.duration;
    mDiscovery.last = Pass{mPassBegan, report};
  }
  changed();
}

void Observatory::counted(std::string_view counter, std::string_view kind, unsigned long by) {
  mCounts.count(counter, kind, by);
}

void Observatory::measured(std::string_view gauge, double value) {
  mCounts.measure(gauge, value);
}

void Observatory::inventoryChanged() {
  changed();
}

void Observatory::requestServed(const std::string& resource, std::string_view method, int status,
                                std::chrono::nanoseconds duration) {
  mRequests.served(resource, method, status, duration);
}

void Observatory::onChange(std::function<void()> listener) {
  const std::lock_guard lock(mMutex);
  mListener.swap(listener);
}

void Observatory::changed() const {
  std::unique_lock lock(mMutex);
  const auto listener = mListener;
  lock.unlock();
  if (listener) listener();
}

Observatory::Discovery Observatory::discovery() const {
  const std::lock_guard lock(mMutex);
  return mDiscovery;
}

void Observatory::provide(const std::string& member, Provider provider) {
  const std::lock_guard lock(mMutex);
  mProviders[member].swap(provider);
}

void Observatory::provideQueues(std::function<Queues()> provider) {
  const std::lock_guard lock(mMutex);
  mQueues.swap(provider);
}

void Observatory::provideFront(std::function<FrontCounts()> provider) {
  const std::lock_guard lock(mMutex);
  mFront.swap(provider);
}

json::Object Observatory::provided() const {
  std::unique_lock lock(mMutex);
  const auto providers = mProviders;
  lock.unlock();
  json::Object members;
  for (const auto& [member, provider] : providers) {
    if (provider) members[member] = provider();
  }
  return members;
}

Observatory::Queues Observatory::queues() const {
  std::unique_lock lock(mMutex);
  const auto provider = mQueues;
  lock.unlock();
  return provider ? provider() : Queues();
}

std::string Observatory::metrics() const {
  std::unique_lock lock(mMutex);
  const auto front = mFront;
  lock.unlock();
  MetricsFacts facts{kVersion, mStarted, discovery().state, mSightings.tally(), mCounts.counters(), mCounts.gauges()};
  if (front) addFront(facts, front());
  auto families = metricFamilies(facts);
  families.push_back(queueFamily(queues()));
  auto requests = mRequests.collect();
  families.insert(families.end(), std::make_move_iterator(requests.begin()), std::make_move_iterator(requests.end()));
  return metricsText(families);
}

}  // namespace host
