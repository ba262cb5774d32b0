#include "cli/DoctorCommand.h"

#include <algorithm>
#include <ostream>
#include <string>

#include "cli/DoctorJudge.h"
#include "cli/Output.h"
#include "cli/Text.h"

namespace cli {
namespace {

using doctor::Finding;
using Level = Finding::Level;

const char* levelName(Level level) {
  switch (level) {
    case Level::kFine:
      return "ok";
    case Level::kNote:
      return "note";
    case Level::kProblem:
      break;
  }
  return "problem";
}

std::string column(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text + "  ";
}

std::string plainText(const std::vector<Finding>& findings, std::size_t problems) {
  constexpr std::size_t kLevelWidth = 7;
  constexpr std::size_t kSubjectWidth = 13;
  std::string text;
  for (const Finding& finding : findings) {
    text += column(levelName(finding.level), kLevelWidth) + column(finding.subject, kSubjectWidth) +
            neutralise(finding.text) + "\n";
    if (!finding.advice.empty()) {
      text += column("", kLevelWidth) + column("", kSubjectWidth) + "-> " + neutralise(finding.advice) + "\n";
    }
  }
  const std::string number = problems == 1 ? "One problem" : std::to_string(problems) + " problems";
  return text + "\n" + (problems == 0 ? "Nothing to do." : number + " to look at.") + "\n";
}

std::string documentText(const std::vector<Finding>& findings, std::size_t problems) {
  json::Array entries;
  for (const Finding& finding : findings) {
    json::Object entry;
    entry["level"] = json::String(levelName(finding.level));
    entry["subject"] = json::String(finding.subject);
    entry["text"] = json::String(finding.text);
    entry["advice"] = json::String(finding.advice);
    entries.Insert(entry);
  }
  json::Object document;
  document["problems"] = json::Number(static_cast<double>(problems));
  document["findings"] = entries;
  return jsonText(document);
}

}  // namespace

ExitCode tellFindings(const doctor::Facts& facts, Format format, std::ostream& out) {
  const std::vector<Finding> findings = doctor::judge(facts);
  const auto problems = static_cast<std::size_t>(std::count_if(
      findings.begin(), findings.end(), [](const Finding& finding) { return finding.level == Level::kProblem; }));
  out << (format == Format::kJson ? documentText(findings, problems) : plainText(findings, problems));
  return problems == 0 ? ExitCode::kDone : ExitCode::kRefused;
}

}  // namespace cli
