// The incremental path: the set that stands, with what came and went in the record since.
#include "mira/PortVlanSetComputation.h"
#include "model/Filters.h"
#include "platform/Assert.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using namespace Shoal::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("PortVlanSetPatch", false);

}  // namespace

// Brings the standing set up to date with what came and went in the record; turns optimize_ off
// where that cannot be done.
void PortVlanSetComputation::patchSet() {
  Route const & lastSeen = mroute_.lastSeenShoalRoute();
  Route const diffRoute = srt_ ^ lastSeen;
  Zet::OrderedSet<VlanIdOrNone> deleted;
  if (!takeOut(diffRoute & lastSeen, deleted)) {
    optimize_ = false;
    return;
  }
  iifIntf_ = mroute_.acceptingIntfId();
  // A route that is accepted nowhere has been given its input's VLAN when it was published.
  if (iifIntf_) iifVlan_ = mroute_.acceptingVlanId();
  noRpf_ = mroute_.noRpf();
  acceptSeen_ = static_cast<bool>(iifIntf_);
  PortVlanSet const & standing = mroute_.oifSet()->portVlanSet();
  pvSet_.reserve(standing.portVlans() + kUsualMembers);
  pvSet_ = standing;
  keepRest(deleted);
  addOutputs(diffRoute & srt_);
}

// Forgets the outputs that went; false if one of them was more than an output.
bool PortVlanSetComputation::takeOut(Route const & deletedRoute,
                                     Zet::OrderedSet<VlanIdOrNone> & deleted) {
  CachedMapRouteIntfIteratorConst i(deletedRoute, mroute_.oifIndexIntfIdCache(), table_);
  for (; i; i.advance()) {
    if (i.has(oifAccept)) return false;
    if (i.has(oifNotify) && !i.has(oifForward)) {
      mroute_.notifyingVlanIdIs(VlanIdOrNone());
      return false;
    }
    if (i.has(oifPersistentFastdrop)) {
      mroute_.staticFastdropVlanIdIs(VlanIdOrNone());
      return false;
    }
    if (i.has(oifFrr)) {
      mroute_.prevFrrIs(mroute_.frrVlanId());
      mroute_.frrVlanIdIs(VlanIdOrNone());
      return false;
    }
    IntfId intfId = i.intf();
    ZET_ASSERT(intfId, "intfId");
    deleted.insert(vlanOf(intfId));
    mroute_.oifIndexIntfIdCacheDel(i.index());
  }
  if (i.error()) ZET_TRACE(5, key_.pretty() << ": Iterator error ");
  return !i.error();
}

void PortVlanSetComputation::takeOutVlan(VlanIdOrNone vid) {
  if (explanation_) {
    pvSet_.settle();
    for (PortVlan const & pv : pvSet_.vlanMembers(vid)) explanation_->memberDel(pv);
  }
  U32 const members = pvSet_.vlanDel(vid);
  if (members) ZET_TRACE(9, "deleting vid: " << vid << " with " << members << " property: ");
}

// Takes the members of deleted VLANs out of the set, and from the filters the bits that only they
// had there. For one bit as many others are looked at as the filter has bits: that a route with
// more of them keeps a bit too many costs it a computation one day, and this sets it right.
void PortVlanSetComputation::keepRest(Zet::OrderedSet<VlanIdOrNone> const & deleted) {
  Filters gone;
  for (VlanIdOrNone vid : deleted.items()) {
    gone.vlan |= vlanBit(vid);
    gone.vlanGroup |= vlanGroupBit(vid, groupHash_);
    VlanPortBits const bits(vid);
    for (PortVlan const & pv : pvSet_.vlanMembers(vid)) gone.vlanPort |= bits.bit(pv.port);
    takeOutVlan(vid);
  }
  keepVlanPorts(pvSet_, gone);
  for (auto const & special : {mroute_.notifyOifSet(), mroute_.staticFastdropOifSet()}) {
    if (special) keepVlanPorts(special->portVlanSet(), gone);
  }
  keepVlans(gone);
  filters_ = mroute_.filters();
  filters_.vlan &= ~gone.vlan;
  filters_.vlanGroup &= ~gone.vlanGroup;
  filters_.vlanPort &= ~gone.vlanPort;
}

// Takes the bits that members of the set have out of those that are gone.
void PortVlanSetComputation::keepVlanPorts(PortVlanSet const & set, Filters & gone) const {
  U32 rest = 8 * sizeof gone.vlanPort;
  for (PortVlan const & pv : set.portVlan().items()) {
    if (!gone.vlanPort) return;
    gone.vlanPort &= rest-- ? ~vlanPortBit(pv.vlanId(), pv.port) : 0;
  }
}

// The same for the VLANs of the outputs that stay, and of the special entries, whose sets are not
// built anew.
void PortVlanSetComputation::keepVlans(Filters & gone) const {
  U32 rest = 8 * sizeof gone.vlanGroup;
  for (auto const & output : mroute_.oifIndexIntfIdCache().items()) {
    if (!gone.vlan && !gone.vlanGroup) return;
    VlanIdOrNone vid = vlanOf(output.value);
    gone.vlan &= rest ? ~vlanBit(vid) : 0;
    gone.vlanGroup &= rest-- ? ~vlanGroupBit(vid, groupHash_) : 0;
  }
  for (VlanIdOrNone vid :
       {mroute_.notifyingVlanId(), mroute_.staticFastdropVlanId(), mroute_.frrVlanId()}) {
    if (!vid) continue;
    gone.vlan &= ~vlanBit(vid);
    gone.vlanGroup &= ~vlanGroupBit(vid, groupHash_);
  }
}

}  // namespace Brindle
