#pragma once

#include <string>
#include <vector>

#include "json/elements.h"

/// What kvtctl prints, as text for a person or as a JSON document. Whatever servers said is neutralised.
namespace cli {

std::string serverTable(const std::vector<json::Object>& records);

/// One server, a line for each thing to know.
std::string serverSheet(const json::Object& record);

std::string jsonText(const json::Object& object);
std::string jsonText(const std::vector<json::Object>& objects);

}  // namespace cli
