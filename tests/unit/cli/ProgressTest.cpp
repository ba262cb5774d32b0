#include <mutex>
#include <sstream>
#include <streambuf>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/Progress.h"
#include "support/Wait.h"

namespace cli {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// A terminal that may be looked at while somebody writes to it.
class SharedText : public std::streambuf {
 public:
  std::string text() const {
    const std::lock_guard lock(mMutex);
    return mText;
  }

 protected:
  std::streamsize xsputn(const char* data, std::streamsize size) override {
    const std::lock_guard lock(mMutex);
    mText.append(data, static_cast<std::size_t>(size));
    return size;
  }
  int overflow(int c) override {
    const std::lock_guard lock(mMutex);
    mText += static_cast<char>(c);
    return c;
  }

 private:
  mutable std::mutex mMutex;
  std::string mText;
};

constexpr std::chrono::milliseconds kStep{1};

TEST(Progress, ShowsWhatIsDoneAndForHowLong) {
  SharedText terminal;
  std::ostream out(&terminal);
  {
    Progress progress(out, true, "looking for \x1b[2J", kStep);
    EXPECT_TRUE(support::waitFor([&] { return terminal.text().find("- looking") != std::string::npos; }));
    progress.say("asking");
    EXPECT_TRUE(support::waitFor([&] { return terminal.text().find("asking, 0 s") != std::string::npos; }));
  }
  EXPECT_THAT(terminal.text(), StartsWith("\r\x1b[K| looking for \\u001b[2J, 0 s\r\x1b[K/ looking for"));
  EXPECT_THAT(terminal.text(), EndsWith("\r\x1b[K"));
}

TEST(Progress, ShowsNothingWhenNobodyLooks) {
  std::ostringstream out;
  {
    Progress progress(out, false, "looking", kStep);
    progress.say("asking");
  }
  EXPECT_EQ(out.str(), "");
}

TEST(Progress, ShowsNothingOfWhatIsThereAtOnce) {
  std::ostringstream out;
  { const Progress progress(out, true, "looking", std::chrono::hours(1)); }
  EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace cli
