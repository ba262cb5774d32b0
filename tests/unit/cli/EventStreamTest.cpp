#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/EventStream.h"

namespace cli {
namespace {

using testing::ElementsAre;

/// "name|data" of each event, for a text that comes in pieces of that size.
std::vector<std::string> eventsOf(const std::string& text, std::size_t size) {
  std::vector<std::string> events;
  EventStream stream([&events](const StreamEvent& event) {
    events.push_back(event.name + "|" + event.data);
    return true;
  });
  for (std::size_t i = 0; i < text.size(); i += size)
    EXPECT_TRUE(stream.take(std::string_view(text).substr(i, size)));
  return events;
}

TEST(EventStream, IsReadInPiecesOfEverySize) {
  const std::string text =
      "event: hello\ndata: {\"version\":\"1\"}\n\n: still here\n\nevent:servers\ndata:{\ndata: }\n\n";
  for (std::size_t size = 1; size <= text.size(); ++size)
    EXPECT_THAT(eventsOf(text, size), ElementsAre("hello|{\"version\":\"1\"}", "servers|{\n}")) << size;
}

TEST(EventStream, TakesEveryEndOfALine) {
  for (const std::size_t size : {1u, 100u}) {
    EXPECT_THAT(eventsOf("event: a\r\ndata: 1\r\n\r\nevent: b\rdata: 2\r\rdata: 3\n\n", size),
                ElementsAre("a|1", "b|2", "message|3"));
  }
}

TEST(EventStream, PassesOverWhatIsNoEvent) {
  EXPECT_THAT(eventsOf("event: empty\n\nid: 5\nretry: 1\nnonsense\n\ndata\n\n", 100), ElementsAre("message|"));
}

TEST(EventStream, KeepsAnEventThatHasNotEnded) {
  EXPECT_TRUE(eventsOf("event: a\ndata: 1\n", 100).empty());
}

TEST(EventStream, EndsWhenNoMoreIsWanted) {
  int count = 0;
  EventStream stream([&count](const StreamEvent&) { return ++count < 2; });
  EXPECT_FALSE(stream.take("data: 1\n\ndata: 2\n\ndata: 3\n\n"));
  EXPECT_EQ(count, 2);
}

TEST(EventStream, EndsWithAnEventThatIsTooLarge) {
  EventStream stream([](const StreamEvent&) { return true; });
  const std::string piece(EventStream::kMostBytes / 4, 'x');
  for (int i = 0; i < 4; ++i)
    EXPECT_TRUE(stream.take(piece)) << i;
  EXPECT_FALSE(stream.take("x"));
}

}  // namespace
}  // namespace cli
