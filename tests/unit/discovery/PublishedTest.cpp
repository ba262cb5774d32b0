#include <string>

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
