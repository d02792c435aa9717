// The internal VLANs of interfaces as a machine last saw them: a change of one needs the old value.
#pragma once

#include "state/IntfVlanId.h"

namespace Brindle {

class LastInternalVlans {
 public:
  using VlanIdOrNone = Bridging::VlanIdOrNone;
  struct Change {
    VlanIdOrNone was;
    VlanIdOrNone is;
    explicit operator bool() const { return was != is; }
  };

  auto const & internalVlanId() const { return internalVlanId_; }
  // All as they are now.
  void adopt(IntfVlanId::Table const & table) { internalVlanId_ = table.internalVlanId(); }
  // Notes what the interface has now; none counts as 0.
  Change note(IntfVlanId::Table const & table, Nettle::IntfId intf) {
    VlanIdOrNone const * const held = internalVlanId_.find(intf);
    Change const change{held ? *held : VlanIdOrNone(), table.internalVlanId(intf)};
    if (!change.is) {
      internalVlanId_.del(intf);
    } else if (change) {
      internalVlanId_.at(intf) = change.is;
    }
    return change;
  }

 private:
  Zet::RbTreeMap<Nettle::IntfId, VlanIdOrNone> internalVlanId_;
};

}  // namespace Brindle
