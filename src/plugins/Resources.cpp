#include "plugins/Resources.h"

#include <cstdlib>

#include "framework/constants/JsonConstants.h"
#include "framework/launcher/Preferences.h"

namespace plugins {
namespace {

using Keys = constants::JsonConstants;

constexpr double kSchemaValidationError = 69633;
constexpr std::size_t kFirst = 0;

void fill(json::UnknownElement& block, double code, const std::string& description) {
  block[Keys::CODE] = json::Number(code);
  block[Keys::DESC] = json::String(description);
}

}  // namespace

std::string resourcePath(std::initializer_list<std::string_view> segments) {
  std::string path = "/";
  path += Keys::API_VERSION_1;
  for (const std::string_view segment : segments)
    path.append("/").append(segment);
  return path;
}

std::string resourceUri(std::initializer_list<std::string_view> segments) {
  return launcher::Preferences::get_instance()->get_uri_prefix() + resourcePath(segments);
}

double codeNumber(const char* code) {
  return std::strtod(code, nullptr);
}

void setStatus(json::Object& response, double code, const std::string& description) {
  fill(response[Keys::STATUS], code, description);
}

void setStatusList(json::Object& response, double code, const std::string& description) {
  fill(response[Keys::STATUS][kFirst], code, description);
}

void setSuccess(json::Object& response) {
  setStatusList(response, codeNumber(Keys::SUCCESS_CODE), Keys::SUCCESS);
}

void setFailure(json::Object& response) {
  setStatusList(response, codeNumber(Keys::FAILURE_CODE), Keys::FAILURE);
}

void setSchemaValidationError(json::Object& response) {
  setStatusList(response, kSchemaValidationError, "Schema validation error");
}

}  // namespace plugins
