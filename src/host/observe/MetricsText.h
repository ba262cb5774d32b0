#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/observe/Counts.h"
#include "host/observe/Sightings.h"

namespace prometheus {
struct MetricFamily;
}

namespace host {

/// How the discovery passes go.
struct PassState {
  bool isRunning = false;
  std::uint64_t passes = 0;           ///< that have ended
  std::chrono::milliseconds total{};  ///< which those took
};

/// What the page of metrics says beside the requests.
struct MetricsFacts {
  std::string_view version;
  std::chrono::system_clock::time_point started;
  PassState passes;
  Sightings::Tally servers;
  Counts::Counters counters;
  Counts::Gauges gauges;
};

std::vector<prometheus::MetricFamily> metricFamilies(const MetricsFacts& facts);

/// The text format that Prometheus reads.
std::string metricsText(const std::vector<prometheus::MetricFamily>& families);

}  // namespace host
