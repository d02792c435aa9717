// What becomes of a route table's files besides what its publisher writes. The table must have no
// publisher; these throw CommandError if it has one.
#pragma once

#include <string>

#include "platform/IpGenAddr.h"

namespace Brindle::Sim {

// Takes the table away, as a protocol does that is taken out of service.
void removeTable(std::string const & table);

// How the file of a table's routes goes bad: something else takes its place, or it is cut short
// under the hands of those who have mapped it.
enum class Damage { replaced, cutShort };
void damageTable(std::string const & table, Damage damage);
// The same of what bidirectional PIM publishes beside such a table, but what takes a record's place
// is one that contradicts itself.
void damageBidirTable(std::string const & routeTable, Nettle::AddressFamily af, Damage damage);

}  // namespace Brindle::Sim
