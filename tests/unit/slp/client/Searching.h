#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FakeNetwork.h"
#include "slp/client/UserAgent.h"

namespace slp::test {

/// What the process has registered itself, as a test says.
class FakeLocalServices final : public client::LocalServices {
 public:
  std::vector<Url> urls;
  std::optional<std::string> attributes;
  std::vector<std::string> types;
  bool holds = false;

  std::vector<Url> findServices(const client::ServiceQuery&) const override { return urls; }
  std::optional<std::string> findAttributes(const client::AttributeQuery&) const override { return attributes; }
  std::vector<std::string> findTypes(const client::TypeQuery&) const override { return types; }
  bool holdsPort() const override { return holds; }
};

/// A process that searches a fake network. Directory agents are not looked for unless a test says so.
struct Searching {
  FakeNetwork network;
  FakeLocalServices local;
  client::DirectoryAgents directoryAgents;
  client::KnownResponders responders;
  config::Settings settings;
  client::Target target;
  client::UserAgent userAgent{local, directoryAgents, responders};
  client::Outcome outcome;
  std::vector<std::string> found;
  Milliseconds took{0};

  explicit Searching(std::uint32_t seed = 1) : network(seed) {
    settings.daActiveDiscoveryInterval = std::chrono::seconds(0);
  }

  const std::vector<std::string>& services(const std::string& type = "service:test", const std::string& filter = {},
                                           const std::string& scopes = "DEFAULT") {
    return run([&] {
      outcome = userAgent.findServices({type, scopes, filter, "en"}, settings, target, network,
                                       [&](std::string_view url, std::uint16_t) { return keep(url); });
    });
  }
  const std::vector<std::string>& attributes(const std::string& urlOrType, const std::string& tags = {}) {
    return run([&] {
      outcome = userAgent.findAttributes({urlOrType, "DEFAULT", tags, "en"}, settings, target, network,
                                         [&](std::string_view text) { return keep(text); });
    });
  }
  const std::vector<std::string>& types(std::optional<std::string> authority = std::nullopt) {
    return run([&] {
      outcome = userAgent.findTypes({std::move(authority), "DEFAULT", "en"}, settings, target, network,
                                    [&](std::string_view text) { return keep(text); });
    });
  }

  std::function<bool()> whenFound = [] { return true; };  ///< runs in each callback

 private:
  bool keep(std::string_view text) {
    found.emplace_back(text);
    return whenFound();
  }
  template <typename Find>
  const std::vector<std::string>& run(Find find) {
    found.clear();
    network.startAnew();
    const auto start = network.elapsed();
    find();
    took = network.elapsed() - start;
    EXPECT_EQ(network.openStreams(), 0U) << "streams stay open behind the search";
    return found;
  }
};

}  // namespace slp::test
