// The resolver of one VRF.
//
// A Mira turns the routes that the protocols publish, joined with the state of the switch, into the
// VRF's MrouteTable. MiraRoot makes and deletes it. What changes only marks: a changed route goes
// into a queue of keys, a change of the switch into the table's DirtyInfo. The review, paced by
// the clock, computes what the marks meet, in slices of loopQuantum(). Until the root's gate opens,
// and while routing is off, the table stands as it is.
//
// It never talks to chips: the programmers see each route's `version`.
#pragma once
#include <vector>

#include "mira/MfibShoalSm.h"
#include "model/DirtyChangeSet.h"
#include "model/DirtyInfo.h"
#include "model/MrouteTable.h"
#include "model/ReviewInfo.h"
#include "model/StaticNatInfo.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "platform/VrfName.h"
#include "state/BoundaryFastdrop.h"
#include "state/HardwareStatus.h"
#include "state/IntfVlanId.h"
#include "state/MulticastFib.h"
#include "state/RouteKey.h"
#include "state/Routing.h"
#include "state/ShoalFib.h"
#include "state/Vxlan.h"

namespace Brindle {

class Explanation;
class MiraBoundarySm;
class MiraRoot;
class MrouteTableReview;
enum class RouteVerdict : U8;

// A route that waits in the queue of a Mira.
struct ZetDirtyMroute {
  Routing::Multicast::Fib::IpGenRouteKey key;
};

// The sequence numbers of that queue: the oldest entry's, and the next one's.
struct DirtyMrouteMetadata {
  U32 head = 0;
  U32 tail = 0;
  U32 size() const { return tail - head; }
};

class BRINDLE_API Mira : public Zet::Sm, public Zet::HashLink {
 public:
  // What is this VRF's own; the rest is the root's.
  struct Inputs {
    MiraRoot * miraRoot = nullptr;
    Zet::Ptr<MrouteTable> mrouteTable{};
    Zet::Ptr<Routing::Multicast::Fib::Config const> mfibConfig{};
    Zet::Ptr<Routing::RoutingGenInfo const> routingGenInfo{};
    // Optional.
    Zet::Ptr<BoundaryFastdrop::Status> boundaryFastdropStatus{};
  };
  Mira(L3::VrfName const & vrf, Inputs const &);
  ~Mira() override;
  L3::VrfName const & fwkKey() const { return vrf_; }
  Zet::Name name() const override { return vrf_.name(); }
  L3::VrfName const & vrfName() const { return vrf_; }
  MiraRoot * miraRoot() const { return miraRoot_; }
  Zet::Ptr<MrouteTable> const & mrouteTable() const { return mrouteTable_; }

  // Inputs that it shares with the other VRFs: the root's (MiraRoot.h)
  Zet::Ptr<Zet::Clock const> const & clock() const;
  Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> const & status() const;
  Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable() const;
  Zet::Ptr<StaticNatInfo const> const & staticNatInfo() const;
  Zet::Ptr<ReviewInfo> const & reviewInfo() const;
  Zet::Ptr<Ip::Status const> const & ipStatus() const;
  Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> const & pimIntfStatus() const;
  Zet::Ptr<Routing::Multicast::Fib::MbrIntf const> const & mbrIntf() const;
  Zet::Ptr<Routing::Multicast::Fib::SparseModeStatus const> const & sparseModeStatus() const;

  // Lifecycle
  void handleInitialized();
  void handleDel() override;
  bool initialized() const { return initialized_; }
  // The VRF is going: its routes are being deleted. One that comes back reads its tables again.
  bool markedForDeletion() const { return markedForDeletion_; }
  void markedForDeletionIs(bool v);

  // Whether routes are computed: the gate is open and routing is on.
  void handleRouting();
  void handleL3Enabled();
  bool nsfMiraEnabled() const { return nsfMiraEnabled_; }
  void nsfMiraEnabledIs(bool v);
  bool l3Enabled() const { return l3Enabled_; }
  void l3EnabledIs(bool v);
  Routing::Multicast::Fib::Config const * mfibConfig() const { return zetMfibConfig_.target(); }
  void mfibConfigIs(Zet::Ptr<Routing::Multicast::Fib::Config const> const & v) {
    zetMfibConfig_.attach(v);
  }
  Routing::RoutingGenInfo const * routingGenInfo() const { return zetRoutingGenInfo_.target(); }
  void routingGenInfoIs(Zet::Ptr<Routing::RoutingGenInfo const> const & v) {
    zetRoutingGenInfo_.attach(v);
  }
  Zet::Ptr<Routing::Multicast::Vxlan::Status const> const & pimVxlanStatus() const {
    return pimVxlanStatus_;
  }
  void pimVxlanStatusIs(Zet::Ptr<Routing::Multicast::Vxlan::Status const> const & v) {
    assign(pimVxlanStatus_, v);
  }

  // Ingest: one machine for each table of the VRF in shared memory, while l3Enabled().
  using MfibShoalColl = Shoal::Multicast::Fib::MfibShoalColl;
  using StatusKey = Shoal::Multicast::Fib::StatusKey;
  void handleMfibShoal();
  void handleMfibShoal(StatusKey const & table);
  MfibShoalColl const * mfibShoalDir() const { return zetMfibShoalDir_.target(); }
  void mfibShoalDirIs(Zet::Ptr<MfibShoalColl const> const & v);
  auto const & mfibShoalSm() const { return mfibShoalSm_; }
  MfibShoalSm * mfibShoalSm(StatusKey const & table) const { return mfibShoalSm_.find(table); }
  // Returns the machine that stands. Throws RangeException if it stands with other inputs.
  Zet::Ptr<MfibShoalSm> mfibShoalSmIs(StatusKey const & table, MfibShoalSm::Inputs const &);
  void mfibShoalSmDel(StatusKey const & table);

  // Marks: what changed is noted in the table's DirtyInfo and in the journal, and a review asked
  // for where that is news.
  void doMarkVlanDirty(Bridging::VlanIdOrNone vid);
  void doMarkVlanPortDirty(Bridging::VlanIdOrNone vid, Nettle::IntfId port);
  void doMarkVlanGroupDirty(Bridging::VlanIdOrNone vid, Nettle::EthAddr const & group);
  void doMarkLagDirty(Nettle::IntfId lag);
  void doMarkAllVlansDirty();
  void doMarkGroupSetDirty(Nettle::IpGenAddr const & group);
  void doMarkAllRoutesDirty();
  // The route is to be computed, or deleted if it is marked for that. Null does nothing.
  void markMrouteDirty(Zet::Ptr<Mroute> const & mroute);

  // Review
  void doKickReview();
  void handleClock();
  void doReview();
  // Publishes that a pass runs, by its number, or that none does.
  void doMaybeAddReviewInfo();
  void doMaybeDeleteReviewInfo();
  Zet::Seconds nextReview() const { return nextReview_; }
  // Number of the pass; never 0 in one.
  U32 review() const { return review_; }
  void reviewIs(U32 v) { review_ = v; }
  // Between slices.
  Zet::Seconds reviewDelay() const { return reviewDelay_; }
  void reviewDelayIs(Zet::Seconds v) { reviewDelay_ = v; }
  bool reviewDisabled() const { return reviewDisabled_; }
  void reviewDisabledIs(bool v) { reviewDisabled_ = v; }
  // Length of a slice.
  Zet::Seconds loopQuantum() const { return loopQuantum_; }
  void loopQuantumIs(Zet::Seconds v) { loopQuantum_ = v; }
  // A review is wanted or runs; a pass has begun and not ended.
  bool reviewPending() const { return reviewPending_; }
  bool reviewInProgress() const { return reviewInProgress_; }
  // The keys at which a pass began and at which it stands between slices; the default key is the
  // beginning of the table.
  Routing::Multicast::Fib::IpGenRouteKey const & startingBookmark() const {
    return startingBookmark_;
  }
  Routing::Multicast::Fib::IpGenRouteKey const & currentBookmark() const {
    return currentBookmark_;
  }
  // What the pass that runs looks for.
  Zet::Ptr<DirtyInfo> const & dirtyInfo() const { return dirtyInfo_; }
  // Journal of all marks.
  Zet::Ptr<DirtyChangeSet> const & dirtyChangeSet() const { return dirtyChangeSet_; }
  bool vxlanIntfDirty() const { return vxlanIntfDirty_; }
  void vxlanIntfDirtyIs(bool v) { vxlanIntfDirty_ = v; }

  // Keys of the routes to be computed first, oldest first. One key may stand in it twice.
  static constexpr U32 dirtyMrouteLimit = 10000;
  DirtyMrouteMetadata const & dirtyMrouteMetadata() const { return dirtyMrouteMetadata_; }
  // The n-th entry, counted from 0 at the oldest; null beyond the newest.
  ZetDirtyMroute const * dirtyMroute(U32 n) const {
    if (n >= dirtyMrouteMetadata_.size()) return nullptr;
    return &dirtyMroute_[(dirtyMrouteMetadata_.head + n) & (dirtyMroute_.size() - 1)];
  }
  void dirtyMrouteEnq(Routing::Multicast::Fib::IpGenRouteKey const & key) {
    if (dirtyMrouteMetadata_.size() == dirtyMroute_.size()) doGrowDirtyMroute();
    dirtyMrouteAt(dirtyMrouteMetadata_.tail++).key = key;
  }
  // REQUIRES: the queue is not empty.
  Routing::Multicast::Fib::IpGenRouteKey dirtyMrouteDeq() {
    return dirtyMrouteAt(dirtyMrouteMetadata_.head++).key;
  }
  void dirtyMrouteDelAll() { dirtyMrouteMetadata_.head = dirtyMrouteMetadata_.tail; }

  // Computation
  void doRefreshPortVlanSet(Zet::Ptr<Mroute> const & mroute);
  // True if the route's programming changed. `allowOptimize`: a small change may be patched in.
  bool computePortVlanSetMroute(Zet::Ptr<Mroute> const & mroute, bool allowOptimize);
  // The route of this key as it would be computed now, from its record and the state of the switch:
  // on a copy, while nothing else changes. What decided it goes into `explanation`. Where its
  // verdict is another than computed, the copy is as the route stands.
  Zet::Ptr<Mroute const> explain(Routing::Multicast::Fib::IpGenRouteKey const & key,
                                 Explanation & explanation);
  bool optimizeComputePortVlanSet() const { return optimizeComputePortVlanSet_; }
  void optimizeComputePortVlanSetIs(bool v) { optimizeComputePortVlanSet_ = v; }
  // Accept-only interfaces that were left out since their route had one already.
  U32 ignoredAccepting() const { return ignoredAccepting_; }
  void ignoredAcceptingInc(U32 n) { ignoredAccepting_ += n; }

  // Multicast border router interfaces, by their VLAN
  void handleMbr(Nettle::IntfId intf);
  void handleMbr();
  auto const & mbrVlan() const { return mbrVlan_; }
  bool mbrVlan(Bridging::VlanIdOrNone vid) const { return mbrVlan_.contains(vid); }

  // The root's table as this Mira last saw it: a change of it needs the old value.
  auto const & internalVlanId() const { return internalVlanId_; }
  Bridging::VlanIdOrNone internalVlanId(Nettle::IntfId intf) const {
    return lookup(internalVlanId_, intf);
  }
  // An interface has another internal VLAN now: both VLANs, and what the names "Vlan%d" of both
  // stand for, have changed.
  void handleInternalVlanId(Nettle::IntfId intf);
  void handleIntfVlanId(Nettle::IntfId intf, Bridging::VlanIdOrNone vlan);

  // The translation of an address, which may be a route's source or its group, has changed.
  void handleIpInfo(Nettle::IpGenAddr const & addr);

  // RPF failures and fastdrops
  // A packet failed the reverse-path check. `message` is what the kernel says of it, see
  // RpfMessage.h, `length` its bytes; what is too short or names no VLAN is counted only.
  void handleRpfFailure(char const * message, U32 length);
  // The same where no (S,G) route stands: a (*,G) route may. Throws RangeException for a number
  // that is no VLAN, if such a route stands.
  void handleRpfFailureWc(U32 vlan, Nettle::IpGenAddr const & group);
  // Idle fastdrops go.
  void handleFastdropClock();
  void doUpdateFastdropClock();
  // The operator is told when there are too many fastdrops and, some time after, that there are no
  // longer.
  void handleFastdropCount();
  void handleFastdropLogClock();
  // The operator wants them all gone.
  void handleClearFastdrop();
  // Fastdrops that stand on an interface when it is to have none any more: they age, nothing is
  // done at once.
  void doFlushFastdrops(Zet::String const & intfName);
  // All that were reported for this VRF.
  U64 rpfFailureCount() const { return rpfFailureCount_; }
  void rpfFailureCountInc(U64 n) { rpfFailureCount_ += n; }
  U16 fastdropCount() const { return fastdropCount_; }
  void fastdropCountIs(U16 v) { fastdropCount_ = v; }
  // Failures of a route in a VLAN that make a fastdrop.
  U32 fastdropRpfFailureThreshold() const { return fastdropRpfFailureThreshold_; }
  void fastdropRpfFailureThresholdIs(U32 v) { fastdropRpfFailureThreshold_ = v; }
  // In seconds.
  U32 fastdropPollingInterval() const { return fastdropPollingInterval_; }
  void fastdropPollingIntervalIs(U32 v) { fastdropPollingInterval_ = v; }
  U32 fastdropClockLogDelay() const { return fastdropClockLogDelay_; }
  void fastdropClockLogDelayIs(U32 v) { fastdropClockLogDelay_ = v; }
  // VLANs in which none are made.
  auto const & noFastdropVlan() const { return noFastdropVlan_; }
  bool noFastdropVlan(Bridging::VlanId vid) const { return noFastdropVlan_.contains(vid); }
  void noFastdropVlanIs(Bridging::VlanId vid, bool v) {
    v ? noFastdropVlan_.insert(vid) : noFastdropVlan_.del(vid);
  }
  void noFastdropVlanDel(Bridging::VlanId vid) { noFastdropVlan_.del(vid); }
  void noFastdropVlanDelAll() { noFastdropVlan_.clear(); }
  // The operator has been told that there are too many.
  bool fastdropLimitReached() const { return fastdropLimitReached_; }
  void fastdropLimitReachedIs(bool v) { fastdropLimitReached_ = v; }

  // Drops at boundaries: the machine stands once there have been records of this VRF. Null
  // withdraws all of them.
  void boundaryFastdropStatusIs(Zet::Ptr<BoundaryFastdrop::Status> const & v);
  Zet::Ptr<MiraBoundarySm> const & miraBoundarySm() const { return miraBoundarySm_; }

 private:
  friend class MrouteTableReview;
  struct ZetMfibConfig : Zet::Reactor<Routing::Multicast::Fib::Config const, Mira> {
    using Reactor::Reactor;
    void onRouting() override { sm()->handleRouting(); }
    void onClearFastdrop() override { sm()->handleClearFastdrop(); }
    void immediatePass() override { sm()->handleRouting(); }
  };
  struct ZetRoutingGenInfo : Zet::Reactor<Routing::RoutingGenInfo const, Mira> {
    using Reactor::Reactor;
    void onRouting() override { sm()->handleRouting(); }
    void immediatePass() override { sm()->handleRouting(); }
  };
  struct ZetStatus : Zet::Reactor<Routing::Multicast::Fib::Hardware::Status const, Mira> {
    using Reactor::Reactor;
    void onHwRouting() override { sm()->handleRouting(); }
  };
  struct ZetClock : Zet::Reactor<Zet::Clock const, Mira> {
    using Reactor::Reactor;
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      sm()->handleClock();
    }
  };
  struct ZetMrouteTable : Zet::Reactor<RouteTable const, Mira> {
    using Reactor::Reactor;
    void onFastdropCount() override { sm()->handleFastdropCount(); }
    void immediatePass() override { sm()->handleFastdropCount(); }
  };
  struct ZetFastdropClock : Zet::Reactor<Zet::Clock const, Mira> {
    using Reactor::Reactor;
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      sm()->handleFastdropClock();
    }
  };
  struct ZetFastdropLogClock : Zet::Reactor<Zet::Clock const, Mira> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleFastdropLogClock(); }
  };
  struct ZetIntfVlanIdTable : Zet::Reactor<IntfVlanId::Table const, Mira> {
    using Reactor::Reactor;
    void onInternalVlanId(Nettle::IntfId const & intf) override {
      sm()->handleInternalVlanId(intf);
    }
  };
  struct ZetStaticNatInfo : Zet::Reactor<StaticNatInfo const, Mira> {
    using Reactor::Reactor;
    void onIpInfo(Nettle::IpGenAddr const & addr) override { sm()->handleIpInfo(addr); }
  };
  struct ZetMbrIntf : Zet::Reactor<Routing::Multicast::Fib::MbrIntf const, Mira> {
    using Reactor::Reactor;
    void onIntf(Nettle::IntfId const & intf) override { sm()->handleMbr(intf); }
  };
  struct ZetMfibShoalDir : Zet::Reactor<MfibShoalColl const, Mira> {
    using Reactor::Reactor;
    void onShoalPtr(StatusKey const & table) override { sm()->handleMfibShoal(table); }
    void immediatePass() override { sm()->handleMfibShoal(); }
  };

  ZetDirtyMroute & dirtyMrouteAt(U32 sequence) {
    return dirtyMroute_[sequence & (dirtyMroute_.size() - 1)];
  }
  void doGrowDirtyMroute();

  // Why a route is not to be computed now, or that it is.
  RouteVerdict computable(Mroute const & mroute) const;

  // Parts of doReview()
  bool mayReview() const;
  void nextPass();
  void pauseReview(MrouteTableReview const & slice);
  void finishReview(MrouteTableReview const & slice);

  // Parts of the handling of fastdrops
  Zet::Ptr<Mroute> mrouteOf(Nettle::IpGenPrefix const & source,
                            Nettle::IpGenAddr const & group) const;
  void doCountRpfFailure(Zet::Ptr<Mroute> const & mroute, Bridging::VlanId vlan);
  bool isDeniedByBoundary(Nettle::IpGenAddr const & group, Bridging::VlanId vlan) const;
  bool mayHaveFastdrop(Zet::Ptr<Mroute> const & mroute, Bridging::VlanId vlan);
  bool isBorder(Mroute const & mroute, Bridging::VlanId vlan) const;
  void doMakeFastdrop(Zet::Ptr<Mroute> const & mroute, Bridging::VlanId vlan);
  bool doAgeFastdrops(Mroute & mroute, Zet::Seconds now);
  bool doAgeFastdrop(Mroute & mroute, Bridging::VlanId vlan,
                     Routing::Multicast::Fib::Hardware::RouteStatus const & status,
                     Zet::Seconds now);
  void doRefreshFastdrops(Zet::Ptr<Mroute> const & mroute);
  void doNotifyBatch();

  // Fixed at construction
  L3::VrfName const vrf_;
  MiraRoot * const miraRoot_;
  Zet::Ptr<MrouteTable> const mrouteTable_;

  // State
  Zet::Seconds nextReview_ = 0;
  Zet::Seconds reviewDelay_ = 0;
  Zet::Seconds loopQuantum_ = 0.05;
  U32 review_ = 0;
  bool reviewDisabled_ = false;
  bool reviewPending_ = false;
  bool reviewInProgress_ = false;
  bool markedForDeletion_ = false;
  bool optimizeComputePortVlanSet_ = true;
  bool l3Enabled_ = false;
  bool nsfMiraEnabled_ = false;
  bool vxlanIntfDirty_ = false;
  bool initialized_ = false;
  U32 ignoredAccepting_ = 0;
  U64 rpfFailureCount_ = 0;
  U16 fastdropCount_ = 0;
  U32 fastdropRpfFailureThreshold_ = 1;
  U32 fastdropPollingInterval_ = 60;
  U32 fastdropClockLogDelay_ = 60;
  bool fastdropLimitReached_ = false;
  Zet::OrderedSet<Bridging::VlanId> noFastdropVlan_;
  Routing::Multicast::Fib::IpGenRouteKey currentBookmark_;
  Routing::Multicast::Fib::IpGenRouteKey startingBookmark_;
  DirtyMrouteMetadata dirtyMrouteMetadata_;
  std::vector<ZetDirtyMroute> dirtyMroute_;  // a ring, its size a power of 2
  Zet::Ptr<DirtyInfo> dirtyInfo_;
  Zet::Ptr<DirtyChangeSet> dirtyChangeSet_;
  Zet::Ptr<Routing::Multicast::Vxlan::Status const> pimVxlanStatus_;
  Zet::RbTreeMap<Nettle::IntfId, Bridging::VlanIdOrNone> internalVlanId_;
  Zet::OrderedSet<Bridging::VlanIdOrNone> mbrVlan_;
  Zet::HashMap<StatusKey, MfibShoalSm> mfibShoalSm_;
  Zet::Ptr<MiraBoundarySm> miraBoundarySm_;

  // Reactors
  Zet::ReactorPtr<ZetMfibConfig> zetMfibConfig_{this};
  Zet::ReactorPtr<ZetRoutingGenInfo> zetRoutingGenInfo_{this};
  Zet::ReactorPtr<ZetStatus> zetStatus_{this};
  Zet::ReactorPtr<ZetClock> zetClock_{this};
  Zet::ReactorPtr<ZetMfibShoalDir> zetMfibShoalDir_{this};
  Zet::ReactorPtr<ZetIntfVlanIdTable> zetIntfVlanIdTable_{this};
  Zet::ReactorPtr<ZetStaticNatInfo> zetStaticNatInfo_{this};
  Zet::ReactorPtr<ZetMbrIntf> zetMbrIntf_{this};
  Zet::ReactorPtr<ZetMrouteTable> zetMrouteTable_{this};
  Zet::ReactorPtr<ZetFastdropClock> fastdropClock_{this};
  Zet::ReactorPtr<ZetFastdropLogClock> fastdropLogClock_{this};
};

// Whether the published route says what is to become of packets that come in there, so that they
// are not to be dropped: it notifies of them, or the interface is the fast-reroute backup. One that
// fails over fast and is sent out of does not notify in this sense.
BRINDLE_API bool isNotifyingOrStaticOrFrrFastdrop(Nettle::IntfId intf,
                                                  Zet::Ptr<Mroute> const & mroute,
                                                  Zet::Ptr<Mira> const & mira, bool onFastFailover);

}  // namespace Brindle
