#include <functional>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/observe/Meter.h"
#include "host/observe/Observatory.h"

namespace {

using host::Answer;
using host::ClientRequest;
using host::Observatory;

struct Later : host::Service {
  void serve(ClientRequest, Done done) override { mDone = std::move(done); }
  Done mDone;
};

ClientRequest request(const std::string& method, const std::string& target) {
  ClientRequest one;
  one.method = method;
  one.target = target;
  return one;
}

TEST(Meter, CountsAnAnswerUnderTheTemplateOfItsResourceOnceItIsThere) {
  const auto observatory = std::make_shared<Observatory>();
  Later later;
  host::Meter meter(
      observatory, [](const ClientRequest& one) { return one.target == "/x/1" ? "/x/{id}" : ""; }, later);
  int status = 0;
  meter.serve(request("GET", "/x/1"), [&](const Answer& answer) { status = answer.status; });
  EXPECT_EQ(observatory->metrics().find("/x/{id}"), std::string::npos);
  Answer refusal;
  refusal.status = 401;
  later.mDone(refusal);
  EXPECT_EQ(status, 401);
  EXPECT_THAT(observatory->metrics(),
              testing::HasSubstr("kvt_http_requests_total{method=\"GET\",resource=\"/x/{id}\",status=\"4xx\"} 1\n"));
}

TEST(Meter, CountsWhatIsAimedAtNothingAsOther) {
  const auto observatory = std::make_shared<Observatory>();
  Later later;
  host::Meter meter(
      observatory, [](const ClientRequest&) { return ""; }, later);
  meter.serve(request("GET", "/secret?token=1"), [](const Answer&) {});
  later.mDone(Answer{});
  EXPECT_THAT(observatory->metrics(), testing::HasSubstr("resource=\"other\""));
  EXPECT_THAT(observatory->metrics(), testing::Not(testing::HasSubstr("secret")));
}

}  // namespace
