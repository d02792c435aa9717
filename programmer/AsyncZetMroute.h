// One route on all chips that answer later.
//
// An AsyncZetMroute is the reactor of AsyncMrouteSm on one Mroute. When the route's version moves
// it issues all steps at once, as one chain of transactions through the chips: on each a set, then
// the entry, then the entry is pointed at the set. The route is programmed when the last chip has
// confirmed; then the old sets and entries go. If any step on any chip fails the route is taken off
// all of them, and the machine retries it. A change that comes meanwhile waits for the outcome.
//
//   reason 0, nothing on the chips       not computed yet, or without an input
//   reason blocked                       waits for the review to be enabled
//   inProgress                           transactions are out; `reason inProgress`: and it has
//                                        changed since
//   reason 0, on the chips               programmed
//   reason of a failure, nothing there   failed
//
// Entries beside the route's own have chains of their own. If one fails, all of its kind go, and
// the route stays; only a fastdrop leaves no reason.
#pragma once

#include <exception>

#include "model/Mroute.h"
#include "platform/Reactor.h"
#include "programmer/AsyncChipInfo.h"
#include "programmer/L2Status.h"
#include "state/HardwareStatus.h"

namespace Brindle {

struct EntryWish;
struct SpecialRoute;
class XactChain;

class BRINDLE_API AsyncZetMroute final : public Zet::Reactor<RouteVersion const, AsyncMrouteSm>,
                                         public Zet::HashLink {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using RpaIndex = Shoal::Multicast::Fib::RpaIndex;
  using ChipInfo = AsyncChipInfo;
  using ChipInfos = Zet::CompactVector<ChipInfo>;

  AsyncZetMroute(AsyncMrouteSm * sm, Zet::Ptr<Mroute const> const & mroute)
      : Reactor(sm),
        mroute_(mroute) {}
  Key const & fwkKey() const { return mroute_->key(); }
  Key const & key() const { return mroute_->key(); }
  Mroute const & mroute() const { return *mroute_; }
  // Another object stands for the route.
  void mrouteIs(Zet::Ptr<Mroute const> const &);

  // Lifecycle
  void onVersion() override { handleChange(); }
  void immediatePass() override { handleChange(); }
  void zetDoZombieReactors(bool) override;
  void handleChange();
  // The route has gone from its table.
  void handleDel();
  // As after a crash: the chips keep their sets.
  void doLeaveBehind();

  // Programming
  void doUpdateFabricMroute();
  void doUpdateFabricL2Group();
  // False if a chip has refused.
  bool doUpdateFabricMrouteWithNotifyMroute();
  bool doUpdateFabricMrouteWithStaticFastdrop();
  bool doUpdateFabricMrouteWithFrr();
  // The same again for what failed or was kept back.
  void doRetry();

  // Outcome
  void handleXact(EntryKind, bool ingress, Keel::Xact const &);
  // A chip has left the fabric: nobody waits for it.
  void handleChipGone();
  void handleXactFailure(MrouteFailureReason);
  // Takes the route off all chips.
  void finishFailureCleanup(MrouteFailureReason);

  // Status
  void doSetRouteProgrammed();
  ProgrammingStatus routeProgrammed() const;
  void doUpdateFlags();
  // Brings the poll times of fastdrops up to date.
  void doUpdateStatus();
  void doClearRouteStatus();
  // True if that has made room in hardware.
  bool doDeleteRouteStatus();

  // Why the route is not programmed, or not as it is to be. While it is not 0 the route is on the
  // machine's list of failed ones.
  MrouteFailureReason reason() const { return reason_; }
  void reasonIs(MrouteFailureReason);
  // Transactions for the route itself are out.
  bool inProgress() const { return inProgress_; }

  // In the order of the fabric's chips.
  ChipInfos const & chipInfo() const { return chipInfo_; }
  // What the chips were told last.
  Zet::Ptr<OifSet const> const & oifSet() const { return oifSet_; }
  Bridging::VlanIdOrNone acceptingVlanId() const { return acceptingVlanId_; }
  RpaIndex rpaId() const { return rpaId_; }

 private:
  class Update;
  class L2Update;
  // While the route talks to chips: transactions that end inside the calls are looked at when the
  // outermost one is over, and then those that are out are listened to. A change that comes
  // meanwhile waits.
  class Busy {
   public:
    explicit Busy(AsyncZetMroute & route) : route_(&route), outermost_(!route.busy_) {
      route.busy_ = true;
    }
    // May throw what a chip throws, unless it has thrown already.
    ~Busy() noexcept(false) {
      if (outermost_) route_->endBusy(std::uncaught_exceptions() > exceptions_);
    }
    Busy(Busy const &) = delete;
    Busy & operator=(Busy const &) = delete;

   private:
    Zet::Ptr<AsyncZetMroute> const route_;
    bool const outermost_;
    int const exceptions_ = std::uncaught_exceptions();
  };
  using RouteStatus = Routing::Multicast::Fib::Hardware::RouteStatus;

  // Chips
  void doDropGoneChips();
  ChipInfo & chipInfoIs(U32 position, AsyncSwitchChip &);
  void releaseChips() const;
  void freedRoom();

  // Outcome: what the transactions of a kind have come to, and what follows from it.
  bool hasSucceeded(EntryKind) const;
  bool hasFailed(EntryKind) const;
  MrouteFailureReason failureOf(EntryKind) const;
  // True if something did.
  bool settle(EntryKind);
  void settleAll();
  // With an exception under way no more outcomes are looked at.
  void endBusy(bool isUnwinding);
  void complete();

  // Entries beside the route's own
  bool doUpdateFabricWith(SpecialRoute const &);
  // On all chips. False if one has refused.
  bool doProgram(EntryWish const &, XactChain &);
  bool doProgram(EntryWish const &, ChipInfo &, XactChain &);
  void completeSpecial(SpecialRoute const &);
  void handleSpecialXactFailure(SpecialRoute const &, MrouteFailureReason);
  void doDeleteOtherThan(SpecialRoute const &, Bridging::VlanIdOrNone wanted,
                         Bridging::VlanIdOrNone keep = {});
  void doDeleteObsoleteFastdrops();
  // Behind the transaction that is the route's own last one.
  void doUpdateFastdrops(Zet::Ptr<Keel::Xact const> const & last);
  void completeFastdrops();
  void handleFastdropXactFailure();
  void doForgetXacts(EntryKind);

  // Status
  RouteStatus & routeStatusIs();
  ProgrammedSet * programmedSet() const;
  void doSetMcastGroupProgrammed();
  void doSetPrefixRouteProgrammed();

  Zet::Ptr<Mroute const> mroute_;
  ChipInfos chipInfo_;
  Zet::Ptr<OifSet const> oifSet_;
  MrouteFailureReason reason_;
  Bridging::VlanIdOrNone acceptingVlanId_;
  RpaIndex rpaId_ = Shoal::Multicast::Fib::rpaNone;
  bool inProgress_ = false;
  bool busy_ = false;
};
static_assert(sizeof(AsyncZetMroute) <= 112);

}  // namespace Brindle
