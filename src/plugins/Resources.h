#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "json/elements.h"

namespace plugins {

/// "/1.0/servers/a" for "servers" and "a": the path of one of the host's resources.
std::string resourcePath(std::initializer_list<std::string_view> segments);
/// The same with the host's URI prefix, as clients are given it.
std::string resourceUri(std::initializer_list<std::string_view> segments);

/// The number that a code of the key table stands for.
double codeNumber(const char* code);

// The status block of an answer: an object, or the first element of an array.

void setStatus(json::Object& response, double code, const std::string& description);
void setStatusList(json::Object& response, double code, const std::string& description);
/// Status list of an answer that went well or failed.
void setSuccess(json::Object& response);
void setFailure(json::Object& response);

/// What a request that lacks something essential is told.
void setSchemaValidationError(json::Object& response);

}  // namespace plugins
