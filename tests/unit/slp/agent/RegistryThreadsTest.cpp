#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "slp/agent/Registry.h"

namespace slp::agent {
namespace {

const TimePoint kStart{std::chrono::hours(1)};

Registration service(int writer, int number) {
  const auto text = std::to_string(writer) + "-" + std::to_string(number);
  return {"service:test:http://" + text,
          number % 2 == 0 ? "service:test:http" : "service:test:" + text,
          "DEFAULT",
          "(number=" + std::to_string(number) + ")",
          "en",
          900};
}

void write(Registry& registry, int writer) {
  const Owner owner = kFirstConnection + static_cast<Owner>(writer);
  for (int round = 0; round < 20; ++round) {
    for (int number = 0; number < 20; ++number) {
      EXPECT_EQ(registry.add(service(writer, number), owner, kStart), wire::ErrorCode::kOk);
    }
    for (int number = 0; number < 10; ++number) {
      EXPECT_EQ(registry.remove(service(writer, number).url, owner), wire::ErrorCode::kOk);
    }
    if (round % 2 == 0) registry.removeAll(owner);
  }
}

/// Whatever a reader sees is whole.
void read(const Registry& registry, const std::atomic<bool>& done) {
  do {
    registry.findServices({"service:test", "DEFAULT", "(number=7)", "en"}, kStart, [](const Registry::Entry& entry) {
      EXPECT_EQ(entry.attributes, "(number=7)");
      return true;
    });
    registry.mergeAttributes({"service:test:http", "DEFAULT", "", "en"}, "number", kStart, 100,
                             [](const Registry::Entry&) { return true; });
    for (const auto& type : registry.types(std::nullopt, "DEFAULT"))
      EXPECT_EQ(type.substr(0, 13), "service:test:");
    EXPECT_LE(registry.size(), 60U);
  } while (!done);
}

TEST(RegistryThreads, ReadWhileOthersWrite) {
  Registry registry;
  std::atomic<bool> done = false;
  std::vector<std::thread> readers;
  std::vector<std::thread> writers;
  for (int i = 0; i < 3; ++i)
    readers.emplace_back([&] { read(registry, done); });
  for (int i = 0; i < 3; ++i)
    writers.emplace_back([&registry, i] { write(registry, i); });
  for (auto& writer : writers)
    writer.join();
  done = true;
  for (auto& reader : readers)
    reader.join();
  EXPECT_EQ(registry.size(), 30U);
}

}  // namespace
}  // namespace slp::agent
