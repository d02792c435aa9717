// The chips that answer later: simulated chips that end their transactions as they are told to, and
// that know what hardware knows: the ports that they have, and the set that each entry points at.
#pragma once

#include <map>

#include "fabric/SimAsyncFabric.h"
#include "sim/Chip.h"

namespace Brindle::Sim {

class AsyncChip final : public SimAsyncSwitchChip, public Chip, public Answering::Xacts {
 public:
  using Result = Keel::XactResult;
  // The ids of requested groups, which all chips of a switch draw from.
  struct GroupIds : Zet::RefCounted {
    U32 last = 0;
  };
  // `unknownEntries`: floodsets of unknown multicast have entries. Those of the VXLAN core and of
  // EVPN peers have none.
  AsyncChip(Zet::Name name, U32 index, bool unknownEntries, Zet::Ptr<GroupIds> const & groupIds);
  ~AsyncChip() override;

  Zet::Name name() const override { return SimAsyncSwitchChip::name(); }
  U32 index() const override { return SimAsyncSwitchChip::index(); }

  Zet::OrderedSet<Nettle::IntfId> const & ports() const override { return ports_; }
  void portIs(Nettle::IntfId port, bool v) override { v ? ports_.insert(port) : ports_.del(port); }

  U32 routesInUse() const override { return inUseRouteHandle().size(); }
  U32 setsInUse() const override { return inUseOifSet().size(); }
  char const * setUnit() const override { return "sets"; }
  U32 routeCapacity() const override { return maxRouteHandles(); }
  U32 setCapacity() const override { return maxOifSets(); }
  bool hasRouteRoom() const override { return routesInUse() < maxRouteHandles(); }
  bool hasSetRoom() const override { return setsInUse() < maxOifSets(); }
  // What is in use stays.
  void routeCapacityIs(U32 n) override { maxRouteHandlesIs(limit(n)); }
  void setCapacityIs(U32 n) override { maxOifSetsIs(limit(n)); }
  // At most so many entries that point, or are to point, at a set. Throws CommandError.
  void ingressCapacityIs(U32 n) { maxIngressSetsIs(limit(n)); }
  void announceRoom() override;
  void kick() override;
  void clear() override;

  // Transactions: a handle says that it is one of the pointing of that entry.
  Answering & answering() const { return *answering_; }
  Zet::Ptr<LateProfileTable> const & profileTable() const { return profileTable_; }
  ProfileTable & profiles() const override { return *profileTable_; }
  bool isOpen(U32 id, RouteHandle handle) const override;
  bool isBlocked(U32 id, RouteHandle handle) const override;
  bool end(U32 id, RouteHandle handle, Result) override;
  // Of these and of its table of profiles.
  void answersIs(Answers const & v);
  void endAll(Result result);
  Zet::Seconds nextAnswer() const;
  // The entry of an ingress transaction; null if there is none.
  RouteHandle handleOf(U32 ingressId) const;

  XactPtr doAllocateMtableOifSet(RouteKeyInfo const &, Zet::Ptr<OifSet const> const &,
                                 XactPtr const & blockingXact, U32 presetMulticastId,
                                 bool frrRoute) override;
  void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                       bool bridgeAction, RpaIndex, L3::VrfName, bool fastdrop) override;
  XactPtr doSetMtableOifSet(RouteHandle, Zet::Ptr<MtableOifSet> const &,
                            XactPtr const & blockingXact) override;
  void doDeleteRoute(RouteHandle) override;
  bool needIngressProgramming(RouteKeyType) const override;

 private:
  using Set = Zet::Ptr<MtableOifSet>;
  // What the hardware holds of an entry: sets live as long as it points at them, whoever else has
  // let them go.
  struct Held {
    RpaIndex rpaId = Shoal::Multicast::Fib::rpaNone;
    Set confirmed;
    Set pending;
  };

  // An entry is active once the chip has confirmed it, and until it confirms another set it
  // forwards by the old one. Of a pending one the set that it is to point at.
  std::vector<Chip::Entry> written() const override;
  std::optional<Chip::Entry> written(RouteHandle) const override;
  static U16 limit(U32 n);
  void handleConfirmed(RouteHandle);

  Zet::OrderedSet<Nettle::IntfId> ports_;
  std::map<U32, Held> held_;  // by the handle's value
  Zet::Ptr<LateProfileTable> const profileTable_;
  Zet::Ptr<GroupIds> const groupIds_;
  Zet::Ptr<Answering> const answering_;
};

}  // namespace Brindle::Sim
