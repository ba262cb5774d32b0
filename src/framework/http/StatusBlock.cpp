#include "framework/http/StatusBlock.h"

#include "framework/constants/JsonConstants.h"

namespace http {

using constants::JsonConstants;

json::Object statusBlock(int code, const std::string& description) {
  json::Object status;
  status.Insert(json::Object::Member(JsonConstants::CODE, json::Number(code)));
  status.Insert(json::Object::Member(JsonConstants::DESC, json::String(description)));
  json::Object block;
  block.Insert(json::Object::Member(JsonConstants::STATUS, status));
  return block;
}

void answer(HTTPCommand& command, HTTPCommand::HTTPStatus_ status, const std::string& description) {
  command.setHTTPStatus(status);
  command.getResponseBody() = statusBlock(status, description);
}

}  // namespace http
