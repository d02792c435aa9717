// The routes of one VRF on chips that answer at once.
//
// MrouteRootSm makes an MrouteSm for each VRF that has a route table. It holds one reactor for each
// route, which does the programming (ZetMroute, ZetBoundaryMroute), one for each chip, and the list
// of routes that failed. Those are retried, paced, when a chip says that it has room again or a
// route has gone; the first that fails again ends the pass, since the next ones would, too. Its end
// leaves the chips as they stand: only a route that goes from its table is taken off them.
#pragma once

#include "fabric/Fabric.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "platform/ReviewTimer.h"
#include "programmer/RouteStatusWriter.h"
#include "programmer/RouteTables.h"
#include "programmer/ZetBoundaryMroute.h"
#include "programmer/ZetChip.h"
#include "programmer/ZetMroute.h"
#include "state/IntfVlanId.h"

namespace Brindle {

class MrouteRootSm;

class BRINDLE_API MrouteSm final : public Zet::Sm, public Zet::HashLink {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using HardwareStatus = Routing::Multicast::Fib::Hardware::Status;
  using ZetChip = Brindle::ZetChip;
  using ZetMroute = Brindle::ZetMroute;
  using ZetBoundaryMroute = Brindle::ZetBoundaryMroute;

  // A route that waits for room. Its text form names the route by its key.
  struct FailedMroute {
    Key key;
    U32 reason = 0;  // the mask of ZetMroute::reason()
    Zet::Ptr<ZetMroute> mroute;

    bool operator==(FailedMroute const &) const = default;
    static constexpr char const * zetType = "Brindle::MrouteSm::FailedMroute";
  };

  struct Inputs {
    Zet::Ptr<Zet::Clock const> clock;
    Zet::Ptr<Fabric> fabric;
    RouteTables tables;
    Zet::Ptr<HardwareStatus> mfib;
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable;
    MrouteRootSm * rootSm;
  };
  MrouteSm(L3::VrfName vrf, Inputs const &);
  L3::VrfName const & fwkKey() const { return vrfName_; }
  Zet::Name name() const override { return vrfName_.name(); }
  L3::VrfName vrfName() const { return vrfName_; }
  Zet::Ptr<Fabric> const & fabric() const { return in_.fabric; }
  Zet::Ptr<HardwareStatus> const & mfib() const { return in_.mfib; }
  RouteStatusWriter const & statusWriter() const { return statusWriter_; }

  // Lifecycle
  bool initialized() const { return initialized_; }
  void handleDel() override;

  // Chips, and the same ones in the order of the fabric.
  auto const & zetChip() const { return zetChip_; }
  ZetChips const & chips() const { return chips_; }
  void chipIs(Zet::Ptr<SwitchChip> const & chip);
  void chipDel(Zet::Name name);

  Zet::Ptr<MrouteTable const> const & mrouteTable() const { return in_.tables.mrouteTable; }
  // Routes, those of the L2 table among them
  auto const & zetMroute() const { return zetMroute_; }
  void mrouteIs(Zet::Ptr<Mroute const> const & mroute);
  void mrouteDel(Key const & key);
  auto const & zetBoundaryMroute() const { return zetBoundaryMroute_; }
  void boundaryMrouteIs(Zet::Ptr<BoundaryMroute const> const & boundaryMroute);
  void boundaryMrouteDel(Key const & key);
  void handleFloodset(Key const & key);
  void handleFloodset();
  void handleMrouteBatchVersion();
  void handleInternalVlanId(Nettle::IntfId intf);
  // Ends the process: interfaces are followed one by one, and never as a whole.
  [[noreturn]] void handleInternalVlanId();

  // Failed routes, and those of them that failed for want of an entry
  auto const & failedMroute() const { return failedMroute_; }
  void failedMrouteIs(FailedMroute const & v);
  void failedMrouteDel(Key const & key);
  void failedMrouteDelAll();
  // Whether routes wait of which the operator is told.
  bool hasFailures() const;
  auto const & routeAllocFailedMroute() const { return routeAllocFailedMroute_; }

  // Review
  Zet::Ptr<Keel::ReviewTimer> const & reviewTimer() const { return reviewTimer_; }
  void doKickReview();
  // The retry pass.
  void handleClock();
  // Whether the resolver has yet to look at the route.
  bool isDirty(Mroute const & mroute) const { return in_.tables.isDirty(mroute); }

 private:
  struct ZetClock final : Zet::Reactor<Zet::Clock const, MrouteSm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };
  struct ZetFabric final : Zet::Reactor<Fabric, MrouteSm> {
    using Reactor::Reactor;
    void onChip(Zet::Name const & name) override { sm()->handleChip(name); }
    void immediatePass() override { sm()->handleChips(); }
  };
  struct ZetMrouteTable final : Zet::Reactor<RouteTable const, MrouteSm> {
    using Reactor::Reactor;
    void onMroute(Key const & key) override { sm()->handleMroute(key); }
    void onBoundaryMroute(Key const & key) override { sm()->handleBoundaryMroute(key); }
    void onMrouteBatchVersion() override { sm()->handleMrouteBatchVersion(); }
    void immediatePass() override { sm()->handleRoutes(); }
  };
  struct ZetL2FloodsetTable final : Zet::Reactor<RouteTable const, MrouteSm> {
    using Reactor::Reactor;
    void onMroute(Key const & key) override { sm()->handleFloodset(key); }
  };
  struct ZetIntfVlanIdTable final : Zet::Reactor<IntfVlanId::Table const, MrouteSm> {
    using Reactor::Reactor;
    void onInternalVlanId(Nettle::IntfId const & v) override { sm()->handleInternalVlanId(v); }
  };

  void handleInitialized();
  void deleteStaleStatus();
  void handleChip(Zet::Name name);
  void handleChips();
  void orderChips();
  void handleMroute(Key const & key);
  void handleBoundaryMroute(Key const & key);
  void handleRoutes();
  void handleFailedMroute(Key const & key);
  bool doRetry(ZetMroute &);

  // Fixed at construction
  L3::VrfName const vrfName_;
  Inputs const in_;
  RouteStatusWriter const statusWriter_;

  // State
  bool initialized_ = false;
  Zet::Ptr<Keel::ReviewTimer> reviewTimer_;
  ZetChips chips_;
  Zet::HashMap2018<Key, FailedMroute> failedMroute_;
  Zet::HashMap2018<Key, bool> routeAllocFailedMroute_;

  // Reactors
  Zet::ReactorPtr<ZetClock> zetClock_{this};
  Zet::ReactorPtr<ZetFabric> zetFabric_{this};
  Zet::ReactorMap<Zet::Name, ZetChip> zetChip_{this};
  Zet::ReactorPtr<ZetMrouteTable> zetMrouteTable_{this};
  Zet::ReactorPtr<ZetL2FloodsetTable> zetL2FloodsetTable_{this};
  Zet::ReactorMap<Key, ZetMroute> zetMroute_{this};
  Zet::ReactorMap<Key, ZetBoundaryMroute> zetBoundaryMroute_{this};
  Zet::ReactorPtr<ZetIntfVlanIdTable> zetIntfVlanIdTable_{this};
};

inline Zet::Ptr<MrouteSm> mrouteSmFactory(L3::VrfName vrf, MrouteSm::Inputs const & in) {
  return Zet::make<MrouteSm>(vrf, in);
}

void valueToStrep(std::string & out, MrouteSm::FailedMroute const & v);

}  // namespace Brindle
