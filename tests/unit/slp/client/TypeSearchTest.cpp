#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Searching.h"

namespace slp::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

FakeAgent typeAgent(const net::Endpoint& at, std::string types) {
  FakeAgent agent;
  agent.endpoint = at;
  agent.answer = [types = std::move(types)](const wire::Message& request, Via) -> std::vector<std::string> {
    if (!std::holds_alternative<wire::ServiceTypeRequest>(request.body)) return {};
    return {reply(request, wire::ServiceTypeReply{wire::ErrorCode::kOk, types})};
  };
  return agent;
}

TEST(TypeSearch, UnitesTheTypesOfAll) {
  Searching one;
  one.local.types = {"service:own"};
  one.network.add(typeAgent(endpoint("10.0.0.1"), "service:a,service:b"));
  one.network.add(typeAgent(endpoint("10.0.0.2"), "SERVICE:B, service:c.auth,,service:own"));
  EXPECT_THAT(one.types(), UnorderedElementsAre("service:own", "service:a", "service:b", "service:c.auth"));
  EXPECT_EQ(one.network.sent[0].group, Transport::Group::kGeneral);
}

TEST(TypeSearch, DropsTypesOfAnAuthorityThatWasNotAskedFor) {
  Searching one;
  one.network.add(typeAgent(endpoint("10.0.0.1"), "service:a,service:b.auth,service:c.other"));
  EXPECT_THAT(one.types("AUTH"), ElementsAre("service:b.auth"));
  EXPECT_THAT(one.types(""), ElementsAre("service:a"));
}

TEST(TypeSearch, DropsControlCharacters) {
  Searching one;
  one.network.add(typeAgent(endpoint("10.0.0.1"), "service:a\x01,service:b"));
  EXPECT_THAT(one.types(), ElementsAre("service:b"));
}

}  // namespace
}  // namespace slp::test
