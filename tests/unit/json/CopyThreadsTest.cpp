#include <atomic>
#include <barrier>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "json/elements.h"
#include "json/lookup.h"
#include "unit/json/Documents.h"

// Their verdict is worth most under the thread sanitizer.
namespace {

using json::Array;
using json::Number;
using json::Object;
using json::String;
using json::UnknownElement;

constexpr int kThreads = 4;
constexpr int kRounds = 300;
constexpr const char* kText =
    R"({"id":0,"name":"a text too long for a short string","nics":[{"ip":"10.0.0.1"}],"os":{"n":{}}})";

template <typename Work>
void inThreads(Work work) {
  std::barrier start(kThreads);
  std::vector<std::jthread> threads;
  for (int id = 0; id < kThreads; ++id) {
    threads.emplace_back([&start, &work, id] {
      start.arrive_and_wait();
      work(id);
    });
  }
}

TEST(JsonThreads, WriteToCopiesOfOneDocumentIndependently) {
  for (int round = 0; round < kRounds; ++round) {
    const Object original = parsed(kText);
    std::vector<Object> copies(kThreads, original);
    inThreads([&](int id) {
      Object& mine = copies[static_cast<std::size_t>(id)];
      mine["id"] = Number(id);
      static_cast<String&>(mine["name"]).Value() += std::to_string(id);
      static_cast<Array&>(mine["nics"])[0]["ip"] = String(std::to_string(id));
      static_cast<Object&>(mine["os"]["n"])["id"] = Number(id);
    });
    EXPECT_EQ(written(original), kText);
    for (int id = 0; id < kThreads; ++id) {
      const std::string text = std::to_string(id);
      EXPECT_EQ(written(copies[static_cast<std::size_t>(id)]),
                R"({"id":)" + text + R"(,"name":"a text too long for a short string)" + text + R"(","nics":[{"ip":")" +
                    text + R"("}],"os":{"n":{"id":)" + text + "}}}");
    }
  }
}

TEST(JsonThreads, CopyOneConstDocumentAtOnce) {
  Object lent = parsed(kText);
  lent["os"]["n"]["x"] = Number(1);
  const Object& shared = lent;
  const std::string text = written(shared);
  inThreads([&](int) {
    for (int round = 0; round < kRounds; ++round) {
      Object copy = shared;
      const UnknownElement element = shared["nics"];
      copy["nics"] = element;
      copy.Insert(Object::Member("more", element));
      copy.Erase(copy.Find("more"));
      EXPECT_EQ(written(copy), text);
      EXPECT_EQ(json::textAt(shared, {"name"}).size(), 34u);
    }
  });
  EXPECT_EQ(written(shared), text);
}

TEST(JsonThreads, ReleaseTheLastCopyFromAnyThread) {
  for (int round = 0; round < kRounds; ++round) {
    std::vector<UnknownElement> copies(kThreads, parsed(kText));
    inThreads([&](int id) { copies[static_cast<std::size_t>(id)] = Number(id); });
    for (int id = 0; id < kThreads; ++id) {
      EXPECT_TRUE(copies[static_cast<std::size_t>(id)] == Number(id));
    }
  }
}

TEST(JsonThreads, SeeEveryPublishedVersionWhole) {
  std::mutex mutex;
  Object published = parsed(R"({"left":0,"inner":{"right":0}})");
  std::atomic<bool> stop = false;
  std::jthread writer([&] {
    Object mine = parsed(R"({"left":0,"inner":{"right":0}})");
    for (int version = 1; version <= kRounds; ++version) {
      Number& right = mine["inner"]["right"];
      mine["left"] = Number(version);
      right = version;
      const std::lock_guard lock(mutex);
      published = mine;
    }
    stop = true;
  });
  bool last = false;
  while (!last) {
    last = stop;
    const Object seen = [&] {
      const std::lock_guard lock(mutex);
      return published;
    }();
    ASSERT_EQ(json::numberAt(seen, {"left"}), json::numberAt(seen, {"inner", "right"}));
    if (last) {
      EXPECT_EQ(json::numberAt(seen, {"left"}), kRounds);
    }
  }
}

}  // namespace
