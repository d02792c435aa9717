// One route on all chips.
//
// A ZetMroute is the reactor of MrouteSm on one Mroute. Each time the route's version moves it
// makes every chip agree with it: one entry for the route itself, one for each fastdrop VLAN, and
// up to three special ones. Chips answer at once, so everything happens in one pass, inside the
// handler. A pass that a chip refuses takes the route off all chips and leaves a reason, by which
// MrouteSm retries it; it never retries by itself.
#pragma once

#include "model/Mroute.h"
#include "platform/Reactor.h"
#include "programmer/ChipInfo.h"
#include "state/HardwareStatus.h"

namespace Brindle {

class MrouteSm;
struct SpecialRoute;

class BRINDLE_API ZetMroute final : public Zet::Reactor<RouteVersion const, MrouteSm>,
                                    public Zet::HashLink {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using RpaIndex = Shoal::Multicast::Fib::RpaIndex;

  ZetMroute(MrouteSm * sm, Zet::Ptr<Mroute const> const & mroute) : Reactor(sm), mroute_(mroute) {}
  Key const & fwkKey() const { return mroute_->key(); }
  Key const & key() const { return mroute_->key(); }
  Mroute const & mroute() const { return *mroute_; }

  // Lifecycle
  void onVersion() override { handleChange(); }
  void immediatePass() override { handleChange(); }
  void handleChange();
  // The route has gone from its table.
  void handleDel();

  // Programming
  void doUpdateFabric();
  // The notify route, and if that succeeds the persistent fastdrop; the latter alone; the
  // fast-reroute entry. REQUIRES: doUpdateFabric() has succeeded.
  void doUpdateFabricWithNotifyRoute();
  void doUpdateFabricWithStaticFastdrop();
  void doUpdateFabricWithFrr();
  // One fastdrop entry on all chips, or on none: false. The failure leaves no reason.
  bool doProgramFastdropRoute(Bridging::VlanId vlan, Zet::Ptr<OifSet> const & oifSet,
                              bool bridgeAction, bool fastdrop, RpaIndex rpaId);
  // Brings the poll times of fastdrops up to date.
  void doUpdateStatus();

  // Failure mask: bit n for a chip of index n without an output set for the route, bit 16 + n for
  // one without an entry. 0 means that all is well; anything else puts the route on the machine's
  // list of failed ones.
  U32 reason() const { return reason_; }
  void reasonIs(U32 v);

  ChipInfos const & chipInfo() const { return chipInfo_; }
  // What was programmed last.
  Zet::Ptr<OifSet const> const & oifSet() const { return oifSet_; }
  Bridging::VlanIdOrNone acceptingVlanId() const { return acceptingVlanId_; }
  RpaIndex rpaId() const { return rpaId_; }

 private:
  class Update;
  using RouteStatus = Routing::Multicast::Fib::Hardware::RouteStatus;

  void handleReason();
  bool isPrefixRoute() const;
  void doUpdateStatus(RouteStatus &);
  void releaseChips() const;

  // Special routes
  bool wantsSpecialRoute() const {
    return mroute_->notifyingVlanId() || mroute_->staticFastdropVlanId() || mroute_->frrVlanId();
  }
  void doUpdateFabricWithNotifyRoute(RouteStatus &);
  bool doUpdateFabricWith(SpecialRoute const &, RouteStatus &);
  U32 doProgram(SpecialRoute const &, ChipInfo &, Bridging::VlanId, Zet::Ptr<OifSet> const &);
  void doDeleteOtherThan(SpecialRoute const &, Bridging::VlanIdOrNone wanted,
                         Bridging::VlanIdOrNone keep = {});

  // Fastdrops
  void doDeleteObsoleteFastdrops();
  void doUpdateFastdrops();
  bool doProgramFastdrop(Bridging::VlanId, Zet::Ptr<OifSet> const &, bool bridgeAction,
                         bool fastdrop, RpaIndex);
  bool doProgramFastdrop(ChipInfo &, Bridging::VlanId, Zet::Ptr<OifSet> const &, bool bridgeAction,
                         bool fastdrop, RpaIndex);

  Zet::Ptr<Mroute const> const mroute_;
  ChipInfos chipInfo_;
  Zet::Ptr<OifSet const> oifSet_;
  U32 reason_ = 0;
  Bridging::VlanIdOrNone acceptingVlanId_;
  RpaIndex rpaId_ = Shoal::Multicast::Fib::rpaNone;
};
static_assert(sizeof(ZetMroute) <= 112);

}  // namespace Brindle
