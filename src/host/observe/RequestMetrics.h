#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace prometheus {
struct MetricFamily;
}

namespace host {

/// Counts what clients asked and how long their answers took, by resource, method and class of status. Whatever a
/// client makes up counts as "other": a label is the program's own text. Safe for every thread.
class RequestMetrics {
 public:
  /// Resources beyond this number count as "other".
  static constexpr std::size_t kMostResources = 128;

  RequestMetrics();
  ~RequestMetrics();
  RequestMetrics(const RequestMetrics&) = delete;
  RequestMetrics& operator=(const RequestMetrics&) = delete;

  /// `resource` is the template of the resource ("/1.0/servers/{server_id}"), "" for none that there is.
  void served(const std::string& resource, std::string_view method, int status, std::chrono::nanoseconds duration);

  std::vector<prometheus::MetricFamily> collect() const;

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace host
