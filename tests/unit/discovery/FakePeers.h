#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "framework/http/HTTPCommand.h"
#include "json/elements.h"
#include "support/FakePlugin.h"

/// The servers of a network as the host reaches them for the plug-in, served by the manager in place. An address that
/// was given no answer is answered 502 with a status block. Safe for every thread.
class FakePeers {
 public:
  using Status = http::HTTPCommand::HTTPStatus_;

  FakePeers();

  void answer(const std::string& address, int status, json::Object body);
  int callsTo(const std::string& address) const;
  int calls() const;
  /// The bodies of the requests, in their order.
  std::vector<json::Object> requests() const;

 private:
  struct Answer {
    Status status;
    json::Object body;
  };

  Status serve(const json::Object& request, json::Object& response);

  mutable std::mutex mMutex;
  std::map<std::string, Answer> mAnswers;
  std::vector<json::Object> mRequests;
  support::FakePlugin mPlugin;
};

/// This server's own details resource. Answers with the given record, with another one when the request carries a
/// cookie, and remembers who was asked for.
class FakeLocalServer {
 public:
  FakeLocalServer();

  http::HTTPCommand::HTTPStatus_ plainStatus = http::HTTPCommand::HTTP_OK;
  http::HTTPCommand::HTTPStatus_ refinedStatus = http::HTTPCommand::HTTP_OK;
  json::Object plainBody;
  json::Object refinedBody;

  std::vector<std::string> ids;
  std::vector<std::string> cookies;

 private:
  support::FakePlugin mPlugin;
};
