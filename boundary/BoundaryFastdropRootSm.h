// Multicast boundaries on chips that cannot hold them: one BoundaryFastdropSm for each VRF that has
// multicast routing on, and a network namespace and virtual interfaces in the kernel.
//
// A machine is made anew with each evaluation of its VRF, and its records with it: what changes is
// rare, and what was learned comes back with the traffic. So does a socket that could not be
// opened get another chance.
#pragma once

#include "boundary/BoundaryFastdropSm.h"
#include "state/Ip.h"
#include "state/MulticastFib.h"

namespace Brindle::BoundaryFastdrop {

class BRINDLE_API BoundaryFastdropRootSm final : public Zet::Sm {
 public:
  using VrfStatusLocal = Ip::VrfStatusLocal;
  using MfibConfig = Routing::Multicast::Fib::Config;

  struct Inputs {
    Zet::Ptr<Ip::AllVrfStatusLocal const> allVrfStatusLocal{};
    Zet::Ptr<Routing::KernelMfib::StatusColl const> kernelMfibStatusColl{};
    // Null: no VRF has multicast routing.
    Zet::Ptr<Routing::Multicast::Fib::VrfConfig const> vrfConfig{};
    Zet::Ptr<Routing::Multicast::Fib::Status const> mfibStatus{};
    Zet::Ptr<StatusColl> statusColl{};
    Zet::Ptr<Routing::Hardware::Status const> routingHwStatus{};
    BoundarySmMode mode = BoundarySmMode::linecard;
    Routing::Multicast::Notify::NewPam newPam = &Routing::Multicast::Notify::newMrtNotifySocketPam;
  };
  explicit BoundaryFastdropRootSm(Inputs const & in);
  Zet::Name name() const override { return "boundaryFastdrop"; }
  Nettle::AddressFamily af() const { return Nettle::ipv4(); }
  BoundarySmMode mode() const { return in_.mode; }

  // Lifecycle
  bool initialized() const { return initialized_; }
  // Nobody would withdraw the records that stand.
  void handleDel() override;

  // VRFs. Null throws RangeException.
  void vrfStatusLocalIs(Zet::Ptr<VrfStatusLocal const> const & status);
  void vrfStatusLocalDel(L3::VrfName vrf) { vrfStatusLocal_.del(vrf); }
  void mfibConfigSmIs(Zet::Ptr<MfibConfig const> const & config);
  void mfibConfigSmDel(L3::VrfName vrf) { mfibConfigSm_.del(vrf); }
  void handleVrf(L3::VrfName vrf);
  void handleVrf();

  // Machines and sockets
  auto const & boundaryFastdropSm() const { return boundaryFastdropSm_; }
  BoundaryFastdropSm * boundaryFastdropSm(L3::VrfName vrf) const {
    return boundaryFastdropSm_.find(vrf);
  }
  auto const & mrtPam() const { return mrtPam_; }

 private:
  struct ZetAllVrfStatusLocal final
      : Zet::Reactor<Ip::AllVrfStatusLocal const, BoundaryFastdropRootSm> {
    using Reactor::Reactor;
    void onVrf(L3::VrfName const & vrf) override { sm()->handleVrfStatusLocal(vrf); }
    void immediatePass() override { sm()->handleVrfStatusLocal(); }
  };
  struct ZetVrfStatusLocal final
      : Zet::KeyedReactor<L3::VrfName, VrfStatusLocal const, BoundaryFastdropRootSm> {
    using KeyedReactor::KeyedReactor;
    void onNetworkNamespace() override { sm()->handleVrf(key()); }
  };
  struct ZetVrfConfig final
      : Zet::Reactor<Routing::Multicast::Fib::VrfConfig const, BoundaryFastdropRootSm> {
    using Reactor::Reactor;
    void onConfig(L3::VrfName const & vrf) override { sm()->handleMfibConfig(vrf); }
    void immediatePass() override { sm()->handleMfibConfig(); }
  };
  struct ZetMfibConfigSm final
      : Zet::KeyedReactor<L3::VrfName, MfibConfig const, BoundaryFastdropRootSm> {
    using KeyedReactor::KeyedReactor;
    void onRouting() override { sm()->handleVrf(key()); }
  };
  struct ZetVifStatusColl final
      : Zet::Reactor<Routing::KernelMfib::StatusColl const, BoundaryFastdropRootSm> {
    using Reactor::Reactor;
    void onVrfStatus(L3::VrfName const & vrf) override { sm()->handleVrf(vrf); }
  };

  void handleInitialized();
  void handleVrfStatusLocal(L3::VrfName vrf);
  void handleVrfStatusLocal();
  void handleMfibConfig(L3::VrfName vrf);
  void handleMfibConfig();
  bool vrfReady(L3::VrfName vrf) const;
  bool mcastReady(L3::VrfName vrf) const;
  Nettle::NamespaceName netNs(L3::VrfName vrf) const;
  void doCreateBoundaryFastdropSm(L3::VrfName vrf);
  void doDeleteBoundaryFastdropSm(L3::VrfName vrf);
  Zet::Ptr<MrtPam> mrtPamIs(MrtPamKey const & key);

  // Fixed at construction
  Inputs const in_;

  // State
  bool initialized_ = false;
  Zet::HashMap<MrtPamKey, MrtPam> mrtPam_;
  Zet::HashMap<L3::VrfName, BoundaryFastdropSm> boundaryFastdropSm_;

  // Reactors
  Zet::ReactorPtr<ZetAllVrfStatusLocal> zetAllVrfStatusLocal_{this};
  Zet::ReactorMap<L3::VrfName, ZetVrfStatusLocal> vrfStatusLocal_{this};
  Zet::ReactorPtr<ZetVrfConfig> zetVrfConfig_{this};
  Zet::ReactorMap<L3::VrfName, ZetMfibConfigSm> mfibConfigSm_{this};
  Zet::ReactorPtr<ZetVifStatusColl> vifStatusColl_{this};
};

}  // namespace Brindle::BoundaryFastdrop
