#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "slp/config/Properties.h"

namespace slp::api {
namespace {

/// "| `net.slp.x` | `value` | ms | yes | what it does |" without the marks: the cells of a row.
std::vector<std::string> cellsOf(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream stream(line.substr(1));
  std::string cell;
  while (std::getline(stream, cell, '|')) {
    std::erase(cell, '`');
    const std::size_t first = cell.find_first_not_of(' ');
    const std::size_t last = cell.find_last_not_of(' ');
    cells.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
  }
  return cells;
}

std::vector<std::vector<std::string>> documentedProperties() {
  std::ifstream file(SD_DOCS "/slp.md");
  std::vector<std::vector<std::string>> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("| `net.slp.")) rows.push_back(cellsOf(line));
  }
  return rows;
}

TEST(Documentation, ListsEveryPropertyAsTheTableHasIt) {
  const auto rows = documentedProperties();
  const auto& table = config::propertyTable();
  ASSERT_EQ(rows.size(), table.size());
  for (std::size_t i = 0; i < table.size(); ++i) {
    ASSERT_GE(rows[i].size(), 5u) << rows[i][0];
    EXPECT_EQ(rows[i][0], table[i].name);
    EXPECT_EQ(rows[i][1], table[i].defaultValue) << rows[i][0];
    EXPECT_EQ(rows[i][2], table[i].unit) << rows[i][0];
    EXPECT_EQ(rows[i][3], table[i].readOnly ? "file" : "") << rows[i][0];
    EXPECT_EQ(rows[i][4], table[i].meaning) << rows[i][0];
  }
}

}  // namespace
}  // namespace slp::api
