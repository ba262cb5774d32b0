#include "host/security/Work.h"

#include <exception>
#include <utility>

#include "framework/utils/Log.h"
#include "host/security/Answers.h"

namespace host {
namespace {

using Reason = state::Accounts::Refusal::Reason;

Answer guarded(const std::function<Answer()>& work) {
  try {
    return work();
  } catch (const std::exception& error) {
    utils::formatted_log_t(utils::LOG_ERROR, "Access: the accounts could not be worked on: %1%") % error.what();
    return failureAnswer(500, "The accounts cannot be used; the log of the server says why");
  }
}

int statusOf(Reason reason) {
  switch (reason) {
    case Reason::kBadInput:
      return 400;
    case Reason::kMissing:
      return 404;
    case Reason::kExists:
    case Reason::kFull:
      return 409;
    case Reason::kUnusable:
      return 503;
  }
  return 500;
}

}  // namespace

bool workOn(Lane& lane, const Service::Done& done, std::function<Answer()> work) {
  const bool taken = lane.submit([done, work = std::move(work)] { done(guarded(work)); });
  if (!taken) done(laterAnswer(503, "The server is busy, try again", std::chrono::seconds(1)));
  return taken;
}

Answer refusedAnswer(const state::Accounts::Refusal& refusal) {
  if (refusal.reason != Reason::kUnusable) return failureAnswer(statusOf(refusal.reason), refusal.text);
  utils::formatted_log_t(utils::LOG_ERROR, "Access: %1%") % refusal.text;  // it names a file
  return failureAnswer(503, "The accounts cannot be used; the log of the server says why");
}

}  // namespace host
