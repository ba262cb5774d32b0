#include "host/security/Answers.h"

#include "framework/constants/JsonConstants.h"
#include "framework/http/StatusBlock.h"
#include "host/http/Translate.h"
#include "json/writer.h"

namespace host {
namespace {

using constants::JsonConstants;

/// Enough for the longest password, escaped.
constexpr std::size_t kMostShortBytes = 4096;

Answer answerOf(const json::Object& document) {
  Answer answer;
  json::Writer::Write(document, answer.body);
  answer.headers.emplace_back("Cache-Control", "no-store");
  return answer;
}

}  // namespace

Answer valueAnswer(const json::UnknownElement& value) {
  json::Object document = http::statusBlock(0, JsonConstants::SUCCESS);
  document[JsonConstants::VALUE] = value;
  return answerOf(document);
}

Answer doneAnswer() {
  return answerOf(http::statusBlock(0, JsonConstants::SUCCESS));
}

std::variant<json::Object, Answer> readShortBody(const std::string& body) {
  if (body.size() > kMostShortBytes) return failureAnswer(413, "The body may be 4096 bytes long");
  return readBody(body);
}

Answer laterAnswer(int status, const std::string& text, std::chrono::seconds wait) {
  Answer answer = failureAnswer(status, text);
  answer.headers.emplace_back("Retry-After", std::to_string(wait.count()));
  return answer;
}

}  // namespace host
