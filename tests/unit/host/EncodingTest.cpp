#include <optional>
#include <string>
#include <zlib.h>

#include <gtest/gtest.h>

#include "host/http/AnswerStream.h"
#include "host/http/ContentCoding.h"
#include "host/http/Encoding.h"
#include "host/http/EntityTag.h"

namespace {

using host::Answer;
using host::ClientRequest;

/// What gzip was made of; nothing when it is none.
std::optional<std::string> unzipped(const std::string& bytes) {
  z_stream stream{};
  if (inflateInit2(&stream, 15 + 16) != Z_OK) return std::nullopt;
  std::string result(32U << 20U, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  const int state = inflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  const bool isWhole = state == Z_STREAM_END && stream.avail_in == 0;
  inflateEnd(&stream);
  return isWhole ? std::optional(result) : std::nullopt;
}

std::string document(std::size_t size) {
  std::string text;
  while (text.size() < size) {
    text += "{\"displayId\":\"server-" + std::to_string(text.size()) + "\"},";
  }
  text.resize(size);
  return text;
}

/// Answers everything alike.
class Fixed : public host::Service {
 public:
  void serve(ClientRequest, Done done) override { done(answer); }
  Answer answer{200, document(5000), {}, false};
};

class EncodingTest : public testing::Test {
 protected:
  Answer ask(ClientRequest request) {
    std::optional<Answer> answer;
    host::Encoding("/kvt", mNext).serve(std::move(request), [&answer](Answer given) { answer = std::move(given); });
    return answer.value_or(Answer{0, "", {}, false});
  }
  Answer get(const std::string& acceptEncoding = "", const std::string& ifNoneMatch = "",
             const std::string& method = "GET") {
    ClientRequest request{method, "/1.0/servers", "", "", ""};
    request.headers.acceptEncoding = acceptEncoding;
    request.headers.ifNoneMatch = ifNoneMatch;
    return ask(std::move(request));
  }
  static std::string header(const Answer& answer, const std::string& name) {
    std::string value;
    for (const auto& [each, text] : answer.headers) {
      if (each == name) value += (value.empty() ? "" : "|") + text;
    }
    return value;
  }

  Fixed mNext;
  std::string& mBody = mNext.answer.body;
};

TEST_F(EncodingTest, PassesTheBytesAsTheyAreToWhoeverSaysNothing) {
  const auto answer = get();
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, mBody);
  EXPECT_EQ(header(answer, "Content-Encoding"), "");
  EXPECT_EQ(header(answer, "Vary"), "Accept-Encoding") << "a cache must know that another client gets other bytes";
  EXPECT_EQ(header(answer, "ETag"), host::entityTag(mBody));
}

TEST_F(EncodingTest, CompressesForWhoeverTakesIt) {
  const auto answer = get("deflate, gzip, br");
  EXPECT_EQ(answer.status, 200);
  EXPECT_LT(answer.body.size(), mBody.size() / 2);
  EXPECT_EQ(unzipped(answer.body), mBody);
  EXPECT_EQ(header(answer, "Content-Encoding"), "gzip");
  EXPECT_EQ(header(answer, "Vary"), "Accept-Encoding");
  EXPECT_EQ(header(answer, "ETag"), host::gzipTag(host::entityTag(mBody)));
}

TEST_F(EncodingTest, CompressesFromOneKibibyteOn) {
  mBody = document(1023);
  EXPECT_EQ(header(get("gzip"), "Content-Encoding"), "");
  EXPECT_EQ(header(get("gzip"), "Vary"), "");
  mBody = document(1024);
  EXPECT_EQ(header(get("gzip"), "Content-Encoding"), "gzip");
}

TEST_F(EncodingTest, CompressesTextsAndNothingElse) {
  for (const char* type : {"text/html; charset=utf-8", "application/json", "image/svg+xml"}) {
    mNext.answer.headers = {{"Content-Type", type}};
    EXPECT_EQ(header(get("gzip"), "Content-Encoding"), "gzip") << type;
  }
  for (const char* type : {"image/png", "application/octet-stream", "font/woff2"}) {
    mNext.answer.headers = {{"Content-Type", type}};
    EXPECT_EQ(header(get("gzip"), "Content-Encoding"), "") << type;
    EXPECT_EQ(header(get("gzip"), "ETag"), host::entityTag(mBody)) << type;
  }
}

TEST_F(EncodingTest, AnswersWhoeverHasTheDocumentThatNothingHasChanged) {
  const std::string tag = host::entityTag(mBody);
  for (const std::string& named :
       {tag, "W/" + tag, "\"other\", " + tag, "\"a,b\"," + tag, std::string("*"), std::string(" * ")}) {
    const auto answer = get("", named);
    EXPECT_EQ(answer.status, 304) << named;
    EXPECT_EQ(answer.body, "") << named;
    EXPECT_EQ(header(answer, "ETag"), tag) << named;
    EXPECT_EQ(header(answer, "Vary"), "Accept-Encoding") << named;
    EXPECT_EQ(header(answer, "Cache-Control"), "no-cache, private") << named;
    EXPECT_EQ(header(answer, "Content-Encoding"), "") << named;
  }
}

TEST_F(EncodingTest, SendsTheDocumentToWhoeverHasAnotherOne) {
  const std::string tag = host::entityTag(mBody);
  const std::string bare = tag.substr(1, tag.size() - 2);
  for (const std::string& named : {std::string("\"other\""), bare, "\"" + bare, bare + "\"", std::string("\"*\""),
                                   "\"x" + bare + "\"", std::string(","), "w/" + tag, "*, " + tag}) {
    EXPECT_EQ(get("", named).status, 200) << named;
  }
}

TEST_F(EncodingTest, KnowsBothFormsOfOneDocument) {
  const std::string plain = host::entityTag(mBody);
  const std::string zipped = host::gzipTag(plain);
  EXPECT_NE(plain, zipped);
  for (const char* accepted : {"", "gzip"}) {
    for (const std::string& named : {plain, zipped}) {
      const auto answer = get(accepted, named);
      EXPECT_EQ(answer.status, 304);
      EXPECT_EQ(header(answer, "ETag"), named) << "the one that the client has";
    }
    EXPECT_EQ(header(get(accepted, zipped + ", " + plain), "ETag"), *accepted == 0 ? plain : zipped);
    EXPECT_EQ(header(get(accepted, "*"), "ETag"), *accepted == 0 ? plain : zipped);
  }
}

TEST_F(EncodingTest, GivesAnotherTagToOtherBytes) {
  const std::string before = header(get(), "ETag");
  mBody[100] = '#';
  EXPECT_NE(header(get(), "ETag"), before);
  EXPECT_EQ(get("", before).status, 200);
}

TEST_F(EncodingTest, TreatsHeadAsGet) {
  const auto answer = get("gzip", "", "HEAD");
  EXPECT_EQ(unzipped(answer.body), mBody) << "the length that GET would have; the front leaves the body out";
  EXPECT_EQ(get("", header(answer, "ETag"), "HEAD").status, 304);
}

TEST_F(EncodingTest, LeavesWhatOtherMethodsAnswerAsItIs) {
  for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "get"}) {
    const auto answer = get("gzip", "*", method);
    EXPECT_EQ(answer.status, 200) << method;
    EXPECT_EQ(answer.body, mBody) << method;
    EXPECT_TRUE(answer.headers.empty()) << method;
  }
}

TEST_F(EncodingTest, LeavesAnswersThatAreNotGoodAsTheyAre) {
  for (const int status : {204, 302, 400, 401, 404, 500, 503}) {
    mNext.answer.status = status;
    const auto answer = get("gzip", "*");
    EXPECT_EQ(answer.status, status);
    EXPECT_EQ(answer.body, mBody);
    EXPECT_TRUE(answer.headers.empty());
  }
}

TEST_F(EncodingTest, LeavesAnEmptyAnswerAsItIs) {
  mBody.clear();
  EXPECT_EQ(get("gzip", "*").status, 200);
}

TEST_F(EncodingTest, LeavesWhatIsEncodedAlreadyAsItIs) {
  mNext.answer.headers = {{"content-encoding", "br"}};
  const auto answer = get("gzip", "*");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, mBody);
  EXPECT_EQ(answer.headers.size(), 1U);
}

TEST_F(EncodingTest, LeavesStreamsAsTheyAre) {
  class Silent : public host::AnswerStream {
    void begin(Send) override {}
    void end() override {}
  };
  mNext.answer.stream = std::make_shared<Silent>();
  const auto answer = get("gzip", "*");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, mBody);
  EXPECT_TRUE(answer.headers.empty());
}

TEST_F(EncodingTest, LetsBrowsersKeepTheListsOnly) {
  const auto cacheControl = [this](const std::string& target) {
    return header(ask({"GET", target, "", "", ""}), "Cache-Control");
  };
  for (const char* target : {"/1.0/servers", "/1.0/servers?x", "/kvt/1.0/servers", "/1.0/sightings", "/1.0/peers"}) {
    EXPECT_EQ(cacheControl(target), "no-cache, private") << target;
  }
  for (const char* target : {"/1.0/servers/self", "/1.0/session", "/1.0/tokens", "/1.0/servers/", "/", "*", "/a#b"}) {
    EXPECT_EQ(cacheControl(target), "") << target << ": the front says no-store";
  }
  mNext.answer.headers = {{"Cache-Control", "no-store"}};
  EXPECT_EQ(cacheControl("/1.0/servers"), "no-store");
}

TEST_F(EncodingTest, AddsToWhatAnAnswerDependsOnAlready) {
  mNext.answer.headers = {{"vary", "Cookie"}};
  EXPECT_EQ(header(get(), "vary"), "Cookie, Accept-Encoding");
}

struct Wish {
  const char* header;
  bool isGzip;
};

TEST(ContentCoding, FollowsWhatAClientWants) {
  for (const auto& [header, isGzip] : {Wish{"", false},
                                       Wish{"gzip", true},
                                       Wish{"GZip", true},
                                       Wish{"x-gzip", true},
                                       Wish{"gzip;q=0", false},
                                       Wish{"gzip;q=0.000", false},
                                       Wish{"gzip;q=0.001", true},
                                       Wish{"gzip ; q=0.5", true},
                                       Wish{"gzip; Q=1.0", true},
                                       Wish{"*", true},
                                       Wish{"*;q=0", false},
                                       Wish{"gzip;q=0, *", false},
                                       Wish{"*;q=0, gzip", true},
                                       Wish{"identity", false},
                                       Wish{"gzip;q=0.5, identity", false},
                                       Wish{"gzip, identity;q=0.5", true},
                                       Wish{"gzip, identity", true},
                                       Wish{"identity;q=0", false},
                                       Wish{"deflate, br", false},
                                       Wish{"gzipped", false},
                                       Wish{" , gzip\t,", true},
                                       Wish{"gzip;q=2", false},
                                       Wish{"gzip;q=-1", false},
                                       Wish{"gzip;q=x", false},
                                       Wish{"gzip;q=", false},
                                       Wish{"gzip;level=1", false},
                                       Wish{"gzip;q=nan", false},
                                       Wish{"gzip;q=1e0", false},
                                       Wish{";q=1", false},
                                       Wish{"gzip;q=0.5;q=1", false},
                                       Wish{"gzip;", true}}) {
    EXPECT_EQ(host::prefersGzip(header), isGzip) << header;
  }
}

TEST(ContentCoding, CompressesEverySize) {
  for (const std::size_t size : {0U, 1U, 1024U, 65'536U, 3'000'000U}) {
    EXPECT_EQ(unzipped(host::gzip(document(size))), document(size)) << size;
  }
}

TEST(ContentCoding, CompressesWhatCannotBeCompressed) {
  std::string noise;
  unsigned int state = 1;
  for (int index = 0; index < 100'000; ++index) {
    state = state * 1'664'525U + 1'013'904'223U;
    noise += static_cast<char>(state >> 24U);
  }
  EXPECT_EQ(unzipped(host::gzip(noise)), noise);
}

TEST(ContentCoding, CompressesTheSameToTheSame) {
  EXPECT_EQ(host::gzip(document(5000)), host::gzip(document(5000)));
}

TEST(EntityTag, IsAQuotedTextOfOneForm) {
  EXPECT_EQ(host::entityTag(""), "\"e3b0c44298fc1c149afbf4c8996fb924\"");
  EXPECT_EQ(host::gzipTag("\"ab\""), "\"ab-gzip\"");
}

}  // namespace
