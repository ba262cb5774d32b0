#include "cli/WatchCommand.h"

#include <algorithm>
#include <ctime>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "cli/EventStream.h"
#include "cli/Output.h"
#include "cli/ServerApi.h"
#include "cli/ServerChanges.h"
#include "cli/Text.h"
#include "cli/WireNames.h"
#include "json/reader.h"

namespace cli {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kNoWait{0};
constexpr milliseconds kPollInterval{2000};
constexpr milliseconds kFirstPause{1000};
constexpr milliseconds kLongestPause{10'000};
/// Servers say something every 15 seconds: after three times that, this one has gone without a word.
constexpr std::chrono::seconds kLongestSilence{45};
/// News of the list wait for those of the same moment that say why, which servers send right after; once nothing has
/// come for this time they wait no longer.
constexpr milliseconds kHold{200};
constexpr std::chrono::hours kEndless{24 * 365};

std::string timeNow() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::string text(20, '\0');
  text.resize(std::strftime(text.data(), text.size() + 1, "%Y-%m-%dT%H:%M:%SZ", &parts));
  return text;
}

class Watch {
 public:
  Watch(const Options& options, const RestClient& client, std::ostream& out, std::ostream& err, const EndWait& wait)
      : mFormat(options.format), mClient(client), mOut(out), mErr(err), mWaitForEnd(wait) {}

  ExitCode run() {
    milliseconds pause = kFirstPause;
    while (!isOver()) {
      mIsThere = false;
      const std::optional<Failure> failed = mHasEvents ? follow() : poll();
      if (isOver()) break;
      if (failed && (!mHasBegun || failed->code == ExitCode::kNotAllowed)) return fail(*failed, mErr);
      if (!mHasEvents && !failed) continue;
      if (mIsThere) pause = kFirstPause;
      sayLost(failed);
      if (mWaitForEnd(pause)) break;
      pause = std::min(pause * 2, kLongestPause);
    }
    return ExitCode::kDone;
  }

 private:
  bool isOver() const { return !mOut || mWaitForEnd(kNoWait); }

  void sayLost(const std::optional<Failure>& failed) {
    if (std::exchange(mIsLost, true)) return;
    mErr << "kvtctl: " << neutralise(failed ? failed->message : "the server ended the connection") << "; trying again\n"
         << std::flush;
  }

  void print(const ServerChanges::List& changes) {
    for (const ServerChange& change : changes)
      mOut << (mFormat == Format::kJson ? jsonLine(changeRecord(change, timeNow())) : changeLine(change));
    mOut << std::flush;
  }

  /// Everything anew.
  std::optional<Failure> fetch() {
    const auto records = ServerApi(mClient).list();
    if (!records) return records.failure();
    const auto sightings = mClient.get("/1.0/sightings");  // not every server has them
    print(mChanges.replace(*records, sightings ? objectsAt(*sightings, wire::kValues).value_or(Objects()) : Objects()));
    mHasBegun = true;
    mIsThere = true;
    if (std::exchange(mIsLost, false)) mErr << "kvtctl: the server is there again\n" << std::flush;
    return std::nullopt;
  }

  /// What a server without events has to be asked for.
  std::optional<Failure> poll() {
    if (auto failed = fetch()) {
      mHasEvents = true;  // it may be another one when it comes back
      return failed;
    }
    (void)mWaitForEnd(kPollInterval);
    return std::nullopt;
  }

  std::optional<Failure> follow() {
    mFailure.reset();
    EventStream stream([this](const StreamEvent& event) { return take(event); });
    auto lastWord = std::chrono::steady_clock::now();
    httpclient::Request request;
    request.url = "/1.0/events";
    request.headers = {"Accept: text/event-stream"};
    request.totalTimeout = kEndless;
    request.onBody = [&](std::string_view piece) {
      const bool goesOn = stream.take(piece);
      lastWord = std::chrono::steady_clock::now();
      return goesOn;
    };
    request.cancelled = [&] {
      const auto silence = std::chrono::steady_clock::now() - lastWord;
      if (silence > kHold) tellHeld();
      return isOver() || silence > kLongestSilence;
    };
    const auto response = mClient.exchange(std::move(request));
    tellHeld();
    if (mFailure) return mFailure;
    if (response.error == httpclient::ErrorKind::kNone) return ended(response);
    const auto answer = readAnswer(response, mClient.url());
    return answer ? std::nullopt : std::optional(answer.failure());
  }

  /// A stream that the server ended, or what it said in place of one.
  std::optional<Failure> ended(const httpclient::Response& response) {
    const bool isStream = response.ok() && headerOf(response, "Content-Type").rfind("text/event-stream", 0) == 0;
    if (isStream) return std::nullopt;
    const auto answer = readAnswer(response, mClient.url());
    if (!answer && answer.failure().code == ExitCode::kNotAllowed) return answer.failure();
    mHasEvents = false;
    return poll();
  }

  void tellHeld() {
    for (const json::Object& delta : std::exchange(mHeld, {}))
      print(mChanges.applyServers(delta));
  }

  bool take(const StreamEvent& event) {
    if (event.name == "hello" || event.name == "reset") {
      mHeld.clear();
      mFailure = fetch();
      return !mFailure && !isOver();
    }
    json::Object data;
    try {
      json::Reader::Read(data, event.data);
    } catch (const json::Exception& e) {
      mFailure =
          Failure{ExitCode::kNonsense, std::string("the server sent an event that is no JSON object: ") + e.what()};
      return false;
    }
    const auto sights = event.name == "sightings" ? mChanges.applySightings(data) : ServerChanges::List();
    tellHeld();
    print(sights);
    if (event.name == "servers") mHeld.push_back(std::move(data));
    return !isOver();
  }

  using Objects = std::vector<json::Object>;

  const Format mFormat;
  const RestClient& mClient;
  std::ostream& mOut;
  std::ostream& mErr;
  const EndWait& mWaitForEnd;
  ServerChanges mChanges;
  std::vector<json::Object> mHeld;  ///< news of the list that are not told yet: at most those of one moment
  std::optional<Failure> mFailure;  ///< why the stream under way was given up
  bool mHasBegun = false;           ///< everything was told once
  bool mHasEvents = true;
  bool mIsThere = false;  ///< the server has answered in this turn
  bool mIsLost = false;   ///< the user knows that it has not
};

}  // namespace

ExitCode runWatchCommand(const Options& options, const RestClient& client, std::ostream& out, std::ostream& err,
                         const EndWait& waitForEnd) {
  return Watch(options, client, out, err, waitForEnd).run();
}

}  // namespace cli
