// A switch chip that answers later, as the programmer sees it: a platform derives from it.
//
// What it gives out is what every chip gives out (SwitchChip.h), but an output set, and the change
// of the set that an entry points at, come as transactions: the chip returns one at once and sets
// its result when the hardware has confirmed, in the agent's thread, maybe before it returns. A
// transaction may not finish before the one that it was told to wait for. A call that fails at
// once returns nothing and leaves the reason in mrouteFailureReason().
#pragma once

#include "fabric/SwitchChip.h"
#include "model/FailureReason.h"
#include "platform/RbTreeMap.h"
#include "platform/Xact.h"

namespace Brindle {

// What an output set is for.
struct RouteKeyInfo {
  Routing::Multicast::Fib::IpGenRouteKey key;
  // The VLAN of the entry that is to point at it, or of the L2 route; 0 for none.
  Bridging::VlanIdOrNone vlanId;
  L3::VrfName vrfName;

  bool operator==(RouteKeyInfo const &) const = default;

  static constexpr char const * zetType = "Brindle::RouteKeyInfo";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&RouteKeyInfo::key>("key"),
                      Zet::field<&RouteKeyInfo::vlanId>("vlanId"),
                      Zet::field<&RouteKeyInfo::vrfName>("vrfName")};
  }
};

// The derived class supplies the operations, which otherwise throw NoImplementationException.
class BRINDLE_API AsyncSwitchChip : public SwitchChipBase {
 public:
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;
  using RouteKeyType = Routing::Multicast::Fib::RouteKeyType;
  using RpaIndex = Shoal::Multicast::Fib::RpaIndex;
  using XactPtr = Zet::Ptr<Keel::Xact const>;
  class NotifieeConst : public Zet::NotifieeOf<AsyncSwitchChip, SwitchChipBase> {};

  // Throws RangeException if the index is above maxIndex.
  AsyncSwitchChip(Zet::Name name, U32 index) : SwitchChipBase(name, index) {}

  // Why the last call failed at once; never 0 after one that did.
  MrouteFailureReason mrouteFailureReason() const { return mrouteFailureReason_; }
  void mrouteFailureReasonIs(MrouteFailureReason v) { mrouteFailureReason_ = v; }

  // Sets that a programmer has left behind that was killed: as after a crash, nobody lets them go
  // before the platform does.
  auto const & leftSets() const { return leftSets_; }
  void leftSetIs(Zet::Ptr<MtableOifSet> const & v) { leftSets_.push_back(v); }
  void leftSetsDelAll() { leftSets_.clear(); }

  // Sets mtableOifSet() to a set for these members, which may be shared with an equal set, and
  // returns the transaction of its allocation; or null. The set gets the given multicast id unless
  // that is 0. `frrRoute`: it is for the backup input of a route.
  virtual XactPtr doAllocateMtableOifSet(RouteKeyInfo const & routeInfo,
                                         Zet::Ptr<OifSet const> const & oifSet,
                                         XactPtr const & blockingXact, U32 presetMulticastId,
                                         bool frrRoute);
  // Sets routeHandle() to a new entry, at once, or to null.
  virtual void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                               bool bridgeAction, RpaIndex rpaId, L3::VrfName vrf, bool fastdrop);
  // Points the entry at the set: the transaction of that, or null.
  virtual XactPtr doSetMtableOifSet(RouteHandle, Zet::Ptr<MtableOifSet> const &,
                                    XactPtr const & blockingXact);
  // At once, whatever the entry's transactions do.
  virtual void doDeleteRoute(RouteHandle);
  // Whether the entry's packets go to the CPU, too.
  virtual void doSetBridgeAction(RouteHandle, bool toCpu);
  virtual void doActivateRoute(RouteHandle);
  // What a set of this chip was made of, and its id in hardware.
  virtual Zet::Ptr<OifSet const> doGetOifSet(Zet::Ptr<MtableOifSet> const &);
  virtual U32 doGetMulticastId(Zet::Ptr<MtableOifSet> const &);
  // Whether routes of this kind have an entry that is to be pointed at the set; otherwise they are
  // complete with the set.
  virtual bool needIngressProgramming(RouteKeyType) const;
  // Why a transaction failed; never 0.
  virtual MrouteFailureReason doGetOifSetXactFailureReason(XactPtr const &);
  virtual MrouteFailureReason doGetIngressXactFailureReason(XactPtr const &);

 private:
  MrouteFailureReason mrouteFailureReason_;
  Zet::CompactVector<Zet::Ptr<MtableOifSet>> leftSets_;
};

}  // namespace Brindle
