#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "framework/utils/Observer.h"

namespace {

namespace observer = utils::observer;

struct Witness : utils::Observer {
  void sighted(const utils::Sighting& sighting) override { told.push_back("sighted " + sighting.address); }
  void passBegan() override { told.emplace_back("began"); }
  void passEnded(const utils::PassReport& report) override { told.push_back("ended " + std::to_string(report.found)); }
  void counted(std::string_view counter, std::string_view kind, unsigned long by) override {
    told.push_back(std::string(counter) + "/" + std::string(kind) + " " + std::to_string(by));
  }
  void measured(std::string_view gauge, double) override { told.emplace_back(gauge); }
  void inventoryChanged() override { throw std::runtime_error("whatever"); }

  std::vector<std::string> told;
};

class ObserverTest : public ::testing::Test {
 protected:
  ~ObserverTest() override { observer::set(nullptr); }
};

void tellEverything() {
  observer::sighted({"192.0.2.1", "", utils::Sighting::Source::kSlp, utils::Sighting::Outcome::kSeen, ""});
  observer::passBegan();
  observer::passEnded({std::chrono::milliseconds(1), 3, 2});
  observer::counted("records", "received", 2);
  observer::measured("jobs", 1);
}

TEST_F(ObserverTest, IsToldEverything) {
  const auto witness = std::make_shared<Witness>();
  observer::set(witness);
  tellEverything();
  EXPECT_EQ(witness->told,
            (std::vector<std::string>{"sighted 192.0.2.1", "began", "ended 3", "records/received 2", "jobs"}));
}

TEST_F(ObserverTest, NeedsNotBeThere) {
  const auto witness = std::make_shared<Witness>();
  observer::set(witness);
  observer::set(nullptr);
  tellEverything();
  EXPECT_TRUE(witness->told.empty());
}

TEST_F(ObserverTest, HurtsNobodyByThrowing) {
  observer::set(std::make_shared<Witness>());
  observer::inventoryChanged();
}

TEST_F(ObserverTest, MayGoWhileOthersTell) {
  struct Counter : Witness {
    void passBegan() override { ++count; }
    std::atomic<int> count = 0;
  };
  const auto counter = std::make_shared<Counter>();
  std::atomic<bool> stop = false;
  std::thread teller([&] {
    while (!stop)
      observer::passBegan();
  });
  while (counter->count < 100) {
    observer::set(counter);
    observer::set(nullptr);
  }
  stop = true;
  teller.join();
}

}  // namespace
