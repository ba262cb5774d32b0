#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

Answer ask(const PageFile& file, const std::string& ifNoneMatch = "") {
  ClientRequest request{"GET", std::string(file.path), "", "", "127.0.0.1"};
  request.headers.ifNoneMatch = ifNoneMatch;
  return host::pageAnswer(file, request);
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
  PagesOverHttp() : mRoutes("/kvt", mElsewhere), mFront(host::Limits{}, mRoutes) {
    host::addPages(mRoutes);
    const auto endpoints = mFront.listen({host::ListenAddress{"127.0.0.1", 0}});
    mPort = endpoints->front().port;
    mFront.start();
  }

  RawAnswer get(const std::string& target, const std::string& method = "GET") {
    RawClient client(mPort);
    client.send(method + " " + target + " HTTP/1.1\r\nHost: here\r\nConnection: close\r\n\r\n");
    return client.read(method == "HEAD");
  }

 private:
  Elsewhere mElsewhere;
  host::Routes mRoutes;
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

TEST(Pages, HaveTagsAndTypesOfTheirOwn) {
  std::set<std::string_view> tags;
  for (const auto& file : pageFiles()) {
    EXPECT_TRUE(tags.insert(file.entityTag).second) << file.path;
    EXPECT_TRUE(file.entityTag.starts_with('"') && file.entityTag.ends_with('"')) << file.entityTag;
  }
  EXPECT_EQ(index().contentType, "text/html; charset=utf-8");
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
    const Answer answer = ask(file);
    EXPECT_EQ(header(answer, "Content-Security-Policy"),
              "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
              "base-uri 'none'; form-action 'self'; frame-ancestors 'none'");
    EXPECT_EQ(header(answer, "X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(header(answer, "Cache-Control"), "no-cache");
  }
}

TEST(Pages, AreSentOnceToAClientThatKeepsThem) {
  const std::string tag(index().entityTag);
  for (const std::string& header :
       {tag, "W/" + tag, "\"other\", " + tag, "\"other\" ,W/" + tag + " ", std::string("*")}) {
    const Answer answer = ask(index(), header);
    EXPECT_EQ(answer.status, 304) << header;
    EXPECT_EQ(answer.body, "") << header;
  }
}

TEST(Pages, AreSentAnewWhenTheTagIsAnother) {
  for (const auto* header : {"", "\"other\"", "\"", ",", " , ,", "W/", "\"other\",\"more\""}) {
    const Answer answer = ask(index(), header);
    EXPECT_EQ(answer.status, 200) << header;
    EXPECT_EQ(answer.body, index().contents) << header;
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

TEST_F(PagesOverHttp, AreServedBehindAPrefixToo) {
  EXPECT_EQ(get("/kvt/").body, index().contents);
  EXPECT_EQ(get("/kvt/web/main.js").status, 200);
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
