// Which L2 routes are to stand: floodsets of VLANs, static and snooped Ethernet groups.
#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"

namespace Brindle {

void MiraRoot::floodToVlanWithPimIs(bool v) { floodToVlanWithPim_ = v; }
void MiraRoot::disableL2FloodingIs(bool v) { disableL2Flooding_ = v; }
void MiraRoot::vxlanVlanIs(Bridging::VlanId vid, bool v) {
  v ? vxlanVlan_.insert(vid) : vxlanVlan_.del(vid);
}
void MiraRoot::l2EnabledOnVlanIs(Bridging::VlanId vid, bool v) {
  v ? l2EnabledOnVlan_.insert(vid) : l2EnabledOnVlan_.del(vid);
}
void MiraRoot::l2RouteIs(RouteKey const & key, bool v) {
  if (v) {
    l2Route_.at(key) = true;
  } else {
    l2Route_.del(key);
  }
}

}  // namespace Brindle
