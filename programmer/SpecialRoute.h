// The three entries that a route may have beside its own and its fastdrops, as rows of one table:
// they are programmed alike and differ in data only.
#pragma once

#include <array>

#include "model/Mroute.h"
#include "programmer/ChipInfo.h"
#include "state/HardwareStatus.h"

namespace Brindle {

struct SpecialRoute {
  using RouteStatus = Routing::Multicast::Fib::Hardware::RouteStatus;

  EntryKind kind;
  // What the route wants: the input VLAN, 0 for no entry, and the output set.
  Bridging::VlanIdOrNone (Mroute::*vlan)() const;
  Zet::Ptr<OifSet> const & (Mroute::*oifSet)() const;
  // Where the status says which interface the entry stands for.
  void (RouteStatus::*intfIdIs)(Nettle::IntfId);
  // How the entry differs on the chip: only some take the rendezvous point on chips that answer at
  // once; chips that answer later are told of sets for a backup input.
  bool fastdrop;
  bool takesRpaId;
  bool frrRoute;

  // Its place in tables of texts.
  U32 index() const { return static_cast<U32>(kind) - static_cast<U32>(EntryKind::notify); }
};

// By kind, in the order in which they are programmed.
extern std::array<SpecialRoute, 3> const specialRoutes;

// Whether the route comes in somewhere: by a VLAN, or by those of a rendezvous point.
inline bool hasInput(Mroute const & mroute) {
  return mroute.acceptingVlanId() || mroute.rpaId() != Shoal::Multicast::Fib::rpaNone;
}

// Whether the route or one of these has the VLAN as its input: it is no wrong one then.
inline bool isInput(Mroute const & mroute, Bridging::VlanId vlan) {
  return vlan == mroute.acceptingVlanId() || vlan == mroute.notifyingVlanId() ||
         vlan == mroute.staticFastdropVlanId() || vlan == mroute.frrVlanId();
}

inline SpecialRoute const & specialRoute(EntryKind kind) {
  return specialRoutes[static_cast<U32>(kind) - static_cast<U32>(EntryKind::notify)];
}

}  // namespace Brindle
