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
  // One route, which says itself that it is dirty. A pass that has come by it already goes on to
  // it once more.
  void markMrouteDirty(Mroute & route);
  // The same by its key, if it stands.
  void markMrouteDirty(RouteKey const & key);
  void doKickReview();

  // Review
  void doReview();
  // Computes the set of a route; true if that is another one than before. The route's version
  // rises either way. Throws RangeException if its key has no VLAN.
  bool doRefreshL2Floodset(Mroute & route);
  // Publishes that a pass runs, by its number, or that none does.
  void doAddReviewInfo();
  void doDelReviewInfo();
  // Number of the pass; a pass that was interrupted gets a new one.
  U32 review() const { return review_; }
  void reviewIs(U32 v) { review_ = v; }
  // A pass has begun and not ended.
  bool reviewInProgress() const { return reviewInProgress_; }
  // Length of a slice.
  Zet::Seconds reviewQuantum() const { return reviewQuantum_; }
  void reviewQuantumIs(Zet::Seconds v) { reviewQuantum_ = v; }
  // 0: an interrupted pass goes on at once; otherwise it goes on with the next change.
  Zet::Seconds reviewDelay() const { return reviewDelay_; }
  void reviewDelayIs(Zet::Seconds v) { reviewDelay_ = v; }
  // The keys at which a pass began and at which it stands between slices; the default key is the
  // beginning of the table.
  RouteKey const & startingBookmark() const { return startingBookmark_; }
  RouteKey const & currentBookmark() const { return currentBookmark_; }
  // What the pass that runs looks for.
  Zet::Ptr<DirtyInfo> const & dirtyInfo() const { return dirtyInfo_; }
  Zet::Ptr<Keel::ReviewTimer> const & reviewTimer() const { return reviewTimer_; }

  // EVPN multihome floodsets: one for each peer of a VLAN whose filter is complete. Directory,
  // VLAN and peer are each followed by a reactor; the one on a peer reports its departure, too.
  Evpn::EvpnVlanFilteredFloodSetDir const * vlanFilteredFloodSetDir() const {
    return zetVlanFilteredFloodSetDir_.target();
  }
  void vlanFilteredFloodSetDirIs(Zet::Ptr<Evpn::EvpnVlanFilteredFloodSetDir const> const & v) {
    zetVlanFilteredFloodSetDir_.attach(v);
  }
  // The VLAN and the peer as they stand in the directory; null if either does not.
  Evpn::EvpnPeerVlanFloodStatus const * peerFloodStatus(Bridging::VlanId vlan,
                                                        Nettle::IpGenAddr const & tep) const;
  // Throws RangeException for null.
  void vlanFilteredFloodSetIs(Bridging::VlanId vlan,
                              Zet::Ptr<Evpn::EvpnVlanFilteredFloodSet const> const & v);
  void vlanFilteredFloodSetDel(Bridging::VlanId vlan);
  void handleFilteredFloodSet();
  void handleFilteredFloodSet(Bridging::VlanId vlan, Nettle::IpGenAddr const & tep);

  struct ZetPeerFloodStatus
      : Zet::KeyedReactor<Nettle::IpGenAddr, Evpn::EvpnPeerVlanFloodStatus const, MiraL2> {
    ZetPeerFloodStatus(MiraL2 * sm, Nettle::IpGenAddr const & tep, Bridging::VlanId vlan)
        : KeyedReactor(sm, tep),
          vlan_(vlan) {}
    void onInitialSyncComplete() override { sm()->handleFilteredFloodSet(vlan_, key()); }
    void onFloodFilter(Nettle::IntfId const &) override {
      sm()->handleFilteredFloodSet(vlan_, key());
    }
    void immediatePass() override { sm()->handleFilteredFloodSet(vlan_, key()); }

   private:
    Bridging::VlanId const vlan_;
  };

  class BRINDLE_API ZetVlanFilteredFloodSet
      : public Zet::KeyedReactor<Bridging::VlanId, Evpn::EvpnVlanFilteredFloodSet const, MiraL2> {
   public:
    using KeyedReactor::KeyedReactor;
    auto const & peerFloodStatus() const { return peerFloodStatus_; }
    // Throws RangeException for null.
    void peerFloodStatusIs(Nettle::IpGenAddr const & tep,
                           Zet::Ptr<Evpn::EvpnPeerVlanFloodStatus const> const & v);
    void peerFloodStatusDel(Nettle::IpGenAddr const & tep);
    void peerFloodStatusDelAll();
    void handleTepFilter(Nettle::IpGenAddr const & tep);
    void onTepFilter(Nettle::IpGenAddr const & tep) override { handleTepFilter(tep); }
    void immediatePass() override;
    void zetDoZombieReactors(bool) override;

   private:
    Zet::HashMap<Nettle::IpGenAddr, ZetPeerFloodStatus> peerFloodStatus_;
  };
  auto const & vlanFilteredFloodSet() const { return vlanFilteredFloodSet_; }

 private:
  class Slice;
  struct ZetClock : Zet::Reactor<Zet::Clock const, MiraL2> {
    using Reactor::Reactor;
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      sm()->doReview();
    }
  };
  struct ZetVlanFilteredFloodSetDir
      : Zet::Reactor<Evpn::EvpnVlanFilteredFloodSetDir const, MiraL2> {
    using Reactor::Reactor;
    void onVlanFloodSet(Bridging::VlanId const & vlan) override { sm()->handleVlanFloodSet(vlan); }
    void immediatePass() override { sm()->handleVlanFloodSets(); }
  };

  MrouteTable & table() const { return *mrouteTableColl_->l2FloodsetTable(); }
  void handleVlanFloodSet(Bridging::VlanId vlan);
  void handleVlanFloodSets();

  // Parts of doReview()
  void nextPass();
  void suspendReview(Slice const & slice);
  void finishReview();

  // Fixed at construction
  Zet::Ptr<MrouteTableColl> const mrouteTableColl_;
  MiraRoot * const miraRoot_;
  Zet::Ptr<ReviewInfo> const reviewInfo_;

  // State
  Zet::Seconds reviewQuantum_ = 0.05;
  Zet::Seconds reviewDelay_ = 0;
  U32 review_ = 0;
  bool initialized_ = false;
  bool reviewInProgress_ = false;
  RouteKey startingBookmark_;
  RouteKey currentBookmark_;
  Zet::Ptr<DirtyInfo> dirtyInfo_;
  Zet::Ptr<Keel::ReviewTimer> reviewTimer_;

  // Reactors
  Zet::ReactorPtr<ZetClock> zetClock_{this};
  Zet::ReactorPtr<ZetVlanFilteredFloodSetDir> zetVlanFilteredFloodSetDir_{this};
  Zet::ReactorMap<Bridging::VlanId, ZetVlanFilteredFloodSet> vlanFilteredFloodSet_{this};
};

}  // namespace Brindle
