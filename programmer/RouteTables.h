// The tables that the machine of a VRF programs from.
#pragma once

#include "model/MrouteTable.h"

namespace Brindle {

struct RouteTables {
  Zet::Ptr<MrouteTable const> mrouteTable;
  // L2 routes are the default VRF's only: null elsewhere.
  Zet::Ptr<MrouteTable const> l2FloodsetTable;

  // Whether the resolver has yet to look at the route. Nobody does at what agents asked for.
  bool isDirty(Mroute const & mroute) const {
    if (mroute.key().kind() == Routing::Multicast::Fib::mcastGroup_) return false;
    MrouteTable const * l2 = l2FloodsetTable.get();
    bool const isL2 = l2 && l2->mroute(mroute.key()) == &mroute;
    DirtyInfo const * dirty = (isL2 ? l2 : mrouteTable.get())->dirtyInfo().get();
    return dirty && dirty->mrouteDirty(mroute);
  }
};

}  // namespace Brindle
