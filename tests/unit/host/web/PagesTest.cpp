#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/http/Encoding.h"
#include "host/http/Front.h"
#include "host/web/Pages.h"
#include "unit/host/RawClient.h"

namespace {

using host::Answer;
using host::ClientRequest;
using host::PageFile;
using host::pageFiles;
using host_test::RawAnswer;
using host_test::RawClient;
using testing::HasSubstr;
using testing::Not;

std::string read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string sourceOf(const PageFile& file) {
  const std::string name = file.path == "/" ? "index.html" : std::string(file.path.substr(5));
  return read(std::filesystem::path(SD_PAGE_FOLDER) / name);
}

std::string header(const Answer& answer, const std::string& name) {
  for (const auto& [each, value] : answer.headers) {
    if (each == name) return value;
  }
  return "";
}

const PageFile& index() {
  for (const auto& file : pageFiles()) {
    if (file.path == "/") return file;
  }
  throw std::runtime_error("there is no start page");
}

/// What answers where there is no page.
class Elsewhere : public host::Service {
 public:
  void serve(ClientRequest, Done done) override { done(host::failureAnswer(401, "elsewhere")); }
};

/// The pages behind a real front.
class PagesOverHttp : public testing::Test {
 protected:
  PagesOverHttp() : mRoutes("/kvt", mElsewhere), mEncoding("/kvt", mRoutes), mFront(host::Limits{}, mEncoding) {
    host::addPages(mRoutes);
    const auto endpoints = mFront.listen({host::ListenAddress{"127.0.0.1", 0}});
    mPort = endpoints->front().port;
    mFront.start();
  }

  RawAnswer get(const std::string& target, const std::string& method = "GET", const std::string& lines = "") {
    RawClient client(mPort);
    client.send(method + " " + target + " HTTP/1.1\r\nHost: here\r\nConnection: close\r\n" + lines + "\r\n");
    return client.read(method == "HEAD");
  }

 private:
  Elsewhere mElsewhere;
  host::Routes mRoutes;
  host::Encoding mEncoding;
  host::Front mFront;
  std::uint16_t mPort = 0;
};

}  // namespace

TEST(Pages, HoldEveryFileOfTheFolderAsItIs) {
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(SD_PAGE_FOLDER)) {
    files += entry.is_regular_file();
  }
  EXPECT_EQ(pageFiles().size(), files);
  for (const auto& file : pageFiles()) {
    EXPECT_FALSE(file.contents.empty()) << file.path;
    EXPECT_EQ(file.contents, sourceOf(file)) << file.path;
  }
}

TEST(Pages, HaveNeitherScriptNorStyleNorHandlersInTheirMarkup) {
  const std::string text(index().contents);
  for (const auto* part : {"<style", " style=", " onclick=", " onload=", "javascript:"}) {
    EXPECT_THAT(text, Not(HasSubstr(part)));
  }
  EXPECT_THAT(text, HasSubstr(R"(<script type="module" src="web/main.js"></script>)"));
}

TEST(Pages, NeverReadTextAsMarkup) {
  for (const auto& file : pageFiles()) {
    for (const auto* part : {"innerHTML", "outerHTML", "insertAdjacentHTML", "document.write", "eval(", "new Function",
                             "DOMParser", "srcdoc", "createContextualFragment", "setHTMLUnsafe"}) {
      EXPECT_THAT(std::string(file.contents), Not(HasSubstr(part))) << file.path;
    }
  }
}

TEST(Pages, NameNoOtherOrigin) {
  for (const auto& file : pageFiles()) {
    std::string text(file.contents);
    if (file.path.ends_with(".svg")) text.erase(text.find("http://www.w3.org/2000/svg"), 26);
    EXPECT_THAT(text, Not(HasSubstr("http://"))) << file.path;
    EXPECT_THAT(text, Not(HasSubstr("https://"))) << file.path;
  }
}

TEST(Pages, MayRunTheirOwnFilesOnlyAndAskNobodyElse) {
  for (const auto& file : pageFiles()) {
    const Answer answer = host::pageAnswer(file);
    EXPECT_EQ(header(answer, "Content-Security-Policy"),
              "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
              "base-uri 'none'; form-action 'self'; frame-ancestors 'none'");
    EXPECT_EQ(header(answer, "Cache-Control"), "no-cache");
  }
}

TEST_F(PagesOverHttp, AreServedWithTheirTypes) {
  const std::map<std::string, std::string> types{{"/", "text/html; charset=utf-8"},
                                                 {"/web/main.js", "text/javascript; charset=utf-8"},
                                                 {"/web/style.css", "text/css; charset=utf-8"},
                                                 {"/web/icon.svg", "image/svg+xml"}};
  for (const auto& [path, type] : types) {
    const auto answer = get(path);
    EXPECT_EQ(answer.status, 200) << path;
    EXPECT_EQ(answer.header("content-type"), type) << path;
    EXPECT_FALSE(answer.body.empty()) << path;
  }
}

TEST_F(PagesOverHttp, AreSentOnceToABrowserThatKeepsThem) {
  for (const auto& file : pageFiles()) {
    const std::string path(file.path);
    const auto first = get(path);
    EXPECT_EQ(first.header("cache-control"), "no-cache") << path;
    ASSERT_NE(first.header("etag"), "") << path;
    const auto second = get(path, "GET", "If-None-Match: " + first.header("etag") + "\r\n");
    EXPECT_EQ(second.status, 304) << path;
    EXPECT_EQ(second.body, "") << path;
    EXPECT_EQ(get(path, "GET", "If-None-Match: \"other\"\r\n").status, 200) << path;
  }
}

TEST_F(PagesOverHttp, AreSentCompressedToABrowserThatTakesIt) {
  const auto answer = get("/web/main.js", "GET", "Accept-Encoding: gzip\r\n");
  EXPECT_EQ(answer.header("content-encoding"), "gzip");
  EXPECT_LT(answer.body.size(), get("/web/main.js").body.size() / 2);
}

TEST_F(PagesOverHttp, KeepTheirTypesAndTellNothingOfWhereTheyAreReadToOthers) {
  const auto answer = get("/");
  EXPECT_EQ(answer.header("x-content-type-options"), "nosniff");
  EXPECT_EQ(answer.header("referrer-policy"), "no-referrer");
  EXPECT_THAT(answer.header("content-security-policy"), HasSubstr("script-src 'self'; style-src 'self'"));
}

TEST_F(PagesOverHttp, AreServedBehindAPrefixToo) {
  EXPECT_EQ(get("/kvt/").body, index().contents);
  EXPECT_EQ(get("/kvt/web/main.js").status, 200);
}

TEST_F(PagesOverHttp, AreFoundByThePrefixAloneWithItsSlashAdded) {
  for (const auto* target : {"/kvt", "/kvt?from=bookmark", "http://here/kvt"}) {
    const auto answer = get(target);
    EXPECT_EQ(answer.status, 308) << target;
    EXPECT_EQ(answer.header("location"), "kvt/") << target;
  }
  for (const auto* target : {"/", "/?x", "/kvt/", "/kvt/?x", "http://here", "http://here/kvt/"}) {
    EXPECT_EQ(get(target).status, 200) << target;
  }
  EXPECT_EQ(get("/kvt", "POST").status, 405);
  for (const auto* target : {"/kvtx", "/kv", "//kvt", "/kvt/kvt"}) {
    EXPECT_EQ(get(target).status, 401) << target;
  }
}

TEST_F(PagesOverHttp, AnswerHeadWithoutTheContents) {
  const auto answer = get("/", "HEAD");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.header("content-length"), std::to_string(index().contents.size()));
  EXPECT_EQ(answer.body, "");
}

TEST_F(PagesOverHttp, CannotBeWrittenTo) {
  const auto answer = get("/web/main.js", "DELETE");
  EXPECT_EQ(answer.status, 405);
  EXPECT_EQ(answer.header("allow"), "GET, HEAD");
}

TEST_F(PagesOverHttp, LeadNowhereElse) {
  for (const auto* path : {"/web/", "/web", "/web/Pages.cpp", "/web/../web/main.js", "/web/%6dain.js", "/web//main.js",
                           "/web/main.js/", "/web/index.html", "/../etc/passwd"}) {
    EXPECT_EQ(get(path).status, 401) << path;
  }
}
