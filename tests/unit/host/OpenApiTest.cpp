#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "host/http/Routes.h"
#include "host/openapi/OpenApi.h"
#include "host/security/AccessTable.h"
#include "json/lookup.h"
#include "json/writer.h"
#include "support/Requests.h"

namespace {

const json::Object& document() {
  static const json::Object parsed = support::parsed(host::openApiDocument());
  return parsed;
}

bool isMethod(const std::string& name) {
  return std::set<std::string>{"get", "post", "put", "delete"}.contains(name);
}

/// Calls `visit` with method, path and description of each operation; the number of them.
template <typename Visit>
int forEachOperation(Visit visit) {
  int count = 0;
  for (const auto& path : *json::objectAt(document(), {"paths"})) {
    for (const auto& member : *path.element.getIf<json::Object>()) {
      if (!isMethod(member.name)) continue;
      std::string method = member.name;
      std::transform(method.begin(), method.end(), method.begin(),
                     [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
      visit(method, path.name, *member.element.getIf<json::Object>());
      ++count;
    }
  }
  return count;
}

/// The document's word for who may call.
std::string accessOf(host::Need need) {
  switch (need) {
    case host::Need::kNothing:
      return "everybody";
    case host::Need::kLoopback:
      return "loopback";
    case host::Need::kOperator:
      return "operator";
    default:
      return "viewer";
  }
}

TEST(OpenApi, IsADescriptionOfVersion31) {
  EXPECT_EQ(json::textAt(document(), {"openapi"}), "3.1.0");
  EXPECT_NE(json::textAt(document(), {"info", "title"}), "");
}

TEST(OpenApi, SaysOfEveryOperationWhoMayCallIt) {
  const int operations =
      forEachOperation([](const std::string& method, const std::string& path, const auto& operation) {
        EXPECT_EQ(json::textAt(operation, {"x-access"}), accessOf(host::needOf(method, path))) << method << " " << path;
      });
  EXPECT_GE(operations, 20);
}

TEST(OpenApi, SaysWhatEveryOperationAnswers) {
  forEachOperation([](const std::string& method, const std::string& path, const json::Object& operation) {
    EXPECT_NE(json::objectAt(operation, {"responses", "200"}), nullptr) << method << " " << path;
    EXPECT_NE(json::textAt(operation, {"summary"}), "") << method << " " << path;
    const std::string access = json::textAt(operation, {"x-access"});
    const bool canBeRefused = access == "viewer" || access == "operator";
    EXPECT_EQ(json::objectAt(operation, {"responses", "401"}) != nullptr,
              canBeRefused || (method == "POST" && path == "/1.0/session"))
        << method << " " << path;
  });
}

TEST(OpenApi, NamesTheParametersOfEveryPath) {
  for (const auto& path : *json::objectAt(document(), {"paths"})) {
    const auto open = path.name.find('{');
    const auto* parameters = json::arrayAt(*path.element.getIf<json::Object>(), {"parameters"});
    ASSERT_EQ(parameters != nullptr, open != std::string::npos) << path.name;
    if (parameters == nullptr) continue;
    const std::string name = path.name.substr(open + 1, path.name.find('}') - open - 1);
    EXPECT_EQ(json::textAt(*(*parameters)[0].getIf<json::Object>(), {"name"}), name);
  }
}

TEST(OpenApi, RefersToNothingThatIsNotThere) {
  const std::string_view text = host::openApiDocument();
  constexpr std::string_view kReference = "\"$ref\": \"#/components/";
  int count = 0;
  for (auto found = text.find(kReference); found != std::string_view::npos; found = text.find(kReference, found + 1)) {
    const auto begin = found + kReference.size();
    const auto slash = text.find('/', begin);
    const std::string_view kind = text.substr(begin, slash - begin);
    const std::string_view name = text.substr(slash + 1, text.find('"', slash) - slash - 1);
    EXPECT_NE(json::objectAt(document(), {"components", kind, name}), nullptr) << kind << "/" << name;
    ++count;
  }
  EXPECT_GT(count, 50);
}

TEST(OpenApi, IsServed) {
  class Nothing : public host::Service {
    void serve(host::ClientRequest, Done done) override { done(host::failureAnswer(404, "")); }
  } nothing;
  host::Routes routes("", nothing);
  host::addOpenApi(routes);
  std::optional<host::Answer> answer;
  routes.serve({"GET", "/openapi.json", "", "", ""}, [&answer](host::Answer given) { answer = std::move(given); });
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200);
  EXPECT_EQ(answer->body, host::openApiDocument());
}

}  // namespace
