#include <string>

#include <gtest/gtest.h>

#include "cli/Table.h"

namespace cli {
namespace {

TEST(Table, AlignsItsColumnsAndLeavesNoBlanksAtTheEnds) {
  Table table({"ID", "ADDRESS", "HOW"});
  table.add({"one", "10.0.0.1", ""});
  table.add({"a-longer-one", "10.0.0.22", "manual"});
  EXPECT_EQ(table.text(),
            "ID            ADDRESS    HOW\n"
            "one           10.0.0.1\n"
            "a-longer-one  10.0.0.22  manual\n");
}

TEST(Table, KeepsTheColumnOfACellAfterAnEmptyOne) {
  Table table({"A", "B", "C"});
  table.add({"", "", "x"});
  EXPECT_EQ(table.text(), "A  B  C\n      x\n");
}

TEST(Table, CountsColumnsAndNotBytes) {
  Table table;
  table.add({"K\xC3\xB6ln", "x"});
  table.add({"\xE6\x9D\xB1\xE4\xBA\xAC", "x"});
  EXPECT_EQ(table.text(), "K\xC3\xB6ln  x\n\xE6\x9D\xB1\xE4\xBA\xAC  x\n");
}

TEST(Table, KeepsEachRowOnOneLineWhateverItsCellsHold) {
  Table table({"ID"});
  table.add({"evil\nfake-row\r\x1b[2J"});
  EXPECT_EQ(table.text(), "ID\nevil\\u000afake-row\\u000d\\u001b[2J\n");
}

TEST(Table, CutsEndlessCells) {
  Table table;
  table.add({std::string(1'000'000, 'x'), "y"});
  EXPECT_LT(table.text().size(), 100u);
}

TEST(Table, OfHeadingsAloneIsOneLine) {
  EXPECT_EQ(Table({"ID", "HOW"}).text(), "ID  HOW\n");
}

}  // namespace
}  // namespace cli
