#pragma once

#include <functional>

#include "host/http/Lane.h"
#include "host/http/Service.h"
#include "state/Accounts.h"

namespace host {

/// Answers with what the work returns, from a lane's thread. False when the lane is full or closed: the answer is then
/// 503. Work that throws is answered 500.
bool workOn(Lane& lane, const Service::Done& done, std::function<Answer()> work);

/// Why the accounts were not changed.
Answer refusedAnswer(const state::Accounts::Refusal& refusal);

}  // namespace host
