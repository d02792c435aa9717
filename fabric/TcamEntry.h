// An entry for all traffic from a prefix to a prefix of groups that comes in on a VLAN, in every
// chip of a fabric. It goes nowhere: connected subnets catch what their hosts send by it,
// boundaries keep groups out by it.
#pragma once

#include "fabric/Fabric.h"
#include "model/RouteHandle.h"

namespace Brindle {

class BRINDLE_API TcamEntry {
 public:
  struct Entry {
    Zet::Ptr<SwitchChip> chip;
    RouteHandle handle;
  };
  // By the chip's name. A chip that has left the fabric stays until it is taken out.
  auto const & routeHandle() const { return routeHandle_; }
  void routeHandleIs(Zet::Ptr<SwitchChip> const & chip, RouteHandle handle) {
    routeHandle_.at(chip->name()) = {chip, handle};
  }
  void routeHandleDel(Zet::Ptr<SwitchChip> const & chip) { routeHandle_.del(chip->name()); }
  void routeHandleDelAll() { routeHandle_.clear(); }

  // Takes an entry of each chip and brings it into effect. False at the first that has no room,
  // which is told to the operator; what the others have taken stands until doDelete(). `intf` is
  // for traces.
  bool doProgram(Fabric const & fabric, SwitchChip::RouteKey const & key,
                 Bridging::VlanIdOrNone vlan, std::string_view intf);
  void doDelete();

 private:
  bool doProgram(Zet::Ptr<SwitchChip> const & chip, SwitchChip::RouteKey const & key,
                 Bridging::VlanIdOrNone vlan, std::string_view intf);

  Zet::RbTreeMap<Zet::Name, Entry> routeHandle_;
};

}  // namespace Brindle
