// The routes of one VRF on chips that answer later.
//
// AsyncMrouteRootSm makes an AsyncMrouteSm for each VRF that has a route table. It holds one
// reactor for each route, which does the programming (AsyncZetMroute), and the list of the routes
// that are not programmed as they are to be. A paced review retries those: a slice lasts
// reviewQuantum, and the next one goes on at the bookmark. Nobody retries by himself. While the
// review is disabled nothing is programmed at all: changes are listed as blocked. Its end takes
// all routes off the chips, unless testKill is set.
#pragma once

#include "fabric/AsyncFabric.h"
#include "model/MrouteReviewConfig.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "platform/ReviewTimer.h"
#include "programmer/AsyncZetMroute.h"
#include "programmer/FailureCounters.h"
#include "programmer/RouteStatusWriter.h"
#include "programmer/RouteTables.h"
#include "state/IntfVlanId.h"
#include "state/McastGroup.h"
#include "state/PimIntf.h"

namespace Brindle {

class RouteHandleCollection;

class BRINDLE_API AsyncMrouteSm final : public Zet::Sm, public Zet::HashLink {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using HardwareStatus = Routing::Multicast::Fib::Hardware::Status;
  using ZetMroute = AsyncZetMroute;
  using ChipInfo = AsyncChipInfo;

  // A route that is not programmed as it is to be.
  struct FailedMroute {
    Key key;
    Zet::Ptr<ZetMroute> mroute;

    bool operator==(FailedMroute const &) const = default;
  };

  struct Inputs {
    Zet::Ptr<Zet::Clock const> clock;
    Zet::Ptr<AsyncFabric> fabric;
    RouteTables tables;
    Zet::Ptr<HardwareStatus> mfib;
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable;
    Zet::Ptr<MrouteReviewConfig> reviewConfig;
    Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> pimIntfStatus;  // may be null
    Zet::Ptr<Multicast::Group::Status> mcastGroupStatus;               // may be null
  };
  AsyncMrouteSm(L3::VrfName vrf, Inputs const &);
  // Throws RangeException if it was made with others.
  void requireSameInputs(Inputs const &) const;
  L3::VrfName const & fwkKey() const { return vrfName_; }
  Zet::Name name() const override { return vrfName_.name(); }
  L3::VrfName vrfName() const { return vrfName_; }
  Zet::Ptr<AsyncFabric> const & fabric() const { return in_.fabric; }
  Zet::Ptr<HardwareStatus> const & mfib() const { return in_.mfib; }
  auto const & pimIntfStatus() const { return in_.pimIntfStatus; }
  auto const & mcastGroupStatus() const { return in_.mcastGroupStatus; }
  RouteStatusWriter const & statusWriter() const { return statusWriter_; }

  // Lifecycle
  bool initialized() const { return initialized_; }
  // A crash is tried: routes and what is published of them stay as they stand.
  bool testKill() const { return testKill_; }
  void testKillIs(bool v) { testKill_ = v; }
  // Takes all routes off the chips. Nothing is programmed any more.
  void doReleaseRoutes();
  void handleDel() override { doReleaseRoutes(); }

  // Routes, those of the L2 table among them
  auto const & zetMroute() const { return zetMroute_; }
  ZetMroute * zetMroute(Key const & k) const { return zetMroute_.find(k); }
  void mrouteIs(Zet::Ptr<Mroute const> const & mroute);
  void mrouteDel(Key const & key);
  Zet::Ptr<MrouteTable const> const & mrouteTable() const { return in_.tables.mrouteTable; }
  Zet::Ptr<MrouteTable const> const & l2FloodsetTable() const { return in_.tables.l2FloodsetTable; }
  void l2FloodsetTableIs(Zet::Ptr<MrouteTable const> const &);
  void handleFloodset(Key const & key);
  void handleFloodset();
  void handleInternalVlanId(Nettle::IntfId intf);

  // Failed routes. The size of the list is the sum of the counters by kind.
  auto const & failedMroute() const { return failedMroute_; }
  FailedMroute failedMroute(Key const & key) const {
    FailedMroute const * const failed = failedMroute_.find(key);
    return failed ? *failed : FailedMroute();
  }
  U32 failedMroutes() const { return failedMroute_.size(); }
  void failedMrouteIs(FailedMroute const & v) { failedMroute_.at(v.key) = v; }
  void failedMrouteDel(Key const & key) { failedMroute_.del(key); }
  Zet::Ptr<FailureCounters> const & failureCounters() const { return failureCounters_; }
  // The operator was told that there are routes, or groups, for which hardware resources ran out.
  bool mroutesFull() const { return mroutesFull_; }
  bool ethGroupsFull() const { return ethGroupsFull_; }

  // What is published
  Zet::Ptr<L2Status> const & l2Status() const { return l2Status_; }
  // Takes away what an earlier life of the agent published of routes that are no more. The chips
  // are not touched: nobody knows those handles any more.
  void reconcileMfib();

  // A diagnostic for a quiet system: ends the process if what is published of the route, what the
  // machine believes and what its chips were told differ. Adds the entries that the route is to
  // have in the chips; false if it has none. REQUIRES: zetMroute(key).
  bool doVerify(Key const & key, RouteHandleCollection & handles) const;

  // Review
  Zet::Seconds minDelay() const { return 0.01; }
  Zet::Seconds maxDelay() const { return 0.05; }
  Zet::Seconds reviewQuantum() const { return reviewQuantum_; }
  void reviewQuantumIs(Zet::Seconds v) { reviewQuantum_ = v; }
  Zet::Ptr<Keel::ReviewTimer> const & reviewTimer() const { return reviewTimer_; }
  Key const & bookmark() const { return bookmark_; }
  bool isReviewEnabled() const { return in_.reviewConfig->reviewFreq() == mrouteReviewEnabled; }
  void doKickReview(bool immediately);
  // One slice of the retry pass.
  void handleClock();
  // Whether the resolver has yet to look at the route.
  bool isDirty(Mroute const & mroute) const { return in_.tables.isDirty(mroute); }

 private:
  struct ZetClock final : Zet::Reactor<Zet::Clock const, AsyncMrouteSm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };
  struct ZetFabric final : Zet::Reactor<AsyncFabric, AsyncMrouteSm> {
    using Reactor::Reactor;
    void onChip(Zet::Name const & name) override { sm()->handleChip(name); }
  };
  struct ZetMrouteTable final : Zet::Reactor<RouteTable const, AsyncMrouteSm> {
    using Reactor::Reactor;
    void onMroute(Key const & key) override { sm()->handleMroute(key); }
    void immediatePass() override { sm()->handleRoutes(); }
  };
  struct ZetL2FloodsetTable final : Zet::Reactor<RouteTable const, AsyncMrouteSm> {
    using Reactor::Reactor;
    void onMroute(Key const & key) override { sm()->handleFloodset(key); }
    void immediatePass() override { sm()->handleFloodset(); }
  };
  struct ZetIntfVlanIdTable final : Zet::Reactor<IntfVlanId::Table const, AsyncMrouteSm> {
    using Reactor::Reactor;
    void onInternalVlanId(Nettle::IntfId const & v) override { sm()->handleInternalVlanId(v); }
  };
  struct ZetReviewConfig final : Zet::Reactor<MrouteReviewConfig, AsyncMrouteSm> {
    using Reactor::Reactor;
    void onReviewFreq() override { sm()->handleReviewFreq(); }
  };
  struct ZetFailureCounters final : Zet::Reactor<FailureCounters const, AsyncMrouteSm> {
    using Reactor::Reactor;
    void onFailedMroutesHwOverflow() override { sm()->handleMroutesHwOverflow(); }
    void onFailedEthGroupsHwOverflow() override { sm()->handleEthGroupsHwOverflow(); }
    void onBlockedRoutes() override { sm()->handleBlockedRoutes(); }
  };

  void handleInitialized();
  static void guarded(ZetMroute &, auto const & step);
  void handleChip(Zet::Name name);
  void handleMroute(Key const & key);
  void handleRoutes();
  void follow(MrouteTable const *, Key const & key);
  void handleMroutesHwOverflow();
  void handleEthGroupsHwOverflow();
  void handleBlockedRoutes();
  void handleReviewFreq();
  void review(ZetMroute &);
  void resumeReview(bool finished, Key const & next);

  // Fixed at construction, but for the L2 table
  L3::VrfName const vrfName_;
  Inputs in_;
  RouteStatusWriter const statusWriter_;

  // State
  bool initialized_ = false;
  bool testKill_ = false;
  bool mroutesFull_ = false;
  bool ethGroupsFull_ = false;
  Zet::Seconds reviewQuantum_ = 0.1;
  Key bookmark_;
  Zet::Ptr<Keel::ReviewTimer> reviewTimer_;
  Zet::Ptr<L2Status> l2Status_;
  Zet::Ptr<FailureCounters> failureCounters_;
  Zet::HashMap2018<Key, FailedMroute> failedMroute_;

  // Reactors
  Zet::ReactorPtr<ZetClock> zetClock_{this};
  Zet::ReactorPtr<ZetFabric> zetFabric_{this};
  Zet::ReactorPtr<ZetMrouteTable> zetMrouteTable_{this};
  Zet::ReactorPtr<ZetL2FloodsetTable> zetL2FloodsetTable_{this};
  Zet::ReactorMap<Key, ZetMroute> zetMroute_{this};
  Zet::ReactorPtr<ZetIntfVlanIdTable> zetIntfVlanIdTable_{this};
  Zet::ReactorPtr<ZetReviewConfig> zetReviewConfig_{this};
  Zet::ReactorPtr<ZetFailureCounters> zetFailureCounters_{this};
};

inline Zet::Ptr<AsyncMrouteSm> asyncMrouteSmFactory(L3::VrfName vrf,
                                                    AsyncMrouteSm::Inputs const & in) {
  return Zet::make<AsyncMrouteSm>(vrf, in);
}

}  // namespace Brindle
