#include "cli/EventStream.h"

#include <utility>

namespace cli {

bool EventStream::take(std::string_view piece) {
  while (!piece.empty()) {
    if (std::exchange(mSkipsLineFeed, false) && piece.front() == '\n') {
      piece.remove_prefix(1);
      continue;
    }
    const std::size_t end = piece.find_first_of("\r\n");
    mLine.append(piece.substr(0, end));
    if (mLine.size() + mEvent.data.size() > kMostBytes) return false;
    if (end == std::string_view::npos) return true;
    mSkipsLineFeed = piece[end] == '\r';
    piece.remove_prefix(end + 1);
    const std::string line = std::exchange(mLine, {});
    if (!takeLine(line)) return false;
  }
  return true;
}

bool EventStream::takeLine(std::string_view line) {
  if (line.empty()) return dispatch();
  const std::size_t colon = line.find(':');
  const std::string_view field = line.substr(0, colon);
  std::string_view value = colon == std::string_view::npos ? std::string_view() : line.substr(colon + 1);
  if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
  if (field == "event") {
    mEvent.name = value;
  } else if (field == "data") {
    if (std::exchange(mHasData, true)) mEvent.data += '\n';
    mEvent.data += value;
  }
  return true;
}

bool EventStream::dispatch() {
  StreamEvent event = std::exchange(mEvent, {});
  if (!std::exchange(mHasData, false)) return true;
  if (event.name.empty()) event.name = "message";
  return mSink(event);
}

}  // namespace cli
