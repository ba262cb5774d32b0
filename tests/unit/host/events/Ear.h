#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

#include "host/http/AnswerStream.h"

namespace host_test {

/// A client of a stream: keeps what it is sent.
class Ear {
 public:
  host::AnswerStream::Send send() {
    return [state = mState](const std::string& piece) {
      const std::lock_guard lock(state->mutex);
      if (piece.empty()) state->hasEnded = true;
      state->heard += piece;
      ++state->pieces;
      state->largest = std::max(state->largest, piece.size());
      return !state->isDeaf;
    };
  }

  std::string heard() const {
    const std::lock_guard lock(mState->mutex);
    return mState->heard;
  }
  bool has(const std::string& text) const { return heard().find(text) != std::string::npos; }
  int pieces() const {
    const std::lock_guard lock(mState->mutex);
    return mState->pieces;
  }
  /// Bytes of the largest piece.
  std::size_t largest() const {
    const std::lock_guard lock(mState->mutex);
    return mState->largest;
  }
  bool hasEnded() const {
    const std::lock_guard lock(mState->mutex);
    return mState->hasEnded;
  }
  /// From now on it takes nothing.
  void turnAway() {
    const std::lock_guard lock(mState->mutex);
    mState->isDeaf = true;
  }

 private:
  struct State {
    std::mutex mutex;
    std::string heard;
    int pieces = 0;
    std::size_t largest = 0;
    bool hasEnded = false;
    bool isDeaf = false;
  };
  std::shared_ptr<State> mState = std::make_shared<State>();
};

}  // namespace host_test
