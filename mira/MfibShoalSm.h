// Ingest of one route table.
//
// A protocol publishes its routes of a VRF in a table in shared memory. For each key that changes
// there this machine creates, updates or marks for deletion the route in the VRF's MrouteTable and
// asks for a review; it computes nothing. A Mira owns one for each table while routing is on.
//
// Two kinds of route are special. A (*,G) route of sparse-mode PIM waits until the connected
// prefixes of its interfaces are in hardware, since the data of a directly connected source must
// meet those first. The connected prefixes themselves, routes (S/n, 224.0.0.0/4), stand in no
// table: they come from PimIntf::Status.
#pragma once
#include "model/MrouteTable.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "prefix/PrefixIntfSm.h"
#include "state/Ip.h"
#include "state/PimIntf.h"
#include "state/RouteKey.h"
#include "state/ShoalFib.h"

namespace Brindle {

class Mira;

class BRINDLE_API MfibShoalSm : public Zet::Sm, public Zet::HashLink {
 public:
  using Key = Shoal::Multicast::Fib::StatusKey;
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;
  using Route = Shoal::Multicast::Fib::Route;
  using MfibStatus = Shoal::Multicast::Fib::Status;
  using PimIntfStatus = Routing::Multicast::Fib::PimIntf::Status;
  using IntfStatus = Routing::Multicast::Fib::PimIntf::IntfStatus;

  struct Inputs {
    Zet::Ptr<MfibStatus const> mfibShoal{};
    Zet::Ptr<MrouteTable> mrouteTable{};
    Zet::Ptr<Ip::Status const> ipStatus{};
    Zet::Ptr<PimIntfStatus> pimIntfStatus{};
  };
  MfibShoalSm(Key const & key, Inputs const &, Mira * mira);
  Key const & fwkKey() const { return key_; }
  Zet::Name name() const override { return in_.mfibShoal->name(); }
  Inputs const & inputs() const { return in_; }
  // Throws RangeException if these are others than the machine was made with.
  void requireSameInputs(Inputs const &) const;

  // Lifecycle
  void handleInitialized();
  void handleDel() override;
  bool initialized() const { return initialized_; }
  // All routes of this table are to go, the table itself is going.
  bool forceDelRoutes() const { return forceDelRoutes_; }
  void forceDelRoutesIs(bool v) { forceDelRoutes_ = v; }

  // Ingest
  void handleRoute(RouteKey const & key);
  // All routes of the table and all connected prefixes of the VRF.
  void handleRoute();
  // The table has lost routes and cannot say which.
  void handleRoutesLost();
  // All routes of a table of any size: gives up the loop after 30 seconds and goes on when the
  // clock fires. The place where it goes on is one for the process. `restart`: from the beginning.
  void handleRouteWithCodef(bool restart);
  void handleClock() { handleRouteWithCodef(false); }

  // (*,G) routes. True if the route may be installed now; otherwise it waits.
  bool handleWcRouteAdd(RouteKey const & key, Route const & route);
  void handleWcRouteDel(RouteKey const & key);
  // Installs what waited for this interface and need not wait any more.
  void processWcRoutesForIntf(Nettle::IntfId intf);
  void handleIpIntfStatus(Nettle::IntfId intf);
  // No route has to wait for this interface: one without IP holds nobody up, nor does one that
  // nobody tracks.
  bool ready(Nettle::IntfId intf) const;
  // The VLAN of the interface may be another one: reads again what was refused for want of it.
  void handleIntfVlanId(Nettle::IntfId intf);
  // Why a published route is not installed. One that could be may have to wait still.
  enum class Hindrance { none, notToInstall, noInputVlan, backupWithoutInput };
  Hindrance hindrance(Route const & route) const;
  // The routes that wait.
  auto const & unprogrammedWcRoute() const { return unprogrammedWcRoute_; }

  // The interfaces whose connected prefixes this machine was the first to need.
  auto const & prefixIntfSm() const { return prefixIntfSm_; }
  PrefixIntfSm * prefixIntfSm(Nettle::IntfId intf) const { return prefixIntfSm_.find(intf); }

  // The declared routes of connected prefixes.
  auto const & prefixShoalRoute() const { return prefixShoalRoute_; }
  void prefixShoalRouteIs(Route const & v) { prefixShoalRoute_.at(v.key()) = v; }
  void prefixShoalRouteDel(RouteKey const & k) { prefixShoalRoute_.del(k); }

 private:
  // A change of one interface's connected prefixes.
  struct ZetIntfStatus : Zet::KeyedReactor<Nettle::IntfId, IntfStatus, MfibShoalSm> {
    using KeyedReactor::KeyedReactor;
    void handleIntfStatusRoute(Nettle::IpGenPrefix const & prefix);
    void handleRoutesProgrammed();
    void onRoute(Nettle::IpGenPrefix const & prefix) override { handleIntfStatusRoute(prefix); }
    void onRoutesProgrammed() override { handleRoutesProgrammed(); }
    void immediatePass() override;
  };
  struct ZetPimIntfStatus : Zet::Reactor<PimIntfStatus, MfibShoalSm> {
    using Reactor::Reactor;
    void onIntfStatus(Nettle::IntfId const & intf) override { sm()->handlePimIntfStatus(intf); }
    void onSrcToIntfMap(Routing::Multicast::Fib::PimIntf::PrefixKey const & prefix) override {
      sm()->handleSrcToIntfMap(prefix);
    }
    void immediatePass() override { sm()->handlePimIntfStatus(); }
  };
  struct ZetIpStatus : Zet::Reactor<Ip::Status const, MfibShoalSm> {
    using Reactor::Reactor;
    void onIpIntfStatus(Nettle::IntfId const & intf) override { sm()->handleIpIntfStatus(intf); }
  };
  struct ZetMfibShoal : Zet::Reactor<MfibStatus const, MfibShoalSm> {
    using Reactor::Reactor;
    void onRoute(RouteKey const & key) override { sm()->handleRoute(key); }
    void onRoutesLost() override { sm()->handleRoutesLost(); }
  };
  struct ZetClock : Zet::Reactor<Zet::Clock const, MfibShoalSm> {
    using Reactor::Reactor;
    void onTime() override;
  };

  // The interfaces that a (*,G) route leans on: each holds one count of this route.
  struct Leaning {
    Zet::Ptr<IntfStatus> iif;
    Zet::Ptr<IntfStatus> notify;
    bool operator==(Leaning const &) const = default;
  };

  void handlePimIntfStatus(Nettle::IntfId intf);
  void handlePimIntfStatus();
  void handleSrcToIntfMap(Routing::Multicast::Fib::PimIntf::PrefixKey const & prefix);
  void doAddRoute(RouteKey const & key, Route const & route, Nettle::IntfId iif);
  bool doHandOver(RouteKey const & key);
  void doDeleteRoute(RouteKey const & key);
  void doUse(Zet::Ptr<Mroute> const & mroute, Route const & route);
  void doMarkForDeletion(Mroute & mroute);
  void doForceDelete();
  void handlePrefixes();
  Bridging::VlanIdOrNone vlanOf(Nettle::IntfId intf) const;
  bool doTrack(Nettle::IntfId intf);
  void prefixIntfSmIs(Nettle::IntfId intf);
  void doLean(RouteKey const & key, Leaning const & wanted);
  void doDropIdleIntfs();
  bool ready(Route const & route) const;
  void doShowWaiting(Route const & route);
  bool doStopWaiting(RouteKey const & key);

  // Fixed at construction
  Key const key_;
  Inputs const in_;
  Mira * const mira_;

  // State
  bool forceDelRoutes_ = false;
  bool initialized_ = false;
  Zet::HashMap2018<RouteKey, Route> unprogrammedWcRoute_;
  Zet::HashMap2018<RouteKey, Route> prefixShoalRoute_;
  Zet::HashMap2018<RouteKey, Leaning> leaning_;
  Zet::HashMap2018<RouteKey, Nettle::IntfId> wantsVlan_;  // each with its iif
  Zet::HashMap<Nettle::IntfId, PrefixIntfSm> prefixIntfSm_;

  // Reactors
  Zet::ReactorPtr<ZetMfibShoal> zetMfibShoal_{this};
  Zet::ReactorPtr<ZetIpStatus> zetIpStatus_{this};
  Zet::ReactorPtr<ZetPimIntfStatus> zetPimIntfStatus_{this};
  Zet::ReactorMap<Nettle::IntfId, ZetIntfStatus> intfStatus_{this};
  Zet::ReactorPtr<ZetClock> clock_{this};
};

}  // namespace Brindle
