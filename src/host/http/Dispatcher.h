#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/http/RestApi.h"
#include "host/config/Settings.h"
#include "host/http/Lane.h"
#include "host/http/Service.h"
#include "host/http/Translate.h"

namespace launcher {
class PluginManager;
class Preferences;
}  // namespace launcher

namespace host {

/// Brings clients' requests to the resources of the plug-in manager, in three lanes: the server's own resources, which
/// peers wait for, never wait behind anything slow; reading does not wait behind actions; and actions, searches among
/// them, have a limit of their own. What finds its backlog full is answered 503. Safe for every thread.
class Dispatcher : public Service {
 public:
  /// `prompt` holds the templates of the resources that go through the prompt lane. Manager and preferences must
  /// outlive the dispatcher.
  Dispatcher(launcher::PluginManager& manager, const launcher::Preferences& preferences, const Limits& limits,
             std::vector<std::string> prompt);
  ~Dispatcher() override;

  void serve(ClientRequest request, Done done) override;

  /// How long the oldest request has been waiting for a thread.
  std::chrono::milliseconds longestWait() const;
  /// Requests that wait for a thread, by the name of their lane.
  std::map<std::string, std::size_t> waiting() const;

  /// Drops what waits, takes nothing more, and returns when what runs has ended.
  void close();

 private:
  Answer refuse(const Aim& aim) const;
  std::string allowedMethods(const std::string& path) const;
  Lane& laneOf(const http::RestApi& api);

  launcher::PluginManager& mManager;
  const launcher::Preferences& mPreferences;
  const std::vector<std::string> mPromptTemplates;
  Lane mPrompt;
  Lane mReads;
  Lane mActions;
};

}  // namespace host
