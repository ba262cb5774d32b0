#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/http/Routes.h"

namespace {

using host::Answer;
using host::ClientRequest;
using host::Routes;
using testing::ElementsAre;
using testing::Pair;

/// Says that nothing else has answered.
class NextService : public host::Service {
 public:
  void serve(ClientRequest, Done done) override { done({404, "next", {}, false}); }
};

class RoutesTest : public testing::Test {
 protected:
  RoutesTest() {
    const auto parameter = [](const ClientRequest& request, const host::Service::Done& done) {
      done({200, "parameter " + request.pathParameter, {}, false});
    };
    const auto exact = [](const ClientRequest&, const host::Service::Done& done) { done({200, "exact", {}, false}); };
    mRoutes.add("GET", "/", exact);
    mRoutes.add("GET", "/a", exact);
    mRoutes.add("GET", "/a/b", exact);
    mRoutes.add("GET", "/a/{name}", parameter);
    mRoutes.add("DELETE", "/a/{name}", parameter);
  }

  Answer ask(const std::string& method, const std::string& target) {
    Answer answer;
    mRoutes.serve({.method = method, .target = target, .cookies = "", .body = "", .remoteAddress = ""},
                  [&](Answer given) { answer = std::move(given); });
    return answer;
  }

  NextService mNext;
  Routes mRoutes{"/kvt", mNext};
};

TEST_F(RoutesTest, ServesAPathWithAndWithoutThePrefix) {
  EXPECT_EQ(ask("GET", "/a").body, "exact");
  EXPECT_EQ(ask("HEAD", "/kvt/a?x=1").body, "exact");
  EXPECT_EQ(ask("GET", "/").body, "exact");
}

TEST_F(RoutesTest, HandsOnWhatItDoesNotKnow) {
  for (const char* target : {"/b", "/a/", "/a/b/c", "/A", "//", "/a/%zz", "/a/%00", "x"}) {
    EXPECT_EQ(ask("GET", target).body, "next") << target;
  }
}

TEST_F(RoutesTest, TakesTheLastSegmentForTheParameter) {
  EXPECT_EQ(ask("GET", "/a/c").body, "parameter c");
  EXPECT_EQ(ask("DELETE", "/kvt/a/a%20b%2Fc").body, "parameter a b/c");
  EXPECT_EQ(ask("GET", "/a/{name}").body, "parameter {name}");
  EXPECT_EQ(ask("GET", "/a/{").body, "parameter {");
}

TEST_F(RoutesTest, PrefersThePathThatIsWrittenOut) {
  EXPECT_EQ(ask("GET", "/a/b").body, "exact");
}

TEST_F(RoutesTest, SaysWhichMethodsAResourceTakes) {
  const Answer answer = ask("PUT", "/a/c");
  EXPECT_EQ(answer.status, 405);
  EXPECT_THAT(answer.headers, ElementsAre(Pair("Allow", "DELETE, GET, HEAD")));
}

TEST_F(RoutesTest, TellsAllOfThem) {
  EXPECT_THAT(mRoutes.all(), ElementsAre(Pair("GET", "/"), Pair("GET", "/a"), Pair("GET", "/a/b"),
                                         Pair("DELETE", "/a/{name}"), Pair("GET", "/a/{name}")));
}

}  // namespace
