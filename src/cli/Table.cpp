#include "cli/Table.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "cli/Text.h"

namespace cli {
namespace {

constexpr std::size_t kWidestCell = 72;
constexpr std::size_t kGap = 2;

std::vector<std::size_t> widthsOf(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], displayWidth(row[i]));
  }
  return widths;
}

void appendLine(std::string& text, const std::vector<std::string>& row, const std::vector<std::size_t>& widths) {
  std::size_t pending = 0;  // blanks owed before the next cell that has a text
  for (std::size_t i = 0; i < row.size(); ++i) {
    if (!row[i].empty()) text.append(std::exchange(pending, 0), ' ').append(row[i]);
    pending += widths[i] - displayWidth(row[i]) + kGap;
  }
  text += '\n';
}

}  // namespace

Table::Table(std::vector<std::string> headings) {
  if (!headings.empty()) add(std::move(headings));
}

void Table::add(std::vector<std::string> cells) {
  for (std::string& cell : cells)
    cell = shorten(neutralise(cell), kWidestCell);
  mRows.push_back(std::move(cells));
}

std::string Table::text() const {
  const std::vector<std::size_t> widths = widthsOf(mRows);
  std::string result;
  for (const auto& row : mRows)
    appendLine(result, row, widths);
  return result;
}

}  // namespace cli
