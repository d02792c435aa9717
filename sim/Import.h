// A recorded Linux box as a switch: its bridges and ports as published records, its routes as a
// table in shared memory that a process of its own writes.
#pragma once

#include "sim/Host.h"
#include "sim/RecordedBox.h"

namespace Brindle::Sim {

// The tables are "kernel.<VRF>". Where no chip stands yet, a chip "c0" gets all ports. Says what it
// has done. Throws CommandError before it has changed anything.
void importBox(Host & host, RecordedBox const & box);

}  // namespace Brindle::Sim
