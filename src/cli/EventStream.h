#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace cli {

/// One event that a server sent.
struct StreamEvent {
  std::string name;  ///< "message" when it has none
  std::string data;  ///< its lines with line feeds between them
};

/// Takes the text/event-stream of a server (the format of the HTML standard) apart, in pieces as they come. What
/// is no event, comments among it, is passed over. An event that is larger than `kMostBytes` ends it. For one thread.
class EventStream {
 public:
  static constexpr std::size_t kMostBytes = 64 * 1024 * 1024;

  /// False from `sink` ends it.
  using Sink = std::function<bool(const StreamEvent&)>;

  explicit EventStream(Sink sink) : mSink(std::move(sink)) {}

  /// False when it has ended: nothing further is read.
  bool take(std::string_view piece);

 private:
  bool takeLine(std::string_view line);
  bool dispatch();

  Sink mSink;
  std::string mLine;  ///< the beginning of one whose end has not come
  bool mSkipsLineFeed = false;
  bool mHasData = false;
  StreamEvent mEvent;
};

}  // namespace cli
