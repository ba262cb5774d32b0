#include <gtest/gtest.h>

#include "host/security/AccessTable.h"

namespace {

using host::Need;
using host::needOf;

TEST(AccessTable, LeavesALittleOpen) {
  for (const char* path : {"/", "/web/app.js", "/web/icons/a.svg", "/healthz", "/readyz", "/1.0/servers/self",
                           "/1.0/servers/other", "/1.0/session"}) {
    EXPECT_EQ(needOf("GET", path), Need::kNothing) << path;
    EXPECT_EQ(needOf("HEAD", path), Need::kNothing) << path;
  }
  EXPECT_EQ(needOf("POST", "/1.0/session"), Need::kNothing);
  EXPECT_EQ(needOf("POST", "/1.0/setup"), Need::kLoopback);
}

TEST(AccessTable, AsksForALoginOfOnesOwn) {
  EXPECT_EQ(needOf("DELETE", "/1.0/session"), Need::kLogin);
  EXPECT_EQ(needOf("GET", "/1.0/tokens"), Need::kLogin);
  EXPECT_EQ(needOf("POST", "/1.0/tokens"), Need::kLogin);
  EXPECT_EQ(needOf("DELETE", "/1.0/tokens/script"), Need::kLogin);
}

TEST(AccessTable, LetsViewersReadTheRestAndOperatorsDoIt) {
  for (const char* path : {"/1.0/servers", "/1.0/servers/self/operations/discovery", "/1.0/nothing", "/metrics", "/x",
                           "/1.0/setup", "/1.0/tokens/script"}) {
    EXPECT_EQ(needOf("GET", path), Need::kViewer) << path;
    EXPECT_EQ(needOf("HEAD", path), Need::kViewer) << path;
  }
  for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE", "get", "", "BREW"}) {
    EXPECT_EQ(needOf(method, "/1.0/servers"), Need::kOperator) << method;
    EXPECT_EQ(needOf(method, "/healthz"), Need::kOperator) << method;
    EXPECT_EQ(needOf(method, "/web/app.js"), Need::kOperator) << method;
  }
}

TEST(AccessTable, OpensNothingForPathsThatLookLikeOpenOnes) {
  for (const char* path : {"/1.0/servers/self/", "/1.0/servers/self/x", "//", "/healthz/", "/healthz/x", "/healthzx",
                           "/HEALTHZ", "/1.0/session/x", "/web", "/webx", "//1.0/servers/self", "/1.0//servers/self",
                           "/1.0/servers/%zz", "/x/../healthz"}) {
    EXPECT_EQ(needOf("GET", path), Need::kViewer) << path;
  }
}

TEST(AccessTable, ReadsAnEscapedPathAsTheResourcesDo) {
  EXPECT_EQ(needOf("GET", "/1.0/%74okens"), Need::kLogin);
  EXPECT_EQ(needOf("DELETE", "/1.0/sessio%6E"), Need::kLogin);
  EXPECT_EQ(needOf("GET", "/1.0/servers/a%2Foperations%2Fdiscovery"), Need::kNothing) << "one segment is one server";
}

}  // namespace
