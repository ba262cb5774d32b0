#pragma once

#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/security/Security.h"
#include "json/lookup.h"
#include "support/LogCapture.h"
#include "support/Requests.h"

namespace host_test {

using host::Answer;
using host::ClientRequest;
using host::Role;
using host::Security;
using host::Settings;

inline constexpr const char* kPassword = "correct horse battery";
inline constexpr const char* kNewPassword = "another horse battery";

/// What is behind the gate: says that it was reached, and keeps the request.
class ReachedService : public host::Service {
 public:
  void serve(ClientRequest request, Done done) override {
    last = std::move(request);
    done({200, "reached", {}, false});
  }
  ClientRequest last;
};

inline std::string headerOf(const Answer& answer, const std::string& name) {
  for (const auto& [each, value] : answer.headers) {
    if (each == name) return value;
  }
  return "";
}

inline std::string textOf(const Answer& answer, json::Path path) {
  return json::textAt(support::parsed(answer.body), path);
}

/// What a client holds between its requests.
struct Client {
  std::string address = "192.0.2.7";
  std::string host = "server.example:8443";
  std::string cookie = {};
  std::string csrf = {};
  std::string bearer = {};
  std::string origin = {};
  std::string fetchSite = {};
  bool isForwarded = false;
  bool isSecure = true;
};

/// The whole of what decides who may use a server, in front of a service that says that it was reached.
class SecurityFixture : public testing::Test {
 protected:
  SecurityFixture() : mDirectory(makeDirectory()), mAccounts(mDirectory) { mSettings.access.anonymous = Role::kNobody; }
  ~SecurityFixture() override {
    mSecurity.reset();
    std::filesystem::remove_all(mDirectory.path());
  }

  static std::string makeDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "kvt-security-XXXXXX";
    return mkdtemp(name.data());
  }

  void start(const std::string& prefix = "") {
    mRoutes = std::make_unique<host::Routes>(prefix, mResources);
    mSecurity = std::make_unique<Security>(mSettings, mDirectory, prefix, *mRoutes);
    mSecurity->addRoutes(*mRoutes);
  }
  void startWithAccounts() {
    ASSERT_FALSE(mAccounts.add("admin", "operator", kPassword));
    ASSERT_FALSE(mAccounts.add("guest", "viewer", kPassword));
    start();
  }

  Answer ask(const Client& client, const std::string& method, const std::string& target, const std::string& body = "") {
    ClientRequest request{method, target, client.cookie, body, client.address, {}, client.isSecure};
    request.headers.host = client.host;
    request.headers.csrfToken = client.csrf;
    request.headers.authorization = client.bearer;
    request.headers.origin = client.origin;
    request.headers.fetchSite = client.fetchSite;
    request.headers.isForwarded = client.isForwarded;
    const auto answer = std::make_shared<std::promise<Answer>>();
    mSecurity->gate().serve(std::move(request), [answer](Answer given) { answer->set_value(std::move(given)); });
    auto given = answer->get_future();
    if (given.wait_for(std::chrono::seconds(60)) != std::future_status::ready) return {0, "no answer", {}, false};
    return given.get();
  }

  static std::string credentials(const std::string& user, const std::string& password = kPassword) {
    return R"({"user":")" + user + R"(","password":")" + password + R"("})";
  }
  Answer login(const Client& client, const std::string& user, const std::string& password = kPassword) {
    return ask(client, "POST", "/1.0/session", credentials(user, password));
  }
  /// Takes over what an answer to a login gives.
  static void take(Client& client, const Answer& answer) {
    const std::string cookie = headerOf(answer, "Set-Cookie");
    client.cookie = cookie.substr(0, cookie.find(';'));
    client.csrf = textOf(answer, {"value", "csrfToken"});
  }
  Client loggedIn(const std::string& user) {
    Client client;
    const Answer answer = login(client, user);
    EXPECT_EQ(answer.status, 200) << answer.body;
    take(client, answer);
    return client;
  }
  Client withToken(const std::string& user, const std::string& role) {
    Client client;
    const auto made = mAccounts.addToken(user + "-" + role, user, role);
    client.bearer = "Bearer " + std::get<std::string>(made);
    return client;
  }
  int read(const Client& client) { return ask(client, "GET", "/1.0/servers").status; }
  int write(const Client& client) { return ask(client, "POST", "/1.0/other", "{}").status; }

  support::LogCapture mLog;
  const state::Directory mDirectory;
  state::Accounts mAccounts;
  Settings mSettings;
  ReachedService mResources;
  std::unique_ptr<host::Routes> mRoutes;
  std::unique_ptr<Security> mSecurity;
};

/// Somebody at the machine itself.
inline Client localClient() {
  return {.address = "127.0.0.1", .host = "localhost:8443"};
}

}  // namespace host_test
