#include "cli/SlpCommands.h"

#include <array>
#include <iomanip>
#include <ostream>
#include <slp.h>
#include <string>
#include <vector>

#include "cli/Output.h"
#include "cli/SlpSession.h"
#include "cli/Text.h"
#include "json/elements.h"

namespace cli {
namespace {

constexpr int kLogLevelShown = 6;  // LOG_INFO: whatever is more than debugging

/// The results of one command: lines under a heading as they come, or records for one JSON document at the end.
class Results {
 public:
  Results(Format format, std::string heading, std::ostream& out)
      : mFormat(format), mHeading(std::move(heading)), mOut(out) {}

  void add(const std::string& line, json::Object record) {
    ++mCount;
    if (mFormat == Format::kJson) {
      mRecords.push_back(std::move(record));
      return;
    }
    if (mCount == 1 && !mHeading.empty()) mOut << mHeading << "\n";
    mOut << neutralise(line) << "\n" << std::flush;
  }
  void finish() const {
    if (mFormat == Format::kJson) mOut << jsonText(mRecords);
  }
  bool empty() const { return mCount == 0; }

 private:
  Format mFormat;
  std::string mHeading;
  std::ostream& mOut;
  std::size_t mCount = 0;
  std::vector<json::Object> mRecords;
};

json::Object recordOf(const char* name, const std::string& text) {
  json::Object record;
  record[name] = json::String(text);
  return record;
}

std::string column(const std::string& text, std::size_t width) {
  std::string result = text;
  result.resize(std::max(result.size(), width), ' ');
  return result + "  ";
}

/// What a search ends with: its failure, or that it found nothing, is one line.
ExitCode concluded(const SlpSession::Ended& failed, const Results& results, const std::string& nothing,
                   std::ostream& err) {
  if (failed) return fail(*failed, err);
  results.finish();
  return results.empty() ? fail({ExitCode::kRefused, nothing}, err) : ExitCode::kDone;
}

ExitCode find(const Options& options, const SlpSession& session, std::ostream& out, std::ostream& err) {
  Results results(options.format, "LIFETIME  URL", out);
  const auto failed = session.findServices(options.argument, [&](const std::string& url, std::uint16_t lifetime) {
    json::Object record = recordOf("url", url);
    record["lifetime"] = json::Number(lifetime);
    results.add(column(std::to_string(lifetime), 8) + url, std::move(record));
  });
  return concluded(failed, results, "no service of type " + options.argument + " was found", err);
}

ExitCode attributes(const Options& options, const SlpSession& session, std::ostream& out, std::ostream& err) {
  Results results(options.format, "", out);
  const auto failed = session.findAttributes(
      options.argument, [&](const std::string& text) { results.add(text, recordOf("attributes", text)); });
  return concluded(failed, results, "no attributes of " + options.argument + " were found", err);
}

ExitCode types(const Options& options, const SlpSession& session, std::ostream& out, std::ostream& err) {
  Results results(options.format, "TYPE", out);
  const auto failed = session.findTypes([&](const std::string& type) { results.add(type, recordOf("type", type)); });
  return concluded(failed, results, "no service type was found", err);
}

ExitCode agents(const Options& options, const SlpSession& session, std::ostream& out, std::ostream& err) {
  Results results(options.format, "AGENT            URL", out);
  SlpSession::Ended failed;
  for (const char* kind : {"directory-agent", "service-agent"}) {
    const auto ended = session.findServices(std::string("service:") + kind, [&](const std::string& url, std::uint16_t) {
      json::Object record = recordOf("agent", kind);
      record["url"] = json::String(url);
      results.add(column(kind, 15) + url, std::move(record));
    });
    if (ended) failed = ended;
  }
  // Where one kind cannot be asked for (no network, but an agent of this machine), the other may be there all the same.
  if (!results.empty()) failed.reset();
  return concluded(failed, results, "no agent was found", err);
}

ExitCode keepRegistered(const Options& options, const SlpSession& session, std::ostream& out, std::ostream& err,
                        const std::function<void()>& awaitEnd) {
  const auto say = [&](const char* what, const char* state) {
    json::Object record = recordOf("url", options.argument);
    record["state"] = json::String(state);
    out << (options.format == Format::kJson ? jsonText(record) : neutralise(options.argument + ": " + what) + "\n")
        << std::flush;
  };
  if (const auto failed = session.add(options.argument, options.slp->attributes)) return fail(*failed, err);
  say("registered until interrupted", "registered");
  awaitEnd();
  if (const auto failed = session.remove(options.argument)) return fail(*failed, err);
  say("deregistered", "deregistered");
  return ExitCode::kDone;
}

}  // namespace

ExitCode runSlpCommand(const Options& options, std::ostream& out, std::ostream& err,
                       const std::function<void()>& awaitEnd) {
  const auto opened = SlpSession::open(*options.slp, options.timeout);
  if (!opened) return fail(opened.failure(), err);
  const SlpSession& session = **opened;
  switch (options.slp->command) {
    case SlpCommand::kFind:
      return find(options, session, out, err);
    case SlpCommand::kAttributes:
      return attributes(options, session, out, err);
    case SlpCommand::kTypes:
      return types(options, session, out, err);
    case SlpCommand::kAgents:
      return agents(options, session, out, err);
    case SlpCommand::kRegister:
      return keepRegistered(options, session, out, err, awaitEnd);
  }
  return fail({ExitCode::kUsage, "no such command"}, err);
}

void sendSlpLogTo(std::ostream& err) {
  SLPSetLog(
      [](int level, const char* text, void* cookie) {
        if (level > kLogLevelShown) return;
        *static_cast<std::ostream*>(cookie) << "kvtctl: " + neutralise(text) + "\n" << std::flush;
      },
      &err);
}

}  // namespace cli
