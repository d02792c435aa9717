// An entry of a chip, as it is looked at.
#pragma once

#include "fabric/SimFabric.h"

namespace Brindle::Sim {

struct ChipEntry {
  // What an entry matches.
  using Match = SimSwitchChip::SimRouteKey;

  RouteHandle handle;  // null for a set that stands without an entry
  Match key;
  SwitchChip::RpaIndex rpaId = Shoal::Multicast::Fib::rpaNone;
  Zet::Ptr<OifSet const> oifSet;  // that packets go out of; null for none
  bool active = false;            // the chip forwards by it
  U32 set = 0;                    // the set's number, where several entries may share it
  U32 multicastId = 0;            // of a set that is known by one
};

}  // namespace Brindle::Sim
