#include "boundary/BoundarySmBase.h"

#include "platform/Assert.h"
#include "platform/Skein.h"

namespace Brindle {

using Nettle::IntfId;

BoundarySmBase::BoundarySmBase(Zet::Ptr<MfibStatus const> const & mfibStatus,
                               Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable)
    : mfibStatus_(mfibStatus),
      intfVlanIdTable_(intfVlanIdTable) {
  zetMfibStatus_.attach(mfibStatus_);
  zetIntfVlanIdTable_.attach(intfVlanIdTable_);
}

void BoundarySmBase::handleInitialized() {
  SKEIN("BoundarySmBase::handleInitialized");
  initialized_ = true;
  handleIntfBoundary();
  lastVlans_.adopt(*intfVlanIdTable_);
}

void BoundarySmBase::handleDel() { doDeleteIntfs(); }

void BoundarySmBase::handleIntfBoundary() {
  if (!mfibStatus_) return;
  auto const & all = mfibStatus_->intfBoundaryStatus();
  for (auto i = all.begin(); i; i.advance()) handleIntfBoundary(i.key());
}

void BoundarySmBase::handleIntfBoundary(Zet::Name name) {
  if (!initialized_ || !mfibStatus_) return;
  Zet::Ptr<IntfBoundaryStatus const> const status(mfibStatus_->intfBoundaryStatus(name));
  IntfId const intf(name.view());
  Bridging::VlanIdOrNone const vlan = intfVlanIdTable_->intfIdToVlanId(intf);
  SKEIN("BoundarySmBase::handleIntfBoundary ", intf, " vlan ", vlan);
  doDeleteIntf(intf);
  if (status && vlan) doMakeIntf(intf, Bridging::VlanId(vlan), status);
}

// The name of the VLAN's own interface may stand for another VLAN now, or for none.
void BoundarySmBase::handleInternalVlanId(IntfId intf) {
  auto const change = lastVlans_.note(*intfVlanIdTable_, intf);
  if (!change) return;
  handleIntfBoundary(Zet::Name(intf.view()));
  for (auto const vlan : {change.was, change.is}) {
    if (!vlan) continue;
    IntfId const own = IntfId::ofVlan(Bridging::VlanId(vlan));
    if (own != intf) handleIntfBoundary(Zet::Name(own.view()));
  }
}

void BoundarySmBase::handleInternalVlanId() { ZET_ASSERT(false, "false"); }

}  // namespace Brindle
