// Chips in memory that answer later: a transaction stays open until whoever drives the simulation
// ends it. They have limits and can be told to fail, so that all of the programmer runs, with its
// failures, on a machine without switch chips.
#pragma once

#include "fabric/AsyncFabric.h"
#include "model/MrouteReviewConfig.h"
#include "platform/HashMap.h"
#include "platform/KeyedEntity.h"

namespace Brindle {

class SimAsyncSwitchChip;

// The transaction by which a set was allocated, and the one that points an entry at a set.
struct OifSetXactId {
  U32 value = 0;

  constexpr U32 hash() const { return Zet::hashOf(value); }
  auto operator<=>(OifSetXactId const &) const = default;
  static constexpr char const * zetType = "Brindle::OifSetXactId";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&OifSetXactId::value>("value")};
  }
};
struct IngressXactId {
  U32 value = 0;

  constexpr U32 hash() const { return Zet::hashOf(value); }
  auto operator<=>(IngressXactId const &) const = default;
  static constexpr char const * zetType = "Brindle::IngressXactId";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&IngressXactId::value>("value")};
  }
};

// What an entry matches.
struct SimRouteHandle {
  Routing::Multicast::Fib::IpGenRouteKey routeKey;
  U16 vlan = 0;

  U32 hash() const { return Zet::hashMix(routeKey.hash(), vlan); }
  auto operator<=>(SimRouteHandle const &) const = default;
  static constexpr char const * zetType = "Brindle::SimRouteHandle";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&SimRouteHandle::routeKey>("routeKey"),
                      Zet::field<&SimRouteHandle::vlan>("vlan")};
  }
};

// The ingress transactions that wait for a set.
class XactList final : public Zet::KeyedEntity<OifSetXactId> {
 public:
  using KeyedEntity::KeyedEntity;

  OifSetXactId oifSetId() const { return key(); }
  auto const & blockedXact() const { return blockedXact_; }
  bool blockedXact(IngressXactId k) const { return blockedXact_.contains(k); }
  U32 blockedXacts() const { return blockedXact_.size(); }
  void blockedXactIs(IngressXactId k) { blockedXact_.at(k) = true; }
  void blockedXactDel(IngressXactId k) { blockedXact_.del(k); }

 private:
  Zet::HashMap2018<IngressXactId, bool> blockedXact_;
};

// A set in use.
class BRINDLE_API SimMtableOifSet final : public MtableOifSet {
 public:
  // Where the sets of one chip belong: they may outlive it.
  struct Home : Zet::RefCounted {
    explicit Home(SimAsyncSwitchChip * c) : chip(c) {}
    SimAsyncSwitchChip * chip;
  };
  // The multicast id is the preset one, or else that of the transaction.
  SimMtableOifSet(Zet::Ptr<OifSet const> oifSet, OifSetXactId id, U32 presetMulticastId,
                  Zet::Ptr<Home> home)
      : oifSet_(std::move(oifSet)),
        home_(std::move(home)),
        id_(id),
        presetMulticastId_(presetMulticastId) {}

  Zet::Ptr<OifSet const> const & oifSet() const { return oifSet_; }
  OifSetXactId id() const { return id_; }
  U32 presetMulticastId() const { return presetMulticastId_; }
  U32 multicastId() const { return presetMulticastId_ ? presetMulticastId_ : id_.value; }
  // Null if the chip has gone.
  SimAsyncSwitchChip * simSwitch() const { return home_->chip; }

  void doCleanup();
  void zeroReferencesIs(bool) override { doCleanup(); }

 private:
  Zet::Ptr<OifSet const> const oifSet_;
  Zet::Ptr<Home> const home_;
  OifSetXactId const id_;
  U32 const presetMulticastId_;
};

// A reference that does not keep the set alive.
struct SimMtableOifSetPtr {
  SimMtableOifSet * ptr = nullptr;
};

class BRINDLE_API SimAsyncSwitchChip : public AsyncSwitchChip {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimAsyncSwitchChip, AsyncSwitchChip> {};

  // Sets by their members, and by the id that they were to have: equal ones are shared. A group
  // that keeps its id has a set of its own where another one has come to the same members.
  struct OifSetKey {
    Zet::Ptr<OifSet const> oifSet;
    U32 presetMulticastId = 0;

    U32 hash() const { return Zet::hashMix(oifSet->portVlanSet().hash(), presetMulticastId); }
    bool operator==(OifSetKey const &) const = default;
    bool operator<(OifSetKey const & o) const {
      if (presetMulticastId != o.presetMulticastId) return presetMulticastId < o.presetMulticastId;
      return oifSet->portVlanSet() < o.oifSet->portVlanSet();
    }
  };

  SimAsyncSwitchChip(Zet::Name name, U32 index, bool multicastFloodsetNeedsIngress);
  ~SimAsyncSwitchChip() override;

  // Whether the default routes of VLANs have entries.
  bool multicastFloodsetNeedsIngress() const { return multicastFloodsetNeedsIngress_; }

  // Faults: every new set, every pointing of an entry at a set is refused at once.
  bool failOifSetImmediate() const { return failOifSetImmediate_; }
  void failOifSetImmediateIs(bool v) { failOifSetImmediate_ = v; }
  bool failIngressImmediate() const { return failIngressImmediate_; }
  void failIngressImmediateIs(bool v) { failIngressImmediate_ = v; }

  // Limits: sets and handles in use, and ingress transactions that stand, finished ones among them.
  U16 maxOifSets() const { return maxOifSets_; }
  void maxOifSetsIs(U16 v) { maxOifSets_ = v; }
  U16 maxRouteHandles() const { return maxRouteHandles_; }
  void maxRouteHandlesIs(U16 v) { maxRouteHandles_ = v; }
  U16 maxIngressSets() const { return maxIngressSets_; }
  void maxIngressSetsIs(U16 v) { maxIngressSets_ = v; }

  // The reasons given: for a refusal at once, and for a transaction that failed.
  MrouteFailureReason immediateOifSetFailureReason() const { return immediateOifSetReason_; }
  void immediateOifSetFailureReasonIs(MrouteFailureReason v) { immediateOifSetReason_ = v; }
  MrouteFailureReason immediateIngressFailureReason() const { return immediateIngressReason_; }
  void immediateIngressFailureReasonIs(MrouteFailureReason v) { immediateIngressReason_ = v; }
  MrouteFailureReason defaultOifSetFailureReason() const { return defaultOifSetReason_; }
  void defaultOifSetFailureReasonIs(MrouteFailureReason v) { defaultOifSetReason_ = v; }
  MrouteFailureReason defaultIngressFailureReason() const { return defaultIngressReason_; }
  void defaultIngressFailureReasonIs(MrouteFailureReason v) { defaultIngressReason_ = v; }

  // Transactions, those that have finished among them, as long as their set or entry stands.
  auto const & oifSetXact() const { return oifSetXact_; }
  Zet::Ptr<Keel::Xact> oifSetXact(U32 id) const { return lookup(oifSetXact_, id); }
  auto const & ingressXact() const { return ingressXact_; }
  Zet::Ptr<Keel::Xact> ingressXact(U32 id) const { return lookup(ingressXact_, id); }
  // Who waits for a set, and for which set an ingress transaction waits (0: none).
  auto const & blockedIngressXact() const { return blockedIngressXact_; }
  XactList * blockedIngressXact(OifSetXactId k) const { return blockedIngressXact_.find(k); }
  OifSetXactId blockingOifSetXactId(IngressXactId k) const {
    return lookup(blockingOifSetXactId_, k);
  }

  // Entries, both ways, and their ingress transactions.
  auto const & inUseRouteHandle() const { return inUseRouteHandle_; }
  SimRouteHandle inUseRouteHandle(RouteHandle k) const { return lookup(inUseRouteHandle_, k); }
  RouteHandle routeHandleMap(SimRouteHandle const & k) const { return lookup(routeHandleMap_, k); }
  Zet::Ptr<Keel::Xact> routeHandleXact(RouteHandle k) const { return lookup(routeHandleXact_, k); }

  // Sets in use.
  auto const & inUseOifSet() const { return inUseOifSet_; }
  SimMtableOifSet * inUseOifSet(Zet::Ptr<OifSet const> const & k, U32 presetMulticastId = 0) const {
    return lookup(inUseOifSet_, OifSetKey{k, presetMulticastId}).ptr;
  }

  // The next of each; none is given twice.
  U32 oifSetId() const { return oifSetId_; }
  U32 routeHandleId() const { return routeHandleId_; }
  U32 ingressId() const { return ingressId_; }

  // For the driver of the simulation. End one transaction: false if there is none, or if an ingress
  // transaction cannot succeed before its set. A success turns into a failure where a limit is
  // reached.
  bool doSetOifSetXactResult(U32 xactId, Keel::XactResult);
  bool doSetIngressXactResult(U32 xactId, Keel::XactResult);
  // End all that are open; `skipBlocked` passes over those that cannot succeed yet.
  void doSetAllOifSetXacts(Keel::XactResult);
  void doSetAllIngressXacts(Keel::XactResult, bool skipBlocked);
  // The hardware frees a set. REQUIRES: no ingress transaction waits for it.
  void delMtableOifSet(SimMtableOifSet const *);

  XactPtr doAllocateMtableOifSet(RouteKeyInfo const &, Zet::Ptr<OifSet const> const &,
                                 XactPtr const & blockingXact, U32 presetMulticastId,
                                 bool frrRoute) override;
  void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                       bool bridgeAction, RpaIndex, L3::VrfName, bool fastdrop) override;
  XactPtr doSetMtableOifSet(RouteHandle, Zet::Ptr<MtableOifSet> const &,
                            XactPtr const & blockingXact) override;
  void doDeleteRoute(RouteHandle) override;
  void doSetBridgeAction(RouteHandle, bool) override {}
  void doActivateRoute(RouteHandle) override {}
  Zet::Ptr<OifSet const> doGetOifSet(Zet::Ptr<MtableOifSet> const &) override;
  U32 doGetMulticastId(Zet::Ptr<MtableOifSet> const &) override;
  bool needIngressProgramming(RouteKeyType) const override;
  MrouteFailureReason doGetOifSetXactFailureReason(XactPtr const &) override {
    return defaultOifSetReason_;
  }
  MrouteFailureReason doGetIngressXactFailureReason(XactPtr const &) override {
    return defaultIngressReason_;
  }

 private:
  XactPtr refuseOifSet(OifSet const &, char const * why);
  XactPtr refuseIngress(RouteHandle, char const * why);
  Zet::Ptr<Keel::Xact> ingressXactIs(RouteHandle);
  void unblock(IngressXactId);

  bool const multicastFloodsetNeedsIngress_;
  Zet::Ptr<SimMtableOifSet::Home> const home_;
  bool failOifSetImmediate_ = false;
  bool failIngressImmediate_ = false;
  U16 maxOifSets_ = 65535;
  U16 maxRouteHandles_ = 65535;
  U16 maxIngressSets_ = 65535;
  MrouteFailureReason immediateOifSetReason_{8};
  MrouteFailureReason immediateIngressReason_{256};
  MrouteFailureReason defaultOifSetReason_{1};
  MrouteFailureReason defaultIngressReason_{256};
  Zet::HashMap2018<U32, Zet::Ptr<Keel::Xact>> oifSetXact_;
  Zet::HashMap2018<U32, Zet::Ptr<Keel::Xact>> ingressXact_;
  Zet::HashMap2018<RouteHandle, SimRouteHandle> inUseRouteHandle_;
  Zet::HashMap2018<RouteHandle, Zet::Ptr<Keel::Xact>> routeHandleXact_;
  Zet::HashMap<OifSetXactId, XactList> blockedIngressXact_;
  Zet::HashMap2018<IngressXactId, OifSetXactId> blockingOifSetXactId_;
  Zet::HashMap2018<SimRouteHandle, RouteHandle> routeHandleMap_;
  Zet::HashMap2018<OifSetKey, SimMtableOifSetPtr> inUseOifSet_;
  U32 oifSetId_ = 1;
  U32 routeHandleId_ = 1;
  U32 ingressId_ = 1;
};

class BRINDLE_API SimAsyncFabric : public AsyncFabric {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimAsyncFabric, AsyncFabric> {};
  using AsyncFabric::AsyncFabric;

  // The simulated chip of this name; null if there is none.
  SimAsyncSwitchChip * chip(Zet::Name) const;
  using AsyncFabric::chip;
  // Finds or makes a chip. Throws RangeException if it stands with other parameters.
  Zet::Ptr<SimAsyncSwitchChip> chipIs(Zet::Name name, U32 index,
                                      bool multicastFloodsetNeedsIngress);
  using AsyncFabric::chipIs;

  // The switch of the programmer, if the fabric is to hold one.
  Zet::Ptr<MrouteReviewConfig> const & reviewConfig() const { return reviewConfig_; }
  Zet::Ptr<MrouteReviewConfig> const & reviewConfigIs();
  void reviewConfigDel() { reviewConfig_ = nullptr; }

 private:
  Zet::Ptr<MrouteReviewConfig> reviewConfig_;
};

inline Zet::Ptr<SimAsyncFabric> simAsyncFabricFactory(Zet::Name name) {
  return Zet::make<SimAsyncFabric>(name);
}

}  // namespace Brindle
