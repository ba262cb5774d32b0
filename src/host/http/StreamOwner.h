#pragma once

#include <exception>
#include <memory>
#include <utility>

#include "framework/utils/Log.h"
#include "host/http/AnswerStream.h"

namespace host {

/// Sees to it that an answer that goes on is told its end, once, whatever becomes of it on its way.
class StreamOwner {
 public:
  explicit StreamOwner(std::shared_ptr<AnswerStream> stream = {}) : mStream(std::move(stream)) {}
  ~StreamOwner() { end(); }
  StreamOwner(StreamOwner&& other) noexcept : mStream(std::move(other.mStream)) {}
  StreamOwner& operator=(StreamOwner&& other) noexcept {
    end();
    mStream = std::move(other.mStream);
    return *this;
  }

  explicit operator bool() const { return mStream != nullptr; }
  AnswerStream* operator->() const { return mStream.get(); }

  void end() noexcept {
    const auto stream = std::exchange(mStream, nullptr);
    if (!stream) return;
    try {
      stream->end();
    } catch (const std::exception& error) {
      utils::logging::write(utils::LOG_ERROR, std::string("Front: the end of a stream failed:") + error.what());
    }
  }

 private:
  std::shared_ptr<AnswerStream> mStream;
};

}  // namespace host
