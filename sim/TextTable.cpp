#include "sim/TextTable.h"

#include <algorithm>

namespace Brindle::Sim {

void TextTable::print(std::ostream & out) const {
  if (empty()) return;
  std::vector<std::size_t> widths(rows_.front().size());
  for (auto const & row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (auto const & row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line.append("  ").append(row[i]).append(widths[i] - row[i].size(), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

}  // namespace Brindle::Sim
