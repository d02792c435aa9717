// The root of the resolver.
//
// It holds what all VRFs share: the published records of the other agents, the shared-memory route
// tables, the gate that waits for the protocols after a restart, and the socket on which the kernel
// reports RPF failures. It owns one Mira for each VRF and decides when one is made and deleted.
//
// It resolves nothing itself. The agent makes it with Agent::miraIs and starts it with
// entityManagerIs; the five statuses of the gate are to be set before that.
#pragma once
#include "mira/IntfConfigSm.h"
#include "mira/Mira.h"
#include "model/IntfList.h"
#include "model/LagOperation.h"
#include "model/MrouteTableColl.h"
#include "model/PimEnabled.h"
#include "platform/Dir.h"
#include "platform/EntityManager.h"
#include "platform/FileDescriptor.h"
#include "state/Bridging.h"
#include "state/Evpn.h"
#include "state/Fjord.h"
#include "state/Lag.h"
#include "state/Mlag.h"
#include "state/Pim.h"
#include "state/PortVlan.h"
#include "state/Snooping.h"
#include "state/Topology.h"
#include "state/Vxlan.h"

namespace Brindle {

class InputReactors;
class MfibDirSm;
class MiraHelper;
class MiraL2;

class BRINDLE_API MiraRoot : public Zet::Sm {
 public:
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;

  // What the agent hands in. All records are required but those of which "may be null" is said;
  // null then means that this process does not have it. Clocks are the loop's own
  // (ActivityManager::clock()): it calls the reactors of no other.
  struct Inputs {
    // The tables that are filled, one a VRF.
    Zet::Ptr<MrouteTableColl> mrouteTableColl{};
    // Paces the reviews.
    Zet::Ptr<Zet::Clock const> clock{};
    Zet::Ptr<Bridging::Topology::Config const> brTopo{};
    Zet::Ptr<Bridging::VlanStatusDir const> vlanStatusDir{};
    Zet::Ptr<Interface::EthLagIntfStatusDir const> lagStatusDir{};
    Zet::Ptr<Bridging::IgmpSnooping::Status const> snoopingStatus{};
    Zet::Ptr<Routing::Multicast::Fib::VrfConfig const> mfibVrfConfig{};
    // One entry for each route table in shared memory, named `<protocol>.<vrf>`. May be null.
    Zet::Ptr<Zet::Dir const> mfibDir{};
    // The directory in which those tables lie; empty for the machine's usual place.
    Zet::Name mfibDirName{};
    // What the hardware does and shall do.
    Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> status{};
    // Both may be null.
    Zet::Ptr<Zet::Clock const> fastdropClock{};
    Zet::Ptr<Zet::Clock const> fastdropLogClock{};
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable{};
    LagOperation lagOperation{};
    // Whether this process computes L2 floodsets, too.
    bool l2Enabled = false;
    Zet::Ptr<PimEnabled const> pimEnabled{};
    // One Routing::RoutingGenInfo a VRF.
    Zet::Ptr<Zet::Dir const> routingInfoDir{};
    Zet::Ptr<Mlag::Status const> mlagStatus{};
    Zet::Ptr<Bridging::Config const> brConfig{};
    // May be null.
    Zet::Ptr<StaticNatInfo const> staticNatInfo{};
    Zet::Ptr<ReviewInfo> reviewInfo{};
    Zet::Ptr<Ip::AllVrfStatusLocal const> allVrfStatusLocal{};
    Zet::Ptr<Ip::Status const> ipStatus{};
    // Connected prefixes, and the (*,G) routes that wait for them.
    Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> pimIntfStatus{};
    // May be null.
    Zet::Ptr<Zet::Dir const> prefixMrouteStatusDir{};
    bool ignoreVlanForL2Groups = false;
    PortPropertyMask portPropertyMask{};
    // These may be null.
    Zet::Ptr<BoundaryFastdrop::StatusColl> boundaryFastdropStatusColl{};
    Zet::Ptr<Routing::Multicast::Fib::MbrIntf const> mbrIntf{};
    Zet::Ptr<Routing::Multicast::Fib::SparseModeStatus const> sparseModeStatus{};
  };

  // Throws RangeException if a required input is null, ErrnoException if the socket cannot be made.
  explicit MiraRoot(Inputs);
  ~MiraRoot() override;
  Zet::Name name() const override { return "mira"; }
  // Throws RangeException if these are others than the root has.
  void requireSameInputs(Inputs const &) const;

  // Lifecycle
  // Runs when the root is made and again when it gets its entity manager; with that it starts.
  void handleInitialized();
  void handleDel() override;
  bool initialized() const { return initialized_; }
  // Makes the Mira of a VRF if its inputs stand, or gives it back to life if it is draining.
  // Idempotent.
  void doCreateMira(L3::VrfName const & vrf);
  // Deletes the Mira of a VRF, by reviews as long as its table holds routes. That of the default
  // VRF stays, whatever goes away. Idempotent.
  void doDeleteMira(L3::VrfName const & vrf);
  // An input of a VRF came or went; without a key, each is looked at.
  void handleVrf(L3::VrfName const & vrf);
  void handleVrf();
  void handleRoutingInfo(Zet::Name const & name);
  void handleRoutingInfo();
  void handleMfibVrfConfig(L3::VrfName const & vrf);
  void handleMfibVrfConfig();
  void handleMfibShoalDir(L3::VrfName const & vrf);
  void handleMfibShoalDir();

  // The gate: after a restart no Mira reviews until the protocols have published their routes
  // again, at most nsfTimerPeriod(). It opens once and never closes.
  void doNsfInit();
  void doNsfComplete();
  void doEvalMiraEnabled();

  // Which VRF a change of a VLAN or an interface concerns; "default" if none is known.
  L3::VrfName doGetVrfNameFromVid(Bridging::VlanIdOrNone vid) const;
  L3::VrfName doGetVrfNameFromIntfId(Nettle::IntfId intf) const;
  // Marks the VLAN in each VRF whose routes may go out there, and its L2 routes.
  void doMaybeMarkVlanDirty(Bridging::VlanIdOrNone vid);
  // The machine of that VRF, whose routes may come in there; null if there is none.
  Mira * miraOfVlan(Bridging::VlanIdOrNone vid) const;
  Mira * miraOfIntf(Nettle::IntfId intf) const;

  // Changes of settings, and of inputs that more than one reactor of InputReactors.h hears of
  void doInitializeVidToTopoMap();
  void handleConfiguredLagMembersInOifSet();
  void handleDisableL2Flooding();
  void handlePimEnabled(Bridging::VlanId vid);
  void handlePimVxlanIntf(Nettle::IntfId intf);
  void handleVxlanVlan(Bridging::VlanId vid);
  void handleL2EnabledOnVlan(Bridging::VlanId vid);

  // Configuration of interfaces: the machine of each stands while its VLAN and VRF are known.
  void handleIntfConfig(Nettle::IntfId intf);
  void handleIntfConfig();
  // The same for every IP interface of a VRF.
  void doCreateIntfConfigSm(L3::VrfName const & vrf);
  IntfConfigSm * intfConfigSm(Nettle::IntfId intf) const { return intfConfigSm_.find(intf); }
  Zet::Ptr<IntfConfigSm> intfConfigSmIs(
      Zet::Ptr<Routing::Multicast::Fib::IntfConfig const> const & config, Bridging::VlanId vlan,
      Zet::Ptr<Mira> const & mira);
  void intfConfigSmDel(Nettle::IntfId intf);

  // L2 routes: which of them are to stand. Their sets are MiraL2's, which stands while
  // l2Enabled(), and computes for IPv4 only.
  void doCreateMiraL2();
  void doDeleteMiraL2();
  Zet::Ptr<MiraL2> const & miraL2() const { return miraL2_; }
  // All that the switch has at this time.
  void doMaybeInitializeL2Routes();
  // Wants the route if the VLAN has L2 routes here at all.
  void doMaybeAddL2Route(Bridging::VlanIdOrNone vlan, RouteKey const & key);
  // A wanted route came or went. The form without a key checks that nothing is wanted.
  void handleL2Route(RouteKey const & key);
  void handleL2Route();
  // A VLAN came up or went down, or is extended or no longer: its floodsets.
  void doUpdateVlanFloodsets(Bridging::VlanId vid);
  // Whether a group of a VLAN is to have a route of its own: by snooping and PIM, or as it is
  // configured.
  void doEnableDisableEthGroup(Nettle::EthAddr const & eth, Bridging::VlanId vlan);
  void doEnableDisableVlanEthGroup(Bridging::VlanId vlan);
  // Where PIM runs, groups are routed rather than bridged.
  bool mayHaveEthGroupRoutes(Bridging::VlanId vlan) const;
  void doMarkMulticastFloodsetDirty(Bridging::VlanId vlan);
  void handleVlanFilteredFloodset();
  // Members of a set besides its LAGs, and these resolved: for routes that are computed elsewhere.
  // `vid` goes into the choice of designated members.
  PortVlanSet resolveAndAddLagsToPvSet(L3::VrfName const & vrf, Bridging::VlanIdOrNone vid,
                                       RouteKey const & key, PortVlanSet const & pvSet,
                                       PortVlanSet const & lagPvSet) const;

  // RPF failures
  void handleSocket();
  // Reads what the socket holds, for at most fastdropLoopQuantum().
  void handleReadable();

  // Tells the platform whether any VRF routes.
  void doMaybeUpdateHardwareRoutingEnable();
  void doMaybeDeleteReviewInfo(L3::VrfName const & vrf);
  // Whether the environment variable MIRA_NO_FASTDROPS stood when the library was loaded: no
  // socket, no polling of fastdrops.
  static bool noFastdrops();

  // Inputs, as they were handed in
  Zet::Ptr<MrouteTableColl> const & mrouteTableColl() const { return in_.mrouteTableColl; }
  Zet::Ptr<Zet::Clock const> const & clock() const { return in_.clock; }
  Zet::Ptr<Bridging::Topology::Config const> const & brTopo() const { return in_.brTopo; }
  Zet::Ptr<Bridging::VlanStatusDir const> const & vlanStatusDir() const {
    return in_.vlanStatusDir;
  }
  Zet::Ptr<Interface::EthLagIntfStatusDir const> const & lagStatusDir() const {
    return in_.lagStatusDir;
  }
  Zet::Ptr<Bridging::IgmpSnooping::Status const> const & snoopingStatus() const {
    return in_.snoopingStatus;
  }
  Zet::Ptr<Routing::Multicast::Fib::VrfConfig const> const & mfibVrfConfig() const {
    return in_.mfibVrfConfig;
  }
  Zet::Ptr<Zet::Dir const> const & mfibDir() const { return in_.mfibDir; }
  Zet::Name const & mfibDirName() const { return in_.mfibDirName; }
  Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> const & status() const { return in_.status; }
  Zet::Ptr<Zet::Clock const> const & fastdropClock() const { return in_.fastdropClock; }
  Zet::Ptr<Zet::Clock const> const & fastdropLogClock() const { return in_.fastdropLogClock; }
  Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable() const { return in_.intfVlanIdTable; }
  LagOperation lagOperation() const { return in_.lagOperation; }
  void lagOperationIs(LagOperation v);
  bool l2Enabled() const { return in_.l2Enabled; }
  Zet::Ptr<PimEnabled const> const & pimEnabled() const { return in_.pimEnabled; }
  Zet::Ptr<Zet::Dir const> const & routingInfoDir() const { return in_.routingInfoDir; }
  Zet::Ptr<Mlag::Status const> const & mlagStatus() const { return in_.mlagStatus; }
  Zet::Ptr<Bridging::Config const> const & brConfig() const { return in_.brConfig; }
  Zet::Ptr<StaticNatInfo const> const & staticNatInfo() const { return in_.staticNatInfo; }
  Zet::Ptr<ReviewInfo> const & reviewInfo() const { return in_.reviewInfo; }
  Zet::Ptr<Ip::AllVrfStatusLocal const> const & allVrfStatusLocal() const {
    return in_.allVrfStatusLocal;
  }
  Zet::Ptr<Ip::Status const> const & ipStatus() const { return in_.ipStatus; }
  Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> const & pimIntfStatus() const {
    return in_.pimIntfStatus;
  }
  Zet::Ptr<Zet::Dir const> const & prefixMrouteStatusDir() const {
    return in_.prefixMrouteStatusDir;
  }
  bool ignoreVlanForL2Groups() const { return in_.ignoreVlanForL2Groups; }
  PortPropertyMask const & portPropertyMask() const { return in_.portPropertyMask; }
  Zet::Ptr<BoundaryFastdrop::StatusColl> const & boundaryFastdropStatusColl() const {
    return in_.boundaryFastdropStatusColl;
  }
  // What drops boundaries have learned; the agent hands in each new one. Null withdraws all.
  void boundaryFastdropStatusCollIs(Zet::Ptr<BoundaryFastdrop::StatusColl> const & v);
  Zet::Ptr<Routing::Multicast::Fib::MbrIntf const> const & mbrIntf() const { return in_.mbrIntf; }
  Zet::Ptr<Routing::Multicast::Fib::SparseModeStatus const> const & sparseModeStatus() const {
    return in_.sparseModeStatus;
  }

  // Settings of the platform
  bool configuredLagMembersInOifSet() const { return configuredLagMembersInOifSet_; }
  void configuredLagMembersInOifSetIs(bool v);
  bool floodToVlanWithPim() const { return floodToVlanWithPim_; }
  void floodToVlanWithPimIs(bool v);
  bool disableL2Flooding() const { return disableL2Flooding_; }
  void disableL2FloodingIs(bool v);
  bool allowL2FloodsetSharing() const { return allowL2FloodsetSharing_; }
  void allowL2FloodsetSharingIs(bool v);
  bool ignorePimConfigForL2Routes() const { return ignorePimConfigForL2Routes_; }
  void ignorePimConfigForL2RoutesIs(bool v);
  // PIM over VXLAN has put a core-side floodset into all VLANs; the root's own memory.
  bool coreSideFloodsetInAllVlans() const { return coreSideFloodsetInAllVlans_; }
  void coreSideFloodsetInAllVlansIs(bool v) { coreSideFloodsetInAllVlans_ = v; }
  Zet::Ptr<MiraHelper> const & miraHelper() const { return miraHelper_; }
  void miraHelperIs(Zet::Ptr<MiraHelper> const & v);

  // What the agent sets beside the inputs; all but the entity manager are optional.
  Zet::Ptr<Quay::EntityManager> const & entityManager() const { return entityManager_; }
  // Starts the root.
  void entityManagerIs(Zet::Ptr<Quay::EntityManager> const & v);
  // The gate waits if all five of these stand, otherwise it opens at once.
  using ReadyStatus = Routing::Multicast::Fib::ReadyStatus;
  Zet::Ptr<ReadyStatus const> mfibReadyStatus() const { return zetMfibReadyStatus_.target(); }
  void mfibReadyStatusIs(Zet::Ptr<ReadyStatus const> const & v);
  Zet::Ptr<ReadyStatus const> staticMfibReadyStatus() const {
    return zetStaticMfibReadyStatus_.target();
  }
  void staticMfibReadyStatusIs(Zet::Ptr<ReadyStatus const> const & v);
  Zet::Ptr<ReadyStatus const> bidirMfibReadyStatus() const {
    return zetBidirMfibReadyStatus_.target();
  }
  void bidirMfibReadyStatusIs(Zet::Ptr<ReadyStatus const> const & v);
  using VrfEnabledStatus = Routing::Multicast::Fib::VrfEnabledStatus;
  Zet::Ptr<VrfEnabledStatus const> mcastEnabledStatus() const {
    return zetMcastEnabledStatus_.target();
  }
  void mcastEnabledStatusIs(Zet::Ptr<VrfEnabledStatus const> const & v);
  using PimStatus = Routing::Multicast::Pim::Status;
  Zet::Ptr<PimStatus const> mcastPimStatus() const { return zetMcastPimStatus_.target(); }
  void mcastPimStatusIs(Zet::Ptr<PimStatus const> const & v);
  Zet::Ptr<Routing::Multicast::Vxlan::Status const> const & pimVxlanStatus() const {
    return pimVxlanStatus_;
  }
  void pimVxlanStatusIs(Zet::Ptr<Routing::Multicast::Vxlan::Status const> const & v);
  Zet::Ptr<Lag::ConfigDir const> const & lagConfigDir() const { return lagConfigDir_; }
  void lagConfigDirIs(Zet::Ptr<Lag::ConfigDir const> const & v);
  // VLANs that are extended over VXLAN.
  bool vxlanVlan(Bridging::VlanId vid) const { return vxlanVlan_.contains(vid); }
  void vxlanVlanIs(Bridging::VlanId vid, bool v);
  // VLANs whose L2 routes are wanted although l2Enabled is false; another process computes them.
  bool l2EnabledOnVlan(Bridging::VlanId vid) const { return l2EnabledOnVlan_.contains(vid); }
  void l2EnabledOnVlanIs(Bridging::VlanId vid, bool v);
  // What EVPN allows to be flooded towards multihomed segments.
  Zet::Ptr<Evpn::EvpnVlanFilteredFloodSetDir const> const & vlanFilteredFloodSetDir() const {
    return vlanFilteredFloodSetDir_;
  }
  void vlanFilteredFloodSetDirIs(Zet::Ptr<Evpn::EvpnVlanFilteredFloodSetDir const> const & v);

  // Configured LAGs, with configuredLagMembersInOifSet: the LAG of a member, the members of a LAG.
  Nettle::IntfId intfToLag(Nettle::IntfId intf) const { return lookup(intfToLag_, intf); }
  void intfToLagIs(Nettle::IntfId intf, Nettle::IntfId lag) { intfToLag_.at(intf) = lag; }
  void intfToLagDel(Nettle::IntfId intf) { intfToLag_.del(intf); }
  IntfList const * lagToIntf(Nettle::IntfId lag) const { return lagToIntf_.find(lag); }
  void lagToIntfIs(Nettle::IntfId lag, IntfList const & v) { lagToIntf_.at(lag) = v; }
  void lagToIntfDel(Nettle::IntfId lag) { lagToIntf_.del(lag); }

  // The L2 routes that are to stand.
  auto const & l2Route() const { return l2Route_; }
  bool l2Route(RouteKey const & key) const { return l2Route_.contains(key); }
  void l2RouteIs(RouteKey const & key, bool v);
  void l2RouteDel(RouteKey const & key) { l2RouteIs(key, false); }

  // Of a spanning-tree topology, by its name, how many ports forward.
  U32 forwardingPorts(Zet::String const & topo) const { return lookup(forwardingPorts_, topo); }
  void forwardingPortsIs(Zet::String const & topo, U32 v) { forwardingPorts_.at(topo) = v; }
  void forwardingPortsDel(Zet::String const & topo) { forwardingPorts_.del(topo); }
  // The topology of each VLAN as it was last seen: a change of it needs the old one.
  Zet::String oldVidToTopoMap(Bridging::VlanId vid) const { return lookup(oldVidToTopoMap_, vid); }
  void oldVidToTopoMapIs(Bridging::VlanId vid, Zet::String const & topo) {
    oldVidToTopoMap_.at(vid) = topo;
  }
  void oldVidToTopoMapDel(Bridging::VlanId vid) { oldVidToTopoMap_.del(vid); }

  // The machines, one a VRF
  Zet::HashMap<L3::VrfName, Mira> const & mira() const { return mira_; }
  Zet::Ptr<Mira> mira(L3::VrfName const & vrf) const { return mira_.find(vrf); }
  void miraDel(L3::VrfName const & vrf);

  // The tables in shared memory, by VRF. Stands from the beginning; who does not mount tables by
  // mfibDir fills it by hand.
  Zet::Ptr<Shoal::Multicast::Fib::MfibShoalDir> const & shoalDir() const { return shoalDir_; }
  // Makes it unless it stands.
  Zet::Ptr<Shoal::Multicast::Fib::MfibShoalDir> const & mfibShoalDirIs();
  Zet::Ptr<MfibDirSm> const & mfibDirSm() const { return mfibDirSm_; }
  Zet::Ptr<Fjord::SubIntfMappingSm> const & subIntfMappingSm() const { return subIntfMappingSm_; }
  Zet::Ptr<Interface::SubIntfConfigDir const> const & subIntfConfigDir() const {
    return subIntfConfigDir_;
  }
  Zet::Ptr<Fjord::ParentIntfToSubIntfDir> const & parentIntfToSubIntfDir() const {
    return parentIntfToSubIntfDir_;
  }

  // State of the gate and of the socket
  bool nsfMiraEnabledForAllVrfs() const { return nsfMiraEnabledForAllVrfs_; }
  void nsfMiraEnabledForAllVrfsIs(bool v) { nsfMiraEnabledForAllVrfs_ = v; }
  static constexpr Zet::Seconds nsfTimerPeriod() { return 900; }
  // When the gate opens whoever is missing; infinite if it does not wait.
  Zet::Seconds nsfTimer() const;
  int socket() const { return socket_; }
  void socketIs(int fd);
  // The socket in the activity loop.
  Zet::Ptr<Zet::FileDescriptor> const & fileDescriptor() const { return fileDescriptor_; }
  Zet::Seconds fastdropLoopQuantum() const { return fastdropLoopQuantum_; }
  void fastdropLoopQuantumIs(Zet::Seconds v) { fastdropLoopQuantum_ = v; }
  // Rounds of handleReadable, and messages that it took.
  U64 handleReadableReviews() const { return handleReadableReviews_; }
  U64 handleReadableCount() const { return handleReadableCount_; }

 private:
  struct ZetAllVrfStatusLocal : Zet::Reactor<Ip::AllVrfStatusLocal const, MiraRoot> {
    using Reactor::Reactor;
    void onVrf(L3::VrfName const & vrf) override { sm()->handleVrf(vrf); }
    void immediatePass() override { sm()->handleVrf(); }
  };
  struct ZetRoutingInfoDir : Zet::Reactor<Zet::Dir const, MiraRoot> {
    using Reactor::Reactor;
    void onEntityPtr(Zet::Name const & name) override { sm()->handleRoutingInfo(name); }
    void immediatePass() override { sm()->handleRoutingInfo(); }
  };
  struct ZetMfibVrfConfig : Zet::Reactor<Routing::Multicast::Fib::VrfConfig const, MiraRoot> {
    using Reactor::Reactor;
    void onConfig(L3::VrfName const & vrf) override { sm()->handleMfibVrfConfig(vrf); }
    void onIntfConfig(Nettle::IntfId const & intf) override { sm()->handleIntfConfig(intf); }
    void immediatePass() override { sm()->handleMfibVrfConfig(); }
  };
  struct ZetBoundaryFastdropStatusColl : Zet::Reactor<BoundaryFastdrop::StatusColl, MiraRoot> {
    using Reactor::Reactor;
    void onVrfStatus(L3::VrfName const & vrf) override { sm()->handleBoundaryFastdrop(vrf); }
    void immediatePass() override { sm()->handleBoundaryFastdrop(); }
  };
  struct ZetShoalDir : Zet::Reactor<Shoal::Multicast::Fib::MfibShoalDir const, MiraRoot> {
    using Reactor::Reactor;
    void onShoalColl(L3::VrfName const & vrf) override { sm()->handleMfibShoalDir(vrf); }
    void immediatePass() override { sm()->handleMfibShoalDir(); }
  };
  // The three statuses differ in nothing but their place.
  struct ZetReadyStatus : Zet::Reactor<ReadyStatus const, MiraRoot> {
    using Reactor::Reactor;
    void onVrfReady(L3::VrfName const &) override { sm()->doEvalMiraEnabled(); }
  };
  struct ZetMcastEnabledStatus : Zet::Reactor<VrfEnabledStatus const, MiraRoot> {
    using Reactor::Reactor;
    void onVrf(L3::VrfName const &) override { sm()->doEvalMiraEnabled(); }
  };
  // Deliberately deaf to pimEnabledBidirVrf.
  struct ZetMcastPimStatus : Zet::Reactor<PimStatus const, MiraRoot> {
    using Reactor::Reactor;
    void onPimEnabledSparseModeVrf(L3::VrfName const &) override { sm()->doEvalMiraEnabled(); }
  };
  struct ZetNsfTimer : Zet::Reactor<Zet::Clock const, MiraRoot> {
    using Reactor::Reactor;
    void onTime() override;
  };
  struct ZetFileDescriptor : Zet::Reactor<Zet::FileDescriptor, MiraRoot> {
    using Reactor::Reactor;
    void onReadableCount() override { sm()->handleReadable(); }
  };

  void handlePresence(char const * input, L3::VrfName const & vrf, bool present);
  bool mayHaveMira(L3::VrfName const & vrf) const;
  void handleBoundaryFastdrop(L3::VrfName const & vrf);
  void handleBoundaryFastdrop();
  Zet::Ptr<Mira> doMakeMira(L3::VrfName const & vrf, Zet::Ptr<MrouteTable> const & table);
  Zet::Ptr<Routing::RoutingGenInfo const> routingGenInfo(L3::VrfName const & vrf) const;
  bool allNsfStatuses() const;
  char const * missingReadiness(L3::VrfName const & vrf) const;
  void doOpenSocket();
  void doCloseSocket();
  void doCountReadable(U64 messages);
  bool handleMessage(char const * message, U32 length);
  L3::VrfName vrfOfVlan(Bridging::VlanId vlan) const;

  // Fixed at construction
  Inputs in_;

  // State
  Zet::Ptr<Shoal::Multicast::Fib::MfibShoalDir> shoalDir_;
  bool initialized_ = false;
  bool nsfMiraEnabledForAllVrfs_ = false;
  bool configuredLagMembersInOifSet_ = false;
  bool floodToVlanWithPim_ = false;
  bool disableL2Flooding_ = false;
  bool allowL2FloodsetSharing_ = false;
  bool ignorePimConfigForL2Routes_ = false;
  bool coreSideFloodsetInAllVlans_ = false;
  int socket_ = -1;
  Zet::Seconds fastdropLoopQuantum_ = 0.05;
  U64 handleReadableReviews_ = 0;
  U64 handleReadableCount_ = 0;
  Zet::Ptr<Quay::EntityManager> entityManager_;
  Zet::Ptr<MiraHelper> miraHelper_;
  Zet::Ptr<Routing::Multicast::Vxlan::Status const> pimVxlanStatus_;
  Zet::Ptr<Lag::ConfigDir const> lagConfigDir_;
  Zet::Ptr<Fjord::ParentIntfToSubIntfDir> parentIntfToSubIntfDir_;
  Zet::Ptr<Interface::SubIntfConfigDir const> subIntfConfigDir_;
  Zet::Ptr<Fjord::SubIntfMappingSm> subIntfMappingSm_;
  Zet::Ptr<MfibDirSm> mfibDirSm_;
  Zet::OrderedSet<Bridging::VlanId> vxlanVlan_;
  Zet::OrderedSet<Bridging::VlanId> l2EnabledOnVlan_;
  Zet::HashMap2018<Nettle::IntfId, Nettle::IntfId> intfToLag_;
  Zet::HashMap2018<Nettle::IntfId, IntfList> lagToIntf_;
  Zet::HashMap2018<RouteKey, bool> l2Route_;
  Zet::HashMap2018<Zet::String, U32> forwardingPorts_;
  Zet::HashMap2018<Bridging::VlanId, Zet::String> oldVidToTopoMap_;
  Zet::Ptr<Zet::FileDescriptor> fileDescriptor_;
  Zet::HashMap<L3::VrfName, Mira> mira_;
  Zet::HashMap<Nettle::IntfId, IntfConfigSm> intfConfigSm_;
  Zet::Ptr<MiraL2> miraL2_;
  Zet::Ptr<InputReactors> inputReactors_;
  Zet::Ptr<Evpn::EvpnVlanFilteredFloodSetDir const> vlanFilteredFloodSetDir_;

  // Reactors
  Zet::ReactorPtr<ZetAllVrfStatusLocal> zetAllVrfStatusLocal_{this};
  Zet::ReactorPtr<ZetRoutingInfoDir> zetRoutingInfoDir_{this};
  Zet::ReactorPtr<ZetMfibVrfConfig> zetMfibVrfConfig_{this};
  Zet::ReactorPtr<ZetShoalDir> zetShoalDir_{this};
  Zet::ReactorPtr<ZetBoundaryFastdropStatusColl> zetBoundaryFastdropStatusColl_{this};
  Zet::ReactorPtr<ZetReadyStatus> zetMfibReadyStatus_{this};
  Zet::ReactorPtr<ZetReadyStatus> zetStaticMfibReadyStatus_{this};
  Zet::ReactorPtr<ZetReadyStatus> zetBidirMfibReadyStatus_{this};
  Zet::ReactorPtr<ZetMcastEnabledStatus> zetMcastEnabledStatus_{this};
  Zet::ReactorPtr<ZetMcastPimStatus> zetMcastPimStatus_{this};
  Zet::ReactorPtr<ZetNsfTimer> nsfTimer_{this};
  Zet::ReactorPtr<ZetFileDescriptor> zetFileDescriptor_{this};
};

inline Zet::Ptr<Zet::Clock const> const & Mira::clock() const { return miraRoot_->clock(); }
inline Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> const & Mira::status() const {
  return miraRoot_->status();
}
inline Zet::Ptr<IntfVlanId::Table const> const & Mira::intfVlanIdTable() const {
  return miraRoot_->intfVlanIdTable();
}
inline Zet::Ptr<StaticNatInfo const> const & Mira::staticNatInfo() const {
  return miraRoot_->staticNatInfo();
}
inline Zet::Ptr<ReviewInfo> const & Mira::reviewInfo() const { return miraRoot_->reviewInfo(); }
inline Zet::Ptr<Ip::Status const> const & Mira::ipStatus() const { return miraRoot_->ipStatus(); }
inline Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> const & Mira::pimIntfStatus() const {
  return miraRoot_->pimIntfStatus();
}
inline Zet::Ptr<Routing::Multicast::Fib::MbrIntf const> const & Mira::mbrIntf() const {
  return miraRoot_->mbrIntf();
}
inline Zet::Ptr<Routing::Multicast::Fib::SparseModeStatus const> const & Mira::sparseModeStatus()
    const {
  return miraRoot_->sparseModeStatus();
}

// Whether the VLAN is to have L2 routes, here or in another process.
inline bool l2Enabled(MiraRoot const & root, Bridging::VlanIdOrNone vid) {
  return root.l2Enabled() || (vid && root.l2EnabledOnVlan(Bridging::VlanId(vid)));
}

// The members of a LAG have changed: marks it wherever it, or a sub-interface of it, may be an
// output.
BRINDLE_API void markLagDirty(MiraRoot & root, Nettle::IntfId lag);

// The caches of configured LAGs: intfToLag and lagToIntf.
BRINDLE_API void addToLagIntfCache(MiraRoot & root, Nettle::IntfId lag, Nettle::IntfId intf);
BRINDLE_API void deleteFromLagIntfCache(MiraRoot & root, Nettle::IntfId lag, Nettle::IntfId intf);

}  // namespace Brindle
