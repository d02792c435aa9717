// What has changed in a chip behind the library's back: a bit has fallen over, another tool has
// been at work. What is written anew is whole again.
#pragma once

#include <map>
#include <optional>

#include "model/MrouteTableColl.h"
#include "sim/ChipEntry.h"

namespace Brindle::Sim {

// One thing that happens to an entry or its set.
struct Tamper {
  bool isRemoved = false;
  Bridging::VlanIdOrNone vlan;  // that it accepts in from now on; 0 for the same
  Nettle::IntfId added;         // an output; none for none
  Nettle::IntfId taken;
};

class Tampering {
 public:
  // Those that share the set share its fate.
  void tamper(ChipEntry const & entry, Tamper const & tamper);
  // What the chip has of what was written; nothing if that is gone.
  std::optional<ChipEntry> seen(ChipEntry entry) const;
  // An entry has been written anew, or deleted.
  void writtenIs(RouteHandle handle) { entries_.erase(handle.value); }
  void clear();

 private:
  struct Outputs {
    Zet::OrderedSet<Nettle::IntfId> added;
    Zet::OrderedSet<Nettle::IntfId> taken;
  };
  struct Change {
    bool isRemoved = false;
    Bridging::VlanIdOrNone vlan;
    Outputs outputs;
  };
  void apply(Outputs const &, ChipEntry &) const;

  std::map<U32, Change> entries_;  // by handle
  std::map<U32, Change> sets_;     // by number, which is not given twice
  // Sets of their own, of which the library's tables know nothing.
  Zet::Ptr<MrouteTableColl> const own_ = Zet::make<MrouteTableColl>();
};

}  // namespace Brindle::Sim
