// Life, marks and the EVPN inputs of the resolver of L2 routes.
#include "mira/MiraL2.h"

#include "mira/MiraRoot.h"
#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IpGenAddr;

namespace {

Zet::TraceHandle traceHandle("MiraL2", false);

}  // namespace

// --- Lifecycle

MiraL2::MiraL2(Zet::Ptr<MrouteTableColl> const & coll, MiraRoot * root,
               Zet::Ptr<ReviewInfo> const & reviewInfo, Zet::Ptr<Zet::Clock const> const & clock)
    : mrouteTableColl_(coll),
      miraRoot_(root),
      reviewInfo_(reviewInfo) {
  zetClock_.attach(clock);
  handleInitialized();
}

void MiraL2::handleInitialized() {
  if (initialized_) return;
  reviewTimer_ = Zet::make<Keel::ReviewTimer>(zetClock_.get(), 1.0f, 4u, 0.1f, 0.5f);
  dirtyInfo_ = Zet::make<DirtyInfo>();
  table().dirtyInfoIs(Zet::make<DirtyInfo>());
  initialized_ = true;
}

void MiraL2::handleDel() { ZET_TRACE(5, "MiraL2::handleDel"); }

// --- Marks

void MiraL2::doMarkVlanDirty(VlanIdOrNone vid) {
  SKEIN("MiraL2::doMarkVlanDirty ", vid);
  if (table().dirtyInfo()->doMarkVlanDirty(vid)) doKickReview();
}

void MiraL2::doMarkVlanPortDirty(VlanIdOrNone vid, Nettle::IntfId port) {
  SKEIN("MiraL2::doMarkVlanPortDirty ", vid, " port ", port);
  if (table().dirtyInfo()->doMarkVlanPortDirty(vid, port)) doKickReview();
}

void MiraL2::doMarkVlanGroupDirty(VlanIdOrNone vid, Nettle::EthAddr const & group) {
  SKEIN("MiraL2::doMarkVlanGroupDirty ", vid, " group ", group);
  if (table().dirtyInfo()->doMarkVlanGroupDirty(vid, group)) doKickReview();
}

void MiraL2::doMarkLagDirty(Nettle::IntfId lag) {
  SKEIN("MiraL2::doMarkLagDirty ", lag);
  if (table().dirtyInfo()->doMarkLagDirty(lag)) doKickReview();
}

void MiraL2::doMarkAllVlansDirty() {
  SKEIN("MiraL2::doMarkAllVlansDirty");
  if (table().dirtyInfo()->doMarkAllVlansDirty()) doKickReview();
}

void MiraL2::markMrouteDirty(Mroute & route) {
  SKEIN("MiraL2::markMrouteDirty ", route.key());
  route.dirtyIs(true);
  table().dirtyInfo()->dirtyIs(true);
  doKickReview();
}

void MiraL2::markMrouteDirty(RouteKey const & key) {
  if (Mroute * const route = table().mroute(key)) markMrouteDirty(*route);
}

void MiraL2::doKickReview() {
  if (!initialized_) return;
  if (reviewTimer_->reviewPending()) {
    ZET_TRACE(8, ", review already pending");
    return;
  }
  reviewTimer_->doUpdateNextReview();
}

// --- EVPN multihome floodsets

Evpn::EvpnPeerVlanFloodStatus const * MiraL2::peerFloodStatus(VlanId vlan,
                                                              IpGenAddr const & tep) const {
  auto const * dir = vlanFilteredFloodSetDir();
  auto const * set = dir ? dir->vlanFloodSet(vlan) : nullptr;
  return set ? set->tepFilter(tep) : nullptr;
}

void MiraL2::handleFilteredFloodSet() {
  ZET_TRACE(5,
            " Checking for existing EVPN Filtered "
            "floodsets.");
  auto const * dir = vlanFilteredFloodSetDir();
  if (!dir) return;
  for (auto vlan = dir->vlanFloodSet().begin(); vlan; vlan.advance()) {
    auto const & peers = vlan->tepFilter();
    for (auto tep = peers.begin(); tep; tep.advance()) {
      handleFilteredFloodSet(vlan.key(), tep.key());
    }
  }
}

void MiraL2::handleFilteredFloodSet(VlanId vlan, IpGenAddr const & tep) {
  if (mrouteTableColl_->af() == Nettle::ipv6()) {
    ZET_TRACE(5, "Ignoring L2 route since af is ipv6");
    return;
  }
  RouteKey const key = Routing::Multicast::Fib::makeRouteKeyEvpnMultihomeFloodset(vlan, tep);
  auto const * status = peerFloodStatus(vlan, tep);
  bool const stands = miraRoot_->l2Route(key);
  if (status && !status->initialSyncComplete()) {
    ZET_TRACE(5, "Skipping EvpnMultihomeFilteredFloodset creation. " << key.pretty());
  } else if (!status && stands) {
    ZET_TRACE(5, "Deleting l2 route key " << key.pretty());
    miraRoot_->l2RouteDel(key);
  } else if (stands) {
    ZET_TRACE(5, "Existing l2 route key " << key.pretty() << " Peer Flood status "
                                          << status->stringValue());
    markMrouteDirty(key);
  } else if (vlanFilteredFloodSetDir()) {  // nobody departs by the directory's being taken away
    ZET_ASSERT(status, "peerFloodStatus");
    ZET_TRACE(5, "Creating l2 route key " << key.pretty());
    miraRoot_->l2RouteIs(key, true);
  }
}

// --- The directory, its VLANs and their peers

void MiraL2::handleVlanFloodSets() {
  auto const * dir = vlanFilteredFloodSetDir();
  Zet::replay(dir ? &dir->vlanFloodSet() : nullptr, vlanFilteredFloodSet_,
              [this](VlanId vlan) { handleVlanFloodSet(vlan); });
}

void MiraL2::handleVlanFloodSet(VlanId vlan) {
  auto const * dir = vlanFilteredFloodSetDir();
  if (auto const * set = dir ? dir->vlanFloodSet(vlan) : nullptr) {
    vlanFilteredFloodSetIs(vlan, set);
  } else {
    vlanFilteredFloodSetDel(vlan);
  }
}

void MiraL2::vlanFilteredFloodSetIs(VlanId vlan,
                                    Zet::Ptr<Evpn::EvpnVlanFilteredFloodSet const> const & v) {
  if (!v) Zet::throwNullParameter("Brindle::MiraL2::vlanFilteredFloodSet");
  vlanFilteredFloodSet_.attach(vlan, v);
}

void MiraL2::vlanFilteredFloodSetDel(VlanId vlan) {
  Zet::Ptr<ZetVlanFilteredFloodSet> const set(vlanFilteredFloodSet_.find(vlan));
  if (!set) return;
  vlanFilteredFloodSet_.del(vlan);
  set->peerFloodStatusDelAll();
}

void MiraL2::ZetVlanFilteredFloodSet::immediatePass() {
  Zet::replay(target() ? &target()->tepFilter() : nullptr, peerFloodStatus_,
              [this](IpGenAddr const & tep) { handleTepFilter(tep); });
}

void MiraL2::ZetVlanFilteredFloodSet::handleTepFilter(IpGenAddr const & tep) {
  if (auto const * status = target() ? target()->tepFilter(tep) : nullptr) {
    peerFloodStatusIs(tep, status);
  } else {
    peerFloodStatusDel(tep);
  }
}

void MiraL2::ZetVlanFilteredFloodSet::peerFloodStatusIs(
    IpGenAddr const & tep, Zet::Ptr<Evpn::EvpnPeerVlanFloodStatus const> const & v) {
  if (!v) {
    Zet::throwNullParameter("Brindle::MiraL2::ZetVlanFilteredFloodSet::peerFloodStatus");
  }
  Zet::Ptr<ZetPeerFloodStatus> peer(peerFloodStatus_.find(tep));
  if (!peer) {
    peer = Zet::make<ZetPeerFloodStatus>(sm(), tep, key());
    peerFloodStatus_.insert(peer);
  }
  peer->notifierIs(v.get());
}

void MiraL2::ZetVlanFilteredFloodSet::peerFloodStatusDel(IpGenAddr const & tepOfMember) {
  IpGenAddr const tep = tepOfMember;
  Zet::Ptr<ZetPeerFloodStatus> const peer(peerFloodStatus_.find(tep));
  if (!peer) return;
  peerFloodStatus_.del(tep);
  peer->detach();
  sm()->handleFilteredFloodSet(key(), tep);
}

void MiraL2::ZetVlanFilteredFloodSet::peerFloodStatusDelAll() {
  for (auto i = peerFloodStatus_.begin(); i; i.advance()) peerFloodStatusDel(i.key());
}

// The end of the machine is no departure of peers.
void MiraL2::ZetVlanFilteredFloodSet::zetDoZombieReactors(bool v) {
  KeyedReactor::zetDoZombieReactors(v);
  for (auto i = peerFloodStatus_.begin(); i; i.advance()) i->zetDoZombieReactors(v);
}

}  // namespace Brindle
