#include "mira/InputReactors.h"

#include "mira/MiraRoot.h"

namespace Brindle {

L3::VrfName MiraRoot::doGetVrfNameFromVid(Bridging::VlanIdOrNone vid) const {
  if (!vid) return L3::VrfName::defaultVrf();
  return doGetVrfNameFromIntfId(in_.intfVlanIdTable->vlanIdToIntfId(vid));
}

L3::VrfName MiraRoot::doGetVrfNameFromIntfId(Nettle::IntfId intf) const {
  auto const * status = in_.ipStatus->ipIntfStatus(intf);
  return status && !status->vrf().empty() ? status->vrf() : L3::VrfName::defaultVrf();
}

Mira * MiraRoot::miraOfVlan(Bridging::VlanIdOrNone vid) const {
  return mira_.find(doGetVrfNameFromVid(vid));
}

Mira * MiraRoot::miraOfIntf(Nettle::IntfId intf) const {
  return mira_.find(doGetVrfNameFromIntfId(intf));
}

void MiraRoot::configuredLagMembersInOifSetIs(bool v) { configuredLagMembersInOifSet_ = v; }

}  // namespace Brindle
