#include <gtest/gtest.h>

#include "framework/utils/Exceptions.h"

namespace {

TEST(InputException, IsABadRequestUnlessToldOtherwise) {
  const utils::InputException error("Handler.cpp", 497, "Server not found");
  EXPECT_EQ(error.getErrorStatusCode(), 400);
  EXPECT_STREQ(error.getErrorStatusMessage(), "Server not found");
  EXPECT_EQ(utils::InputException("Handler.cpp", 1, "x", 404).getErrorStatusCode(), 404);
}

TEST(PluginException, IsAnInternalErrorUnlessToldOtherwise) {
  const utils::PluginException error("Handler.cpp", 12, "no details");
  EXPECT_EQ(error.getErrorStatusCode(), 500);
  EXPECT_STREQ(error.getErrorStatusMessage(), "no details");
  EXPECT_EQ(utils::PluginException("Handler.cpp", 1, "x", 503).getErrorStatusCode(), 503);
}

TEST(AppException, SaysWhereAndWhat) {
  EXPECT_STREQ(utils::AppException("Handler.cpp", 12, "no details").what(), "Handler.cpp:12: no details");
  EXPECT_STREQ(utils::AppException("no details").what(), "no details");
  EXPECT_STREQ(utils::InputException("Handler.cpp", 497, "Server not found").what(),
               "Handler.cpp:497: Server not found");
}

TEST(AppException, IsTheBaseOfTheOthers) {
  EXPECT_THROW(throw utils::InputException("f", 1, "m"), utils::AppException);
  EXPECT_THROW(throw utils::PluginException("f", 1, "m"), utils::AppException);
  EXPECT_THROW(throw utils::AppException("m"), std::exception);
}

}  // namespace
