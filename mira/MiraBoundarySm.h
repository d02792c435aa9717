// Drops at multicast boundaries that were learned from traffic, as routes of a VRF.
//
// For each source whose traffic to a denied group came in on an interface with a boundary, there is
// a record (state/BoundaryFastdrop.h). This machine, a part of its VRF's Mira, keeps a
// BoundaryMroute for each (S,G) of them, with a drop entry for each VLAN. The entry's set, the
// ports of the VLAN that want the group, is kept current by a review of its own; a drop that
// nothing has hit for two polls is forgotten, with its record.
//
// The programmers follow the routes; only that of chips that answer at once installs them.
#pragma once

#include "model/DirtyChangeSet.h"
#include "model/DirtyInfo.h"
#include "model/MrouteTable.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "platform/ReviewTimer.h"
#include "state/BoundaryFastdrop.h"
#include "state/HardwareStatus.h"
#include "state/IntfVlanId.h"

namespace Brindle {

class Mira;

class BRINDLE_API MiraBoundarySm final : public Zet::Sm {
 public:
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;
  using Fastdrop = BoundaryFastdrop::Fastdrop;
  using GroupInfo = BoundaryFastdrop::GroupInfo;

  // All but the VRF's records are the Mira's, which must outlive this machine.
  MiraBoundarySm(Mira * mira, Zet::Ptr<BoundaryFastdrop::Status> const & fastdropStatus);
  Zet::Name name() const override { return "boundary"; }

  // Lifecycle
  bool initialized() const { return initialized_; }
  // The records of the VRF. What stands of others is withdrawn; null leaves none.
  BoundaryFastdrop::Status * fastdropStatus() const { return zetFastdropStatus_.target(); }
  void fastdropStatusIs(Zet::Ptr<BoundaryFastdrop::Status> const & v);

  // Records. Throws RangeException for null.
  void boundaryFastdropIs(Zet::Ptr<Fastdrop> const & v);
  void boundaryFastdropDel(Nettle::IntfId intf);
  auto const & boundaryFastdrop() const { return boundaryFastdrop_; }
  // Whether the boundary of the interface denies the group.
  bool isAddrInTrie(Nettle::IpGenAddr const & addr, Nettle::IntfId intf) const;
  // The VLAN of an interface, as last known where it has none now.
  void handleIntfVlanIdTable(Nettle::IntfId intf);

  // Drops. The second form is for a route that needs the VLAN itself.
  void doRefreshBoundaryFastdrop(Nettle::IpGenAddr const & source, Nettle::IpGenAddr const & group,
                                 Bridging::VlanId vlan);
  void doDelBoundaryFastdrop(Nettle::IpGenAddr const & source, Nettle::IpGenAddr const & group,
                             Bridging::VlanId vlan);
  void doDelBoundaryFastdrop(RouteKey const & key, Bridging::VlanId vlan);
  // No drop stands where the route itself has an entry.
  void doMakeWayFor(Mroute const & route);
  // The operator wants them all gone.
  void handleClearFastdrop();

  // Marks, from the Mira's journal, in the table's boundaryDirtyInfo
  void handleMarkVlanDirty();
  void handleMarkVlanPortDirty();
  void handleMarkVlanGroupDirty();
  void handleMarkLagDirty();
  void handleMarkAllVlansDirty();

  // Review
  void doKickReview();
  void doReview();
  U32 review() const { return review_; }
  bool reviewInProgress() const { return reviewInProgress_; }
  // Length of a slice.
  Zet::Seconds reviewQuantum() const { return reviewQuantum_; }
  void reviewQuantumIs(Zet::Seconds v) { reviewQuantum_ = v; }
  RouteKey const & startingBookmark() const { return startingBookmark_; }
  RouteKey const & currentBookmark() const { return currentBookmark_; }
  // Where a slice has ended within a route; 1 is its beginning.
  Bridging::VlanId vlanIdBookmark() const { return vlanIdBookmark_; }
  Zet::Ptr<DirtyInfo> const & dirtyInfo() const { return dirtyInfo_; }
  Zet::Ptr<Keel::ReviewTimer> const & reviewTimer() const { return reviewTimer_; }

  // Ageing, which runs for ever, a pass each fastdropPollingInterval()
  void doReviewFastdropPollTime();
  void doUpdateFastdropPollClock(Zet::Seconds delay);
  // Takes the record of a drop away, and what is empty then.
  void doDelFastdropInfo(RouteKey const & key, Nettle::IntfId intf);
  Zet::Seconds fastdropPollingInterval() const { return fastdropPollingInterval_; }
  void fastdropPollingIntervalIs(Zet::Seconds v) { fastdropPollingInterval_ = v; }
  Zet::Seconds fastdropPollReviewQuantum() const { return fastdropPollReviewQuantum_; }
  void fastdropPollReviewQuantumIs(Zet::Seconds v) { fastdropPollReviewQuantum_ = v; }
  RouteKey const & fastdropPollSgBookmark() const { return fastdropPollSgBookmark_; }
  Bridging::VlanId fastdropPollVlanIdBookmark() const { return fastdropPollVlanIdBookmark_; }

 private:
  class Slice;
  class AgeingPass;
  struct ZetFastdropStatus final : Zet::Reactor<BoundaryFastdrop::Status, MiraBoundarySm> {
    using Reactor::Reactor;
    void onFastdrop(Nettle::IntfId const & intf) override { sm()->handleFastdrop(intf); }
    void immediatePass() override { sm()->handleFastdrop(); }
  };
  struct ZetGroup final : Zet::KeyedReactor<Nettle::IpGenAddr, GroupInfo, MiraBoundarySm> {
    ZetGroup(MiraBoundarySm * sm, Nettle::IpGenAddr const & group, Nettle::IntfId intf)
        : KeyedReactor(sm, group),
          intf_(intf) {}
    void onSource(Nettle::IpGenAddr const & source) override { handleBoundarySource(source); }
    void immediatePass() override;
    void handleBoundarySource(Nettle::IpGenAddr const & source);

   private:
    Nettle::IntfId const intf_;
  };
  class ZetBoundaryFastdrop final
      : public Zet::KeyedReactor<Nettle::IntfId, Fastdrop, MiraBoundarySm> {
   public:
    using KeyedReactor::KeyedReactor;
    void onGroup(Nettle::IpGenAddr const & group) override { handleBoundaryGroup(group); }
    void immediatePass() override;
    void zetDoZombieReactors(bool) override;
    void handleBoundaryGroup(Nettle::IpGenAddr const & group);
    void groupDelAll();

   private:
    void groupIs(Zet::Ptr<GroupInfo> const & info);
    void groupDel(Nettle::IpGenAddr const & group);

    Zet::HashMap<Nettle::IpGenAddr, ZetGroup> group_;
  };
  struct ZetDirtyChangeSet final : Zet::Reactor<DirtyChangeSet const, MiraBoundarySm> {
    using Reactor::Reactor;
    void onDirtyVlanCount() override { sm()->handleMarkVlanDirty(); }
    void onDirtyVlanPortCount() override { sm()->handleMarkVlanPortDirty(); }
    void onDirtyVlanGroupCount() override { sm()->handleMarkVlanGroupDirty(); }
    void onDirtyLagCount() override { sm()->handleMarkLagDirty(); }
    void onAllVlansDirtyCount() override { sm()->handleMarkAllVlansDirty(); }
  };
  struct ZetIntfVlanIdTable final : Zet::Reactor<IntfVlanId::Table const, MiraBoundarySm> {
    using Reactor::Reactor;
    void onInternalVlanId(Nettle::IntfId const & intf) override {
      sm()->handleInternalVlanId(intf);
    }
    void immediatePass() override { sm()->handleIntfVlanIdTable(); }
  };
  struct ZetClock final : Zet::Reactor<Zet::Clock const, MiraBoundarySm> {
    using Reactor::Reactor;
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      sm()->doReview();
    }
  };
  struct ZetFastdropPollClock final : Zet::Reactor<Zet::Clock const, MiraBoundarySm> {
    using Reactor::Reactor;
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      sm()->doReviewFastdropPollTime();
    }
  };

  void handleInitialized();
  void handleFastdrop(Nettle::IntfId intf);
  void handleFastdrop();
  void handleIntfVlanIdTable();
  void handleInternalVlanId(Nettle::IntfId intf);
  void doMoveFastdrops(Nettle::IntfId intf, Bridging::VlanId from, Bridging::VlanId to);
  Bridging::VlanId vlanOf(Nettle::IntfId intf);
  MrouteTable & table() const { return *mrouteTable_; }
  Filters expand(RouteKey const & key, Bridging::VlanId vlan, PortVlanSet & set) const;
  static void filtersAre(BoundaryMroute & route, Filters const & filters);

  // Fixed at construction
  Mira * const mira_;
  Zet::Ptr<MrouteTable> const mrouteTable_;

  // State
  bool initialized_ = false;
  bool reviewInProgress_ = false;
  U32 review_ = 0;
  Zet::Seconds reviewQuantum_ = 0.05;
  Zet::Seconds fastdropPollingInterval_ = 180.0;
  Zet::Seconds fastdropPollReviewQuantum_ = 0.05;
  RouteKey startingBookmark_;
  RouteKey currentBookmark_;
  Bridging::VlanId vlanIdBookmark_{1};
  RouteKey fastdropPollSgBookmark_;
  Bridging::VlanId fastdropPollVlanIdBookmark_{1};
  Zet::Ptr<DirtyInfo> dirtyInfo_;
  Zet::Ptr<Keel::ReviewTimer> reviewTimer_;
  Zet::Ptr<Keel::ReviewTimer> fastdropPollReviewTimer_;
  Zet::RbTreeMap<Nettle::IntfId, Bridging::VlanId> lastVlan_;

  // Reactors
  Zet::ReactorPtr<ZetClock> zetClock_{this};
  Zet::ReactorPtr<ZetFastdropPollClock> fastdropPollClock_{this};
  Zet::ReactorPtr<ZetDirtyChangeSet> zetDirtyChangeSet_{this};
  Zet::ReactorPtr<ZetIntfVlanIdTable> zetIntfVlanIdTable_{this};
  Zet::ReactorPtr<ZetFastdropStatus> zetFastdropStatus_{this};
  Zet::ReactorMap<Nettle::IntfId, ZetBoundaryFastdrop> boundaryFastdrop_{this};
};

}  // namespace Brindle
