// Chips in memory, with counted resources: all of the programmers' logic runs, and runs out of
// resources, on a machine without switch chips.
#pragma once

#include "fabric/Fabric.h"
#include "platform/HashMap.h"
#include "platform/IntfId.h"

namespace Brindle {

// A chip that holds what it is told. Its tables have size 0 until somebody sets them up: until then
// it refuses every route, and every set that has local ports.
class BRINDLE_API SimSwitchChip : public SwitchChip {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimSwitchChip, SwitchChip> {};

  // What an entry matches.
  struct SimRouteKey {
    RouteKey sg;
    Bridging::VlanIdOrNone vlanId;

    bool operator==(SimRouteKey const &) const = default;
    static constexpr char const * zetType = "Brindle::SimSwitchChip::SimRouteKey";
    static constexpr auto zetFields() {
      return std::array{Zet::field<&SimRouteKey::sg>("sg"),
                        Zet::field<&SimRouteKey::vlanId>("vlanId")};
    }
  };

  // An output set and the slots that it holds.
  class BRINDLE_API SimMtableOifSet final : public MtableOifSet {
   public:
    Zet::Ptr<OifSet const> const & oifSet() const { return oifSet_; }
    // Null if the chip has gone.
    SimSwitchChip * simSwitch() const { return home_->chip; }
    U32 portCount() const { return portCount_; }
    void handleDel();
    void zeroReferencesIs(bool) override { handleDel(); }

   private:
    friend class SimSwitchChip;
    template <class T, class... A> friend Zet::Ptr<T> Zet::make(A &&...);
    // Where the sets of one chip belong.
    struct Home : Zet::RefCounted {
      explicit Home(SimSwitchChip * c) : chip(c) {}
      SimSwitchChip * chip;
    };
    SimMtableOifSet(Zet::Ptr<Home> const & home, Zet::Ptr<OifSet const> const & oifSet,
                    U32 portCount)
        : home_(home),
          oifSet_(oifSet),
          portCount_(portCount) {}

    Zet::Ptr<Home> const home_;
    Zet::Ptr<OifSet const> const oifSet_;
    U32 const portCount_;
  };

  // An entry.
  class Route final : public Zet::Entity, public Zet::HashLink {
   public:
    Route(RouteHandle handle, SimRouteKey const & key) : routeHandle_(handle), key_(key) {}

    RouteHandle const & fwkKey() const { return routeHandle_; }
    RouteHandle routeHandle() const { return routeHandle_; }
    SimRouteKey const & key() const { return key_; }
    Zet::Ptr<SimMtableOifSet const> const & simMtableOifSet() const { return simMtableOifSet_; }
    bool activated() const { return activated_; }
    RpaIndex rpaId() const { return rpaId_; }

   private:
    friend class SimSwitchChip;
    RouteHandle const routeHandle_;
    SimRouteKey const key_;
    bool activated_ = false;
    RpaIndex rpaId_ = Shoal::Multicast::Fib::rpaNone;
    Zet::Ptr<SimMtableOifSet const> simMtableOifSet_;
  };

  SimSwitchChip(Zet::Name name, U32 index);
  ~SimSwitchChip() override;

  // The entries in use.
  auto const & simRoute() const { return simRoute_; }
  Route const * simRoute(RouteHandle k) const { return simRoute_.find(k); }

  // The ports that belong to this chip; members of a set on others count for nothing here.
  auto const & port() const { return port_; }
  bool port(Nettle::IntfId k) const {
    return k.index() < isLocal_.size() && isLocal_[k.index()] != 0;
  }
  void portIs(Nettle::IntfId, bool);
  void portDel(Nettle::IntfId k) { portIs(k, false); }

  // The last handle given out; the next one is one more.
  U32 nextRoute() const { return nextRoute_; }
  void nextRouteInc(U32 n) { nextRoute_ += n; }
  // The size of the route table.
  U32 routeTotal() const { return routeTotal_; }
  void routeTotalIs(U32 v) { routeTotal_ = v; }
  // The slots for ports of sets: all of them, and the free ones.
  U32 pvTotal() const { return pvTotal_; }
  void pvTotalIs(U32 v) { pvTotal_ = v; }
  U32 pvNumFree() const { return pvNumFree_; }
  void pvNumFreeIs(U32 v) { pvNumFree_ = v; }

  // Never shares a set.
  void doAllocateMtableOifSet(Zet::Ptr<OifSet const> const &) override;
  void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                       bool bridgeAction, Zet::Ptr<MtableOifSet> const &, bool fastdrop, bool noRpf,
                       RpaIndex rpaId, L3::VrfName vrf) override;
  void doSetMtableOifSet(RouteHandle, Zet::Ptr<MtableOifSet> const &) override;
  void doSetBridgeAction(RouteHandle, bool) override {}
  void doDeleteRoute(RouteHandle) override;
  void doActivateRoute(RouteHandle) override;
  void doCommitRouteBatch() override {}
  // Back to the first state. REQUIRES: nobody holds a set.
  void doReset();

 private:
  void handleSimMtableOifSetDel(SimMtableOifSet const * simOifset);
  void traceLocalMembers(OifSet const &) const;
  void simRouteDelAll() { simRoute_.clear(); }

  Zet::Ptr<SimMtableOifSet::Home> const home_;
  Zet::HashMap<RouteHandle, Route> simRoute_;
  Zet::OrderedSet<Nettle::IntfId> port_;
  Zet::CompactVector<U8> isLocal_;  // the same by the interface's index
  U32 nextRoute_ = 0;
  U32 routeTotal_ = 0;
  U32 pvTotal_ = 0;
  U32 pvNumFree_ = 0;
};

class BRINDLE_API SimFabric : public Fabric {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimFabric, Fabric> {};
  using Fabric::Fabric;

  // The simulated chip of this name; null if there is none.
  SimSwitchChip * chip(Zet::Name) const;
  using Fabric::chip;
  // Finds or makes a chip. Throws RangeException if it stands with another index.
  Zet::Ptr<SimSwitchChip> chipIs(Zet::Name name, U32 index);
  using Fabric::chipIs;
};

inline Zet::Ptr<SimFabric> simFabricFactory(Zet::Name name) { return Zet::make<SimFabric>(name); }

}  // namespace Brindle
