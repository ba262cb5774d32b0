#include "cli/Commands.h"

#include <string>
#include <vector>

#include "cli/Output.h"
#include "cli/Text.h"

namespace cli {
namespace {

Result<std::string> list(const Options& options, const ServerApi& server) {
  const Result<std::vector<json::Object>> records = server.list();
  if (!records) return records.failure();
  return options.format == Format::kJson ? jsonText(*records) : serverTable(*records);
}

Result<std::string> search(const Options& options, const ServerApi& server) {
  const Result<json::Object> record = server.search(options.argument);
  if (!record) return record.failure();
  return options.format == Format::kJson ? jsonText(*record) : foundTable(*record);
}

Result<std::string> details(const Options& options, const ServerApi& server) {
  const Result<json::Object> record = server.details(options.argument);
  if (!record) return record.failure();
  return options.format == Format::kJson ? jsonText(*record) : serverSheet(*record);
}

Result<std::string> change(const Options& options, const Result<json::Object>& answer, const char* done) {
  if (!answer) return answer.failure();
  if (options.format == Format::kJson) return jsonText(*answer);
  return neutralise(options.argument + ": " + done) + "\n";
}

Result<std::string> output(const Options& options, const ServerApi& server) {
  switch (options.command) {
    case Command::kList:
      return list(options, server);
    case Command::kSearch:
      return search(options, server);
    case Command::kDetails:
      return details(options, server);
    case Command::kAdd:
      return change(options, server.add(options.argument), "added");
    case Command::kRemove:
      return change(options, server.remove(options.argument), "removed");
    case Command::kWatch:
    case Command::kDoctor:
      break;  // whoever reads the options carries these out
  }
  return Failure{ExitCode::kUsage, "no such command"};
}

}  // namespace

ExitCode runCommand(const Options& options, const ServerApi& server, std::ostream& out, std::ostream& err) {
  return conclude(output(options, server), out, err);
}

}  // namespace cli
