// Rows of words in aligned columns.
#pragma once

#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

namespace Brindle::Sim {

class TextTable {
 public:
  explicit TextTable(std::initializer_list<std::string> heads) : rows_{heads} {}

  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  bool empty() const { return rows_.size() == 1; }
  // Indented by two blanks; nothing if there is no row.
  void print(std::ostream & out) const;

 private:
  std::vector<std::vector<std::string>> rows_;  // the heads first
};

}  // namespace Brindle::Sim
