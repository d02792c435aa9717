// What the resolver does when the switch changes: one table of all inputs that it watches.
//
// A reactor here only marks: it sets bits in the DirtyInfo of the VRFs whose routes may depend on
// what changed, and of the L2 routes, and asks for a review; or it says which L2 routes are to
// stand. It computes nothing, and costs the same whether ten routes or a million exist.
//
// clang-format off
//   input                                     marks                               and besides
//   ---------------------------------------   ---------------------------------   --------------------
//   topology of a VLAN                        VLAN
//   state of a port in a topology             each VLAN of the topology           count of ports
//   a topology goes                           each VLAN of the topology           count of ports
//   VLAN up or down                           VLAN                                its floodsets
//   port of a VLAN                            VLAN
//   snooping of a VLAN on or off              VLAN                                its groups' routes
//   snooped group, its ports                  VLAN and group                      the group's route
//   router port, flooding of a snooped VLAN   VLAN                                its groups' routes
//   LAG, its members                          LAG
//   configured LAG of a port                  old and new LAG
//   MLAG state of an interface                LAG, or VLAN and port
//   MLAG peer link, MLAG active               all VLANs
//   learning in a VLAN, configured ports      VLAN
//   static MAC group                                                              its route
//   flooding to a port                        all VLANs of its VRF and of L2
//   PIM on a VLAN                             its multicast floodset              its groups' routes
//   PIM over VXLAN on an interface            VLAN                                core-side floodsets
//   IP on an interface, its VRF               VLAN of the interface               its configuration
//   fast failover of an interface             VLAN of the interface
//   connected prefixes in hardware                                                routes that wait
// clang-format on
//
// A VLAN is marked in the VRF of its routed interface, for what comes in there, and in each VRF
// whose routes go out there. What else concerns one VRF alone (internal VLANs, address
// translation, border interfaces) its Mira watches itself.
#pragma once

#include "mira/FdbReactors.h"
#include "mira/SnoopingReactors.h"
#include "mira/TopologyReactors.h"
#include "model/PimEnabled.h"
#include "platform/Dir.h"
#include "state/Bridging.h"
#include "state/Ip.h"
#include "state/Lag.h"
#include "state/Mlag.h"
#include "state/MulticastFib.h"
#include "state/PimIntf.h"
#include "state/Vxlan.h"

namespace Brindle {

class MiraRoot;

// Made by MiraRoot when it starts, and gone before it. Until the root is initialized nothing is
// marked: a Mira starts with all VLANs dirty.
class InputReactors : public Zet::Sm {
 public:
  explicit InputReactors(MiraRoot * root);
  MiraRoot & root() const { return *root_; }

  // Marks, in every VRF that may be concerned
  void markVlanDirty(Bridging::VlanIdOrNone vid);
  void markVlanGroupDirty(Bridging::VlanId vid, Nettle::EthAddr const & group);
  void markAllVlansDirty();

  // Bridging
  void handleVidToTopoMap(Bridging::VlanId vid);
  void handleVidToTopoMap();
  void handleTopoConfig(Zet::String const & topo);
  void handleVlanStatus(Bridging::VlanId vid);
  void handleVlanStatus();
  void handleSnoopingVlanStatus(Bridging::VlanId vid);
  void handleSnoopingVlanStatus();
  void handleVlanConfig(Bridging::VlanId vid);
  void handleFdbConfig(Bridging::VlanId vid);
  // Each static MAC group of the VLAN.
  void handleBrEthGroup(Bridging::VlanId vid);
  void handleSwitchIntfConfig(Nettle::IntfId intf);
  void handleFloodingEnabled(Nettle::IntfId intf);
  void handleBrConfig();

  // LAGs: their members as they are, or as they are configured
  void watchLags();
  void lagConfigReactorIs(bool v);
  void handleLagStatus(Nettle::IntfId lag);
  void handleLagStatus();
  void handleLagConfig(Nettle::IntfId intf);
  void handleLagConfig();
  void handleMlagIntfStatus(Nettle::IntfId intf);
  void handleMlagIntfStatus();

  // IP
  void handleIpIntfStatus(Nettle::IntfId intf);
  void handleIpIntfStatus();
  void handleVrfChange(Nettle::IntfId intf);
  void handleFastFailover(Nettle::IntfId intf);
  // To be called once all that the prefixes concern stands.
  void watchSlices();
  void handleSlice(Zet::Name const & name);
  void handleSlice();
  void handlePrefixMroute(Routing::Multicast::Fib::PimIntf::PrefixMroute const & prefix);

  void pimVxlanStatusIs(Zet::Ptr<Routing::Multicast::Vxlan::Status const> const & v) {
    zetPimVxlanStatus_.attach(v);
  }

 private:
  using IntfId = Nettle::IntfId;
  using VlanId = Bridging::VlanId;

  // --- Bridging
  struct ZetBrTopo : Zet::Reactor<Bridging::Topology::Config const, InputReactors> {
    using Reactor::Reactor;
    void onVidToTopoMap(VlanId const & vid) override { sm()->handleVidToTopoMap(vid); }
    void onTopoConfig(Zet::String const & topo) override { sm()->handleTopoConfig(topo); }
  };
  struct ZetVlanStatusDir : Zet::Reactor<Bridging::VlanStatusDir const, InputReactors> {
    using Reactor::Reactor;
    void onVlanStatus(VlanId const & vid) override { sm()->handleVlanStatus(vid); }
    void immediatePass() override { sm()->handleVlanStatus(); }
  };
  struct ZetVlanStatus : Zet::KeyedReactor<VlanId, Bridging::VlanStatus const, InputReactors> {
    using KeyedReactor::KeyedReactor;
    void onVlanPortStatus(IntfId const &) override { sm()->markVlanDirty(key()); }
  };
  struct ZetSnoopingStatus : Zet::Reactor<Bridging::IgmpSnooping::Status const, InputReactors> {
    using Reactor::Reactor;
    void onVlanStatus(VlanId const & vid) override { sm()->handleSnoopingVlanStatus(vid); }
    void immediatePass() override { sm()->handleSnoopingVlanStatus(); }
  };
  struct ZetBrConfig : Zet::Reactor<Bridging::Config const, InputReactors> {
    using Reactor::Reactor;
    void onVlanConfig(VlanId const & vid) override { sm()->handleVlanConfig(vid); }
    void onFdbConfig(VlanId const & vid) override { sm()->handleFdbConfig(vid); }
    void onSwitchIntfConfig(IntfId const & intf) override { sm()->handleSwitchIntfConfig(intf); }
    void immediatePass() override { sm()->handleBrConfig(); }
  };
  struct ZetVlanConfig : Zet::KeyedReactor<VlanId, Bridging::VlanConfig const, InputReactors> {
    using KeyedReactor::KeyedReactor;
    void onMacLearning() override { handleVlanMacLearning(); }
    void onIntf(IntfId const &) override { sm()->markVlanDirty(key()); }
    void handleVlanMacLearning() { sm()->markVlanDirty(key()); }
  };
  struct ZetBrSwitchIntfConfig
      : Zet::KeyedReactor<IntfId, Bridging::SwitchIntfConfig const, InputReactors> {
    using KeyedReactor::KeyedReactor;
    void onFloodingEnabled() override { sm()->handleFloodingEnabled(key()); }
    void onSwitchportMode() override { sm()->handleFloodingEnabled(key()); }
  };

  // --- LAGs
  struct ZetLagStatusDir : Zet::Reactor<Interface::EthLagIntfStatusDir const, InputReactors> {
    using Reactor::Reactor;
    void onIntfStatus(IntfId const & lag) override { sm()->handleLagStatus(lag); }
    void immediatePass() override { sm()->handleLagStatus(); }
  };
  struct ZetLagIntfStatus
      : Zet::KeyedReactor<IntfId, Interface::EthLagIntfStatus const, InputReactors> {
    using KeyedReactor::KeyedReactor;
    void onMember(IntfId const &) override { handleMember(); }
    void handleMember();
  };
  struct ZetLagConfigDir : Zet::Reactor<Lag::ConfigDir const, InputReactors> {
    using Reactor::Reactor;
    void onPhyIntf(IntfId const & intf) override { sm()->handleLagConfig(intf); }
    void immediatePass() override { sm()->handleLagConfig(); }
  };
  struct ZetPhyIntfLagConfig : Zet::KeyedReactor<IntfId, Lag::PhyIntfConfig const, InputReactors> {
    using KeyedReactor::KeyedReactor;
    void onLag() override { handleLagChange(); }
    void immediatePass() override { handleLagChange(); }
    void handleLagChange();
    IntfId lag_;  // as last seen
  };
  struct ZetMlagStatus : Zet::Reactor<Mlag::Status const, InputReactors> {
    using Reactor::Reactor;
    void onIntfStatus(IntfId const & intf) override { sm()->handleMlagIntfStatus(intf); }
    void onPeerLinkIntf() override { sm()->markAllVlansDirty(); }
    void onActive() override { sm()->markAllVlansDirty(); }
    void immediatePass() override { sm()->handleMlagIntfStatus(); }
  };
  struct ZetMlagIntfStatus : Zet::KeyedReactor<IntfId, Mlag::IntfStatus const, InputReactors> {
    using KeyedReactor::KeyedReactor;
    void onState() override { sm()->handleMlagIntfStatus(key()); }
    void onLocalIntf() override { sm()->handleMlagIntfStatus(key()); }
  };

  // --- IP and multicast routing
  struct ZetPimEnabled : Zet::Reactor<PimEnabled const, InputReactors> {
    using Reactor::Reactor;
    void onPimVlanEnabled(VlanId const & vid) override;
  };
  struct ZetIpStatus : Zet::Reactor<Ip::Status const, InputReactors> {
    using Reactor::Reactor;
    void onIpIntfStatus(IntfId const & intf) override { sm()->handleIpIntfStatus(intf); }
    void immediatePass() override { sm()->handleIpIntfStatus(); }
  };
  struct ZetIpIntfStatus : Zet::KeyedReactor<IntfId, Ip::IpIntfStatus const, InputReactors> {
    using KeyedReactor::KeyedReactor;
    void onL3Status() override { sm()->handleVrfChange(key()); }
  };
  struct ZetSparseModeStatus
      : Zet::Reactor<Routing::Multicast::Fib::SparseModeStatus const, InputReactors> {
    using Reactor::Reactor;
    void onFastFailoverIntf(IntfId const & intf) override { sm()->handleFastFailover(intf); }
  };
  struct ZetPimVxlanStatus : Zet::Reactor<Routing::Multicast::Vxlan::Status const, InputReactors> {
    using Reactor::Reactor;
    void onVxlanIntf(IntfId const & intf) override;
    void immediatePass() override;
    Zet::OrderedSet<IntfId> vxlanIntf_;  // as last seen
  };
  struct ZetPrefixMrouteStatusDir : Zet::Reactor<Zet::Dir const, InputReactors> {
    using Reactor::Reactor;
    void onEntityPtr(Zet::Name const & name) override { sm()->handleSlice(name); }
    void immediatePass() override { sm()->handleSlice(); }
  };
  struct ZetPrefixMrouteStatus
      : Zet::KeyedReactor<Zet::Name, Routing::Multicast::Fib::PimIntf::PrefixMrouteStatus const,
                          InputReactors> {
    using Prefix = Routing::Multicast::Fib::PimIntf::PrefixMroute;
    using KeyedReactor::KeyedReactor;
    void onRoute(Prefix const & prefix) override { sm()->handlePrefixMroute(prefix); }
  };
  Routing::Multicast::Fib::PimIntf::PrefixRouteInfo * wantedPrefix(
      ZetPrefixMrouteStatus::Prefix const & prefix);
  bool inHardware(ZetPrefixMrouteStatus::Prefix const & prefix) const;

  void markPortDirty(IntfId intf);

  // Fixed at construction
  MiraRoot * const root_;

  // State
  Zet::HashMap<Zet::String, ZetTopo> zetTopo_;
  Zet::HashMap<VlanId, ZetSnoopingVlanStatus> zetSnoopingVlanStatus_;
  Zet::HashMap<VlanId, ZetBrFdbConfig> zetBrFdbConfig_;

  // Reactors
  Zet::ReactorPtr<ZetBrTopo> zetBrTopo_{this};
  Zet::ReactorPtr<ZetVlanStatusDir> zetVlanStatusDir_{this};
  Zet::ReactorMap<VlanId, ZetVlanStatus> zetVlanStatus_{this};
  Zet::ReactorPtr<ZetSnoopingStatus> zetSnoopingStatus_{this};
  Zet::ReactorPtr<ZetBrConfig> zetBrConfig_{this};
  Zet::ReactorMap<VlanId, ZetVlanConfig> zetVlanConfig_{this};
  Zet::ReactorMap<IntfId, ZetBrSwitchIntfConfig> zetBrSwitchIntfConfig_{this};
  Zet::ReactorPtr<ZetLagStatusDir> lagStatusReactor_{this};
  Zet::ReactorMap<IntfId, ZetLagIntfStatus> zetLagIntfStatus_{this};
  Zet::ReactorPtr<ZetLagConfigDir> lagConfigReactor_{this};
  Zet::ReactorMap<IntfId, ZetPhyIntfLagConfig> zetPhyIntfLagConfig_{this};
  Zet::ReactorPtr<ZetMlagStatus> zetMlagStatus_{this};
  Zet::ReactorMap<IntfId, ZetMlagIntfStatus> zetMlagIntfStatus_{this};
  Zet::ReactorPtr<ZetPimEnabled> zetPimEnabled_{this};
  Zet::ReactorPtr<ZetIpStatus> zetIpStatus_{this};
  Zet::ReactorMap<IntfId, ZetIpIntfStatus> zetIpIntfStatus_{this};
  Zet::ReactorPtr<ZetSparseModeStatus> zetSparseModeStatus_{this};
  Zet::ReactorPtr<ZetPimVxlanStatus> zetPimVxlanStatus_{this};
  Zet::ReactorPtr<ZetPrefixMrouteStatusDir> zetPrefixMrouteStatusDir_{this};
  Zet::ReactorMap<Zet::Name, ZetPrefixMrouteStatus> zetPrefixMrouteStatus_{this};
};

}  // namespace Brindle
