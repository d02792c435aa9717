// Marks of what changed in the switch.
//
// A mark is a bit in the DirtyInfo of the VRF's table; the next pass tests the bits against the
// filters of each route. The journal counts each mark, also one that was no news; it names what was
// marked only while somebody reads it.
#include "mira/Mira.h"
#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("MiraMarks", false);

}  // namespace

void Mira::doMarkVlanDirty(Bridging::VlanIdOrNone vid) {
  SKEIN("Mira::doMarkVlanDirty ", vrf_, " ", vid);
  if (mrouteTable_->dirtyInfo()->doMarkVlanDirty(vid)) doKickReview();
  dirtyChangeSet_->vlanIdIs(vid);
}

void Mira::doMarkVlanPortDirty(Bridging::VlanIdOrNone vid, Nettle::IntfId port) {
  SKEIN("Mira::doMarkVlanPortDirty ", vrf_, " ", vid, " port ", port);
  if (mrouteTable_->dirtyInfo()->doMarkVlanPortDirty(vid, port)) doKickReview();
  dirtyChangeSet_->portIs(port, vid);
}

void Mira::doMarkVlanGroupDirty(Bridging::VlanIdOrNone vid, Nettle::EthAddr const & group) {
  SKEIN("Mira::doMarkVlanGroupDirty ", vrf_, " ", vid, " group ", group);
  if (mrouteTable_->dirtyInfo()->doMarkVlanGroupDirty(vid, group)) doKickReview();
  dirtyChangeSet_->ethGroupIs(group, vid);
}

void Mira::doMarkLagDirty(Nettle::IntfId lag) {
  SKEIN("Mira::doMarkLagDirty ", vrf_, " ", lag);
  if (mrouteTable_->dirtyInfo()->doMarkLagDirty(lag)) doKickReview();
  dirtyChangeSet_->lagIs(lag);
}

void Mira::doMarkAllVlansDirty() {
  SKEIN("Mira::doMarkAllVlansDirty ", vrf_);
  if (mrouteTable_->dirtyInfo()->doMarkAllVlansDirty()) {
    ZET_TRACE(5, "Mira::doMarkAllVlansDirty() : changed to " << 0xffffffffu);
    doKickReview();
  } else {
    ZET_TRACE(5, "Mira::doMarkAllVlansDirty() : no change");
  }
  dirtyChangeSet_->allVlansDirtyCountInc(1);
}

void Mira::doMarkGroupSetDirty(Nettle::IpGenAddr const & group) {
  SKEIN("Mira::doMarkGroupSetDirty ", vrf_, " ", group);
  ZET_ASSERT(mrouteTable_, "mrouteTable()");
  DirtyInfo * const di = mrouteTable_->dirtyInfo().get();
  ZET_ASSERT(di, "di");
  if (di->dirtyGroupSetIs(group, true)) doKickReview();
}

void Mira::doMarkAllRoutesDirty() {
  SKEIN("Mira::doMarkAllRoutesDirty ", vrf_);
  mrouteTable_->dirtyInfo()->allRoutesDirtyIs(true);
  doKickReview();
}

}  // namespace Brindle
