#include "host/observe/MetricsText.h"

#include <array>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>
#include <sstream>
#include <utility>

namespace host {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

struct Help {
  std::string_view name;
  const char* text;
};

/// Of the counters and gauges that this program knows; the others are told in general terms.
constexpr std::array kHelp{Help{"announce_records", "Announce records that were received, by kind."},
                           Help{"announce_records_dropped", "Announce records that were dropped, by reason."},
                           Help{"details_fetches", "Details of discovered servers that were asked for, by outcome."},
                           Help{"discovery_jobs_running", "Jobs of the discovery pass that run."},
                           Help{"discovery_jobs_waiting", "Jobs of the discovery pass that wait for a thread."},
                           Help{"http_connections", "Connections of clients that are open."},
                           Help{"http_connections_dropped", "Connections of clients that were ended, by reason."},
                           Help{"http_streams", "Connections of clients that follow events."},
                           Help{"peers_fetches", "Calls to other servers, by outcome."},
                           Help{"servers_listed", "Servers in the list."},
                           Help{"slp_messages_dropped", "SLP messages that were received and are none, by kind."},
                           Help{"slp_messages_received", "SLP messages that were received, by kind."},
                           Help{"slp_messages_sent", "SLP messages that were sent, by kind."}};

std::string helpOf(const std::string& name, const char* otherwise) {
  for (const Help& help : kHelp) {
    if (help.name == name) return help.text;
  }
  return otherwise;
}

bool saysWhy(const std::string& counter) {
  return counter.ends_with("_dropped") || counter.ends_with("_failures");
}

ClientMetric metric(MetricType type, double value, Labels labels) {
  ClientMetric one;
  one.label = std::move(labels);
  (type == MetricType::Counter ? one.counter.value : one.gauge.value) = value;
  return one;
}

MetricFamily family(std::string name, std::string help, MetricType type) {
  return {std::move(name), std::move(help), type, {}};
}

MetricFamily single(std::string name, std::string help, MetricType type, double value, Labels labels = {}) {
  MetricFamily one = family(std::move(name), std::move(help), type);
  one.metric.push_back(metric(type, value, std::move(labels)));
  return one;
}

double seconds(std::chrono::system_clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

MetricFamily serversByState(const Sightings::Tally& servers) {
  MetricFamily states = family("kvt_servers", "Servers that were seen lately, by state.", MetricType::Gauge);
  const std::array<std::pair<const char*, std::size_t>, 4> counts{
      {{"seen", servers.seen}, {"verified", servers.verified}, {"failed", servers.failed}, {"left", servers.left}}};
  for (const auto& [state, count] : counts)
    states.metric.push_back(metric(MetricType::Gauge, static_cast<double>(count), {{"state", state}}));
  return states;
}

MetricFamily counterFamily(const std::string& counter, const Counts::Kinds& kinds) {
  MetricFamily counts = family("kvt_" + counter + "_total", helpOf(counter, "Counted by a plug-in, by kind."),  //
                               MetricType::Counter);
  for (const auto& [kind, count] : kinds) {
    const char* const label = saysWhy(counter) ? "reason" : "kind";
    counts.metric.push_back(metric(MetricType::Counter, static_cast<double>(count), {{label, kind}}));
  }
  return counts;
}

}  // namespace

std::vector<MetricFamily> metricFamilies(const MetricsFacts& facts) {
  std::vector<MetricFamily> families;
  families.push_back(single("kvt_build_info", "The version of the server; always 1.", MetricType::Gauge, 1,
                            {{"version", std::string(facts.version)}}));
  families.push_back(single("kvt_start_time_seconds", "When the server was started, since the epoch.",
                            MetricType::Gauge, seconds(facts.started.time_since_epoch())));
  families.push_back(single("kvt_discovery_pass_running", "1 while a discovery pass runs, else 0.", MetricType::Gauge,
                            facts.passes.isRunning ? 1 : 0));
  families.push_back(single("kvt_discovery_passes_total", "Discovery passes that have ended.", MetricType::Counter,
                            static_cast<double>(facts.passes.passes)));
  families.push_back(single("kvt_discovery_pass_seconds_total", "What these passes took together.", MetricType::Counter,
                            seconds(facts.passes.total)));
  families.push_back(serversByState(facts.servers));
  families.push_back(single("kvt_servers_by_hand", "Servers that somebody added.", MetricType::Gauge,
                            static_cast<double>(facts.servers.byHand)));
  for (const auto& [gauge, value] : facts.gauges)
    families.push_back(single("kvt_" + gauge, helpOf(gauge, "Measured by a plug-in."), MetricType::Gauge, value));
  for (const auto& [counter, kinds] : facts.counters)
    families.push_back(counterFamily(counter, kinds));
  return families;
}

std::string metricsText(const std::vector<MetricFamily>& families) {
  std::ostringstream text;
  prometheus::TextSerializer().Serialize(text, families);
  return text.str();
}

}  // namespace host
