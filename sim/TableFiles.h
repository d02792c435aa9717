// What becomes of a route table's files besides what its publisher writes. The table must have no
// publisher; these throw CommandError if it has one.
#pragma once

#include <string>

namespace Brindle::Sim {

// Takes the table away, as a protocol does that is taken out of service.
void removeTable(std::string const & table);

// How the file of a table's routes goes bad: something else takes its place, or it is cut short
// under the hands of those who have mapped it.
enum class Damage { replaced, cutShort };
void damageTable(std::string const & table, Damage damage);

}  // namespace Brindle::Sim
