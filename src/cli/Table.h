#pragma once

#include <string>
#include <vector>

namespace cli {

/// Rows of text under headings, in aligned columns. Cells may hold anything: they are neutralised and shortened.
class Table {
 public:
  /// Without headings, only the rows are written.
  explicit Table(std::vector<std::string> headings = {});

  /// Cells beyond the others' number are fine; missing ones are empty.
  void add(std::vector<std::string> cells);

  /// Lines ended by line feeds, without blanks at their ends.
  std::string text() const;

 private:
  std::vector<std::vector<std::string>> mRows;
};

}  // namespace cli
