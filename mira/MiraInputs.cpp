// Inputs that a Mira watches itself: each VRF has a view of its own of them.
#include "mira/Mira.h"
#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanIdOrNone;
using Nettle::IntfId;

namespace {

Zet::TraceHandle traceHandle("MiraInputs", false);

IntfId routedIntf(VlanIdOrNone vlan) { return IntfId::ofVlan(Bridging::VlanId(vlan)); }

}  // namespace

// The name "Vlan%d" stands for its VLAN only while that is no other interface's internal VLAN: what
// one interface takes or gives back, another loses or gets.
void Mira::handleInternalVlanId(IntfId intf) {
  VlanIdOrNone const old = internalVlanId(intf);
  VlanIdOrNone const now = intfVlanIdTable()->internalVlanId(intf);
  if (!initialized_ || old == now) return;
  SKEIN("Mira::handleInternalVlanId ", vrf_, " ", intf, " from ", old, " to ", now);
  if (now) {
    internalVlanId_.at(intf) = now;
    handleIntfVlanId(routedIntf(now), now);
  } else {
    internalVlanId_.del(intf);
  }
  handleIntfVlanId(intf, old);
  if (old) handleIntfVlanId(routedIntf(old), {});
  // Without an entry it had the VLAN of its name.
  if (!old && intf.routedVlan()) doMarkVlanDirty(intf.routedVlan());
}

void Mira::handleIntfVlanId(IntfId intf, VlanIdOrNone vlan) {
  miraRoot_->handleIntfConfig(intf);
  if (mbrIntf() && mbrIntf()->intf(intf)) handleMbr();
  doMarkVlanDirty(vlan);
  for (auto table = mfibShoalSm_.begin(); table; table.advance()) table->handleIntfVlanId(intf);
  if (vrf_ != L3::VrfName::defaultVrf() || !miraRoot_->miraL2()) return;
  if (l2Enabled(*miraRoot_, vlan)) miraRoot_->miraL2()->doMarkVlanDirty(vlan);
}

void Mira::handleIpInfo(Nettle::IpGenAddr const & addr) {
  if (!initialized_) return;
  bool const translated = staticNatInfo()->ipInfo(addr);
  ZET_TRACE(5, (translated ? "new static nat ip " : "delete static nat ip ") << addr);
  mrouteTable_->dirtyInfo()->dirtyNatSrcIs(addr, true);
  doKickReview();
}

}  // namespace Brindle
