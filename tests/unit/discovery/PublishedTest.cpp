#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "discovery/Published.h"

namespace {

using discovery::Published;

TEST(Published, HoldsNothingAtFirst) {
  const Published<int> value;
  EXPECT_EQ(value.load(), nullptr);
}

TEST(Published, GivesWhatWasStoredLast) {
  Published<const std::string> value(std::make_shared<std::string>("first"));
  EXPECT_EQ(*value.load(), "first");
  value.store(std::make_shared<std::string>("second"));
  EXPECT_EQ(*value.load(), "second");
  value.store(nullptr);
  EXPECT_EQ(value.load(), nullptr);
}

TEST(Published, LeavesAReaderItsValue) {
  Published<const std::string> value(std::make_shared<std::string>("first"));
  const auto read = value.load();
  value.store(std::make_shared<std::string>("second"));
  EXPECT_EQ(*read, "first");
}

TEST(Published, StoresIfEmptyOnlyOnce) {
  Published<int> value;
  EXPECT_TRUE(value.storeIfEmpty(std::make_shared<int>(1)));
  EXPECT_FALSE(value.storeIfEmpty(std::make_shared<int>(2)));
  EXPECT_EQ(*value.load(), 1);
}

using Number = std::shared_ptr<const int>;

TEST(Published, MakesTheNewValueOfTheOldOne) {
  Published<const int> value;
  value.update([](const Number& before) { return std::make_shared<const int>(before ? 0 : 1); });
  EXPECT_EQ(*value.load(), 1);
  value.update([](const Number& before) { return std::make_shared<const int>(*before + 1); });
  EXPECT_EQ(*value.load(), 2);
}

TEST(Published, MakesTheNewValueAnewWhenAnotherThreadWasFaster) {
  Published<const int> value(std::make_shared<const int>(1));
  int calls = 0;
  value.update([&](const Number& before) {
    if (++calls == 1) value.store(std::make_shared<const int>(10));  // would wait for ever with the lock held
    return std::make_shared<const int>(*before + 1);
  });
  EXPECT_EQ(*value.load(), 11);
  EXPECT_EQ(calls, 2);
}

TEST(Published, LosesNoChangeOfAnyThread) {
  constexpr int kChanges = 2000;
  Published<const int> value(std::make_shared<const int>(0));
  const auto countUp = [&value] {
    for (int i = 0; i < kChanges; ++i)
      value.update([](const Number& before) { return std::make_shared<const int>(*before + 1); });
  };
  std::thread one(countUp);
  std::thread two(countUp);
  one.join();
  two.join();
  EXPECT_EQ(*value.load(), 2 * kChanges);
}

TEST(Published, KeepsItsValueWhenTheNewOneCannotBeMade) {
  Published<const int> value(std::make_shared<const int>(1));
  const auto fail = [](const Number&) -> Number { throw std::runtime_error("no memory"); };
  EXPECT_THROW(value.update(fail), std::runtime_error);
  EXPECT_EQ(*value.load(), 1);
  value.store(std::make_shared<const int>(2));
  EXPECT_EQ(*value.load(), 2);
}

TEST(Published, EndsAReplacedValueOutsideOfItsLock) {
  struct Value {
    explicit Value(Published<Value>& itsHolder) : holder(itsHolder) {}
    ~Value() { holder.load(); }  // would wait for ever with the lock held
    Published<Value>& holder;
  };
  Published<Value> value;
  value.store(std::make_shared<Value>(value));
  value.store(nullptr);
  EXPECT_EQ(value.load(), nullptr);
}

}  // namespace
