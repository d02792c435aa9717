// An entry for all traffic from a prefix to a prefix of groups that comes in on a VLAN, in every
// chip of a fabric. It goes nowhere: connected subnets catch what their hosts send by it,
// boundaries keep groups out by it.
#pragma once

#include "fabric/Fabric.h"
#include "model/RouteHandle.h"

namespace Brindle {

// The handles of such an entry, of whatever kind of chips, and how they take it out.
template <class Chip, auto del = &Chip::doDeleteRoute> class ChipHandles {
 public:
  struct Entry {
    Zet::Ptr<Chip> chip;
    RouteHandle handle;
  };
  // By the chip's name. A chip that has left the fabric stays until it is taken out.
  auto const & routeHandle() const { return routeHandle_; }
  void routeHandleIs(Zet::Ptr<Chip> const & chip, RouteHandle handle) {
    routeHandle_.at(chip->name()) = {chip, handle};
  }
  void routeHandleDel(Zet::Ptr<Chip> const & chip) { routeHandle_.del(chip->name()); }

  // Takes the entries out of the chips; null stands for none.
  void doDelete() {
    for (auto i = routeHandle_.begin(); i; i.advance()) {
      Entry const entry = i->value;
      if (!entry.handle.isNull()) (entry.chip.get()->*del)(entry.handle);
      routeHandleDel(entry.chip);
    }
  }

 private:
  Zet::RbTreeMap<Zet::Name, Entry> routeHandle_;
};

class BRINDLE_API TcamEntry : public ChipHandles<SwitchChip> {
 public:
  // Takes an entry of each chip and brings it into effect. False at the first that has no room,
  // which is told to the operator; what the others have taken stands until doDelete(). `intf` is
  // for traces.
  bool doProgram(Fabric const & fabric, SwitchChip::RouteKey const & key,
                 Bridging::VlanIdOrNone vlan, std::string_view intf);

 private:
  bool doProgram(Zet::Ptr<SwitchChip> const & chip, SwitchChip::RouteKey const & key,
                 Bridging::VlanIdOrNone vlan, std::string_view intf);
};

}  // namespace Brindle
