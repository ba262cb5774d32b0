#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/observe/Observatory.h"

namespace {

using host::Observatory;
using testing::HasSubstr;
using testing::Not;

TEST(Metrics, HaveTheVersionThatRuns) {
  EXPECT_THAT(Observatory().metrics(), HasSubstr("kvt_build_info{version=\""));
}

TEST(Metrics, CountPassesAndTheirTime) {
  Observatory observatory;
  observatory.passBegan();
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_discovery_pass_running 1\n"));
  observatory.passEnded({std::chrono::milliseconds(1'500), 3, 2});
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_discovery_pass_running 0\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_discovery_passes_total 1\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_discovery_pass_seconds_total 1.5\n"));
}

TEST(Metrics, ShowServersByState) {
  Observatory observatory;
  using utils::Sighting;
  observatory.sighted({"a", "", Sighting::Source::kSlp, Sighting::Outcome::kVerified, ""});
  observatory.sighted({"b", "", Sighting::Source::kByHand, Sighting::Outcome::kFailed, ""});
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_servers{state=\"verified\"} 1\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_servers{state=\"failed\"} 1\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_servers{state=\"left\"} 0\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_servers_by_hand 1\n"));
}

TEST(Metrics, ShowCountersByKindOrReasonAndGauges) {
  Observatory observatory;
  observatory.counted("announce_records", "join", 2);
  observatory.counted("announce_records_dropped", "unknown kind", 3);
  observatory.measured("discovery_jobs_waiting", 4);
  EXPECT_THAT(observatory.metrics(), HasSubstr("# TYPE kvt_announce_records_total counter\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_announce_records_total{kind=\"join\"} 2\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_announce_records_dropped_total{reason=\"unknown kind\"} 3\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("# TYPE kvt_discovery_jobs_waiting gauge\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_discovery_jobs_waiting 4\n"));
}

TEST(Metrics, ShowQueuesAndConnections) {
  Observatory observatory;
  observatory.provideQueues([] { return Observatory::Queues{{"prompt", 1}, {"read", 2}}; });
  observatory.provideFront([] { return host::FrontCounts{17, 5, 1, 2, 3, 4}; });
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_queue_length{queue=\"read\"} 2\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_http_connections 17\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr("kvt_http_streams 5\n"));
  const std::string dropped = "kvt_http_connections_dropped_total{reason=";
  EXPECT_THAT(observatory.metrics(), HasSubstr(dropped + "\"gave way\"} 1\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr(dropped + "\"too many\"} 2\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr(dropped + "\"handshake\"} 3\n"));
  EXPECT_THAT(observatory.metrics(), HasSubstr(dropped + "\"request\"} 4\n"));
}

TEST(Metrics, CountRequestsAndTheirTime) {
  Observatory observatory;
  observatory.requestServed("/1.0/servers", "GET", 200, std::chrono::milliseconds(20));
  observatory.requestServed("/1.0/servers", "GET", 503, std::chrono::milliseconds(2));
  const std::string text = observatory.metrics();
  EXPECT_THAT(text, HasSubstr("kvt_http_requests_total{method=\"GET\",resource=\"/1.0/servers\",status=\"2xx\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("kvt_http_requests_total{method=\"GET\",resource=\"/1.0/servers\",status=\"5xx\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("kvt_http_request_duration_seconds_count{method=\"GET\",resource=\"/1.0/servers\"} 2\n"));
  EXPECT_THAT(
      text,
      HasSubstr("kvt_http_request_duration_seconds_bucket{method=\"GET\",resource=\"/1.0/servers\",le=\"0.005\"} 1\n"));
}

TEST(Metrics, MakeNoLabelOfWhatAClientMadeUp) {
  Observatory observatory;
  observatory.requestServed("", "BREW", 999, std::chrono::milliseconds(1));
  EXPECT_THAT(observatory.metrics(),
              HasSubstr("kvt_http_requests_total{method=\"other\",resource=\"other\",status=\"other\"} 1\n"));
  EXPECT_THAT(observatory.metrics(), Not(HasSubstr("BREW")));
}

TEST(Metrics, HaveABoundedNumberOfResources) {
  Observatory observatory;
  for (int i = 0; i < 500; ++i)
    observatory.requestServed("/r" + std::to_string(i), "GET", 200, std::chrono::milliseconds(1));
  EXPECT_THAT(observatory.metrics(),
              HasSubstr("kvt_http_requests_total{method=\"GET\",resource=\"other\",status=\"2xx\"} 372\n"));
}

}  // namespace
