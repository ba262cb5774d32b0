#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "cli/Result.h"
#include "json/elements.h"

/// What kvtctl prints, as text for a person or as a JSON document. Whatever servers said is neutralised.
namespace cli {

/// Those of the inventory.
std::string serverTable(const std::vector<json::Object>& records);
/// One that a search found. How it came to be listed is not told by its record, even when it is listed.
std::string foundTable(const json::Object& record);

/// One server, a line for each thing to know.
std::string serverSheet(const json::Object& record);

std::string jsonText(const json::Object& object);
std::string jsonText(const std::vector<json::Object>& objects);
/// On one line, as in a stream of documents.
std::string jsonLine(const json::Object& object);

/// How a command ends: its output goes to `out`, or why there is none, one line, to `err`.
ExitCode conclude(const Result<std::string>& output, std::ostream& out, std::ostream& err);
ExitCode fail(const Failure& failure, std::ostream& err);

}  // namespace cli
