// The resolver of L2 routes: the sets of ports that a VLAN's floods and Ethernet groups go to.
//
// MiraRoot makes it where this process computes L2 routes, and decides which of them stand. Like a
// Mira it is only marked when something changes; its review, paced by a timer, computes what the
// marks meet, in slices of reviewQuantum(). What EVPN allows towards multihomed segments it follows
// itself.
#pragma once

#include "model/MrouteTableColl.h"
#include "model/ReviewInfo.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "platform/ReviewTimer.h"
#include "state/Evpn.h"

namespace Brindle {

class MiraRoot;

class BRINDLE_API MiraL2 : public Zet::Sm {
 public:
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;

  // REQUIRES: the collection has its l2FloodsetTable.
  MiraL2(Zet::Ptr<MrouteTableColl> const & coll, MiraRoot * root,
         Zet::Ptr<ReviewInfo> const & reviewInfo, Zet::Ptr<Zet::Clock const> const & clock);
  Zet::Name name() const override { return "floodset"; }

  // Lifecycle
  void handleInitialized();
  void handleDel() override;
  bool initialized() const { return initialized_; }
  MiraRoot * miraRoot() const { return miraRoot_; }
  Zet::Ptr<MrouteTableColl> const & mrouteTableColl() const { return mrouteTableColl_; }

  // Marks, in the DirtyInfo of the table; each that is news asks for a review.
  void doMarkVlanDirty(Bridging::VlanIdOrNone vid);
  void doMarkVlanPortDirty(Bridging::VlanIdOrNone vid, Nettle::IntfId port);
  void doMarkVlanGroupDirty(Bridging::VlanIdOrNone vid, Nettle::EthAddr const & group);
  void doMarkLagDirty(Nettle::IntfId lag);
  void doMarkAllVlansDirty();
  // One route, which says itself that it is dirty.
  void markMrouteDirty(Mroute & route);
  void doKickReview();

  // Review
  void doReview();

  // EVPN multihome floodsets
  Evpn::EvpnVlanFilteredFloodSetDir const * vlanFilteredFloodSetDir() const;
  void vlanFilteredFloodSetDirIs(Zet::Ptr<Evpn::EvpnVlanFilteredFloodSetDir const> const &);
  void handleFilteredFloodSet();
  void handleFilteredFloodSet(Bridging::VlanId vlan, Nettle::IpGenAddr const & tep);

 private:
  // Fixed at construction
  Zet::Ptr<MrouteTableColl> const mrouteTableColl_;
  MiraRoot * const miraRoot_;
  Zet::Ptr<ReviewInfo> const reviewInfo_;

  // State
  bool initialized_ = false;
};

}  // namespace Brindle
