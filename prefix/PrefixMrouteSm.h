// Connected subnets in the chips.
//
// For each subnet that a routed interface wants (PimIntf::IntfStatus::route) this machine puts one
// entry, from the subnet to all groups, into every chip of a fabric: into all of them or into none.
// What stands is published in a PimIntf::PrefixMrouteStatus, on which the (*,G) routes of the
// interface wait. A subnet that a chip had no room for is kept; when a chip says that it has room
// again, those that are kept are tried in turn, until one fails.
//
// The agent makes it by prefixMrouteSmFactory. Its end leaves the chips as they stand. A chip that
// is added later gets only the subnets that come later.
#pragma once

#include "fabric/TcamEntry.h"
#include "model/LastInternalVlans.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "state/IntfVlanId.h"
#include "state/PimIntf.h"

namespace Brindle {

class BRINDLE_API PrefixMrouteSm final : public Zet::Sm {
 public:
  using PimIntfStatus = Routing::Multicast::Fib::PimIntf::Status;
  using IntfStatus = Routing::Multicast::Fib::PimIntf::IntfStatus;
  using PrefixRouteInfo = Routing::Multicast::Fib::PimIntf::PrefixRouteInfo;
  using PrefixMrouteStatus = Routing::Multicast::Fib::PimIntf::PrefixMrouteStatus;

  // A subnet of an interface.
  struct PrefixIntfKey {
    Nettle::Prefix prefix;
    Nettle::IntfId intfId;

    U32 hash() const { return Zet::hashAll(prefix, intfId); }
    auto operator<=>(PrefixIntfKey const &) const = default;
    static constexpr char const * zetType = "Brindle::PrefixMrouteSm::PrefixIntfKey";
    static constexpr auto zetFields() {
      return std::array{Zet::field<&PrefixIntfKey::prefix>("prefix"),
                        Zet::field<&PrefixIntfKey::intfId>("intfId")};
    }
  };

  // A subnet that stands in the chips, with its entry in each.
  class MrouteInfo final : public Zet::KeyedEntity<PrefixIntfKey>, public TcamEntry {
   public:
    using KeyedEntity::KeyedEntity;
  };

  // The subnets of an interface that stand in the chips.
  class IntfInfo final : public Zet::KeyedEntity<Nettle::IntfId> {
   public:
    using KeyedEntity::KeyedEntity;
    auto const & prefix() const { return prefix_; }
    void prefixIs(Nettle::Prefix const & k) { prefix_.insert(k); }
    void prefixDel(Nettle::Prefix const & k) { prefix_.del(k); }

   private:
    Zet::OrderedSet<Nettle::Prefix> prefix_;
  };

  struct Inputs {
    Zet::Ptr<PimIntfStatus const> mfibStatus{};
    Zet::Ptr<Fabric> fabric{};
    Zet::Ptr<Zet::Clock const> clock{};
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable{};
    Zet::Ptr<PrefixMrouteStatus> prefixMrouteStatus{};
  };
  explicit PrefixMrouteSm(Inputs const &);
  Zet::Name name() const override { return "prefixMroute"; }

  // Lifecycle
  bool initialized() const { return initialized_; }

  // Interfaces and chips. Null throws RangeException.
  void intfStatusIs(Zet::Ptr<IntfStatus const> const & status);
  void intfStatusDel(Nettle::IntfId intf);
  void chipIs(Zet::Ptr<SwitchChip> const & chip);
  void chipDel(Zet::Name name);

  // What stands in the chips
  auto const & mrouteInfo() const { return mrouteInfo_; }
  auto const & intfInfo() const { return intfInfo_; }
  // The internal VLANs that it stands with.
  auto const & internalVlanId() const { return lastVlans_.internalVlanId(); }
  void handleInternalVlanId(Nettle::IntfId intf);
  // Ends the process: interfaces are followed one by one, and never as a whole.
  [[noreturn]] void handleInternalVlanId();

  // What a chip had no room for. One subnet on two interfaces has one place here. A subnet that is
  // wanted no more stays until its turn comes.
  auto const & unprogrammedRoute() const { return unprogrammedRoute_; }
  // Throws RangeException for null.
  void unprogrammedRouteIs(Zet::Ptr<PrefixRouteInfo const> const & info);
  void unprogrammedRouteDel(Nettle::IpGenPrefix const & prefix) { unprogrammedRoute_.del(prefix); }
  void handleTcamFree();
  // The retry pass.
  void handleClock();

 private:
  struct ZetMfibStatus final : Zet::Reactor<PimIntfStatus const, PrefixMrouteSm> {
    using Reactor::Reactor;
    void onIntfStatus(Nettle::IntfId const & intf) override { sm()->handleMfibStatus(intf); }
    void immediatePass() override { sm()->handleMfibStatus(); }
  };
  struct ZetIntfStatus final : Zet::KeyedReactor<Nettle::IntfId, IntfStatus const, PrefixMrouteSm> {
    using KeyedReactor::KeyedReactor;
    void onRoute(Nettle::IpGenPrefix const & prefix) override { handleRoute(prefix); }
    void immediatePass() override { handleRoute(); }
    void handleRoute(Nettle::IpGenPrefix const & prefix);
    void handleRoute();
  };
  struct ZetFabric final : Zet::Reactor<Fabric, PrefixMrouteSm> {
    using Reactor::Reactor;
    void onChip(Zet::Name const & chip) override { sm()->handleChip(chip); }
    void immediatePass() override { sm()->handleChip(); }
  };
  struct ZetChip final : Zet::KeyedReactor<Zet::Name, SwitchChip, PrefixMrouteSm> {
    using KeyedReactor::KeyedReactor;
    void onBoundaryTcamFree() override { handleTcamFree(); }
    void handleTcamFree() { sm()->handleTcamFree(); }
  };
  struct ZetClock final : Zet::Reactor<Zet::Clock const, PrefixMrouteSm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };
  struct ZetIntfVlanIdTable final : Zet::Reactor<IntfVlanId::Table const, PrefixMrouteSm> {
    using Reactor::Reactor;
    void onInternalVlanId(Nettle::IntfId const & v) override { sm()->handleInternalVlanId(v); }
  };

  void handleInitialized();
  void doReconcile();
  void handleMfibStatus(Nettle::IntfId intf);
  void handleMfibStatus();
  void handleIntfStatus();
  void handleChip(Zet::Name chip);
  void handleChip();
  void doAddMroute(Zet::Ptr<PrefixRouteInfo const> const & info);
  void doDeleteMroute(Nettle::Prefix const & prefix, Nettle::IntfId intf);

  // Fixed at construction
  Inputs const in_;

  // State
  bool initialized_ = false;
  Zet::HashMap<PrefixIntfKey, MrouteInfo> mrouteInfo_;
  Zet::HashMap<Nettle::IntfId, IntfInfo> intfInfo_;
  Zet::HashMap2018<Nettle::IpGenPrefix, Zet::Ptr<PrefixRouteInfo const>> unprogrammedRoute_;
  LastInternalVlans lastVlans_;

  // Reactors
  Zet::ReactorPtr<ZetMfibStatus> zetMfibStatus_{this};
  Zet::ReactorMap<Nettle::IntfId, ZetIntfStatus> intfStatus_{this};
  Zet::ReactorPtr<ZetFabric> zetFabric_{this};
  Zet::ReactorMap<Zet::Name, ZetChip> chip_{this};
  Zet::ReactorPtr<ZetClock> clock_{this};
  Zet::ReactorPtr<ZetIntfVlanIdTable> zetIntfVlanIdTable_{this};
};

inline Zet::Ptr<PrefixMrouteSm> prefixMrouteSmFactory(PrefixMrouteSm::Inputs const & in) {
  return Zet::make<PrefixMrouteSm>(in);
}

}  // namespace Brindle
