// Membership expansion: which ports of a VLAN want the traffic of a route.
//
// A route's outputs are routed interfaces, each a VLAN. A chip wants ports: those that forward in
// the VLAN's spanning tree and, where IGMP snooping (RFC 4541) runs, have a listener or a multicast
// router behind them; LAGs resolved to what the platform wants; the MLAG peer link added or left
// out; VXLAN and EVPN tunnels. All is read from the root's inputs at the time of the call. An input
// that is missing makes the set smaller; the change that brings it marks the route dirty.
#pragma once
#include "mira/Explanation.h"
#include "model/Filters.h"
#include "model/PortVlanSet.h"
#include "platform/EthAddr.h"
#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/VlanId.h"
#include "platform/VrfName.h"
#include "state/Bridging.h"
#include "state/Lag.h"
#include "state/Mlag.h"
#include "state/RouteKey.h"
#include "state/Snooping.h"
#include "state/Topology.h"

namespace Brindle {

class MiraHelper;
class MiraRoot;

// The MAC address of a group: RFC 1112, section 6.4, and RFC 2464, section 7.
BRINDLE_API Nettle::EthAddr ethAddrFromIpAddr(Nettle::IpGenAddr const & addr);
// Whether snooping covers the address: 01:00:5E and three more bytes.
BRINDLE_API bool isIgmpSnoopingEthAddr(Nettle::EthAddr const & addr);
BRINDLE_API bool isForwarding(Bridging::Topology::TopoConfig const & topo, Nettle::IntfId intf);
// Whether the VLAN's traffic leaves this port with a tag (IEEE 802.1Q).
BRINDLE_API bool isTagged(Bridging::VlanStatus const & vlanStatus, Nettle::IntfId intf);
// A port of the MLAG peer, by its name.
inline bool isPeerPort(Nettle::IntfId intf) {
  return intf.kind() == Nettle::IntfKind::peerEthernet ||
         intf.kind() == Nettle::IntfKind::peerPortChannel;
}
// Whether no active member of an MLAG stands behind the interface, so that its hosts are reached
// from one peer only.
BRINDLE_API bool isOrphanPeerIntf(Nettle::IntfId intf, Mlag::Status const & mlagStatus);
BRINDLE_API bool isPvInPvSet(PortVlan const & pv, PortVlanSet const & pvSet);
// How many ports of the VLAN forward, up to `atMost`.
BRINDLE_API U32 fwdPortsInIif(MiraRoot const & root, Bridging::VlanIdOrNone vid, U32 atMost = ~0u);

// One expansion, for one set. It lives for one call of its maker: addVlanToPortVlanSet() for each
// VLAN, then doResolveAndAddLagsToPvSet(), then the filters are read.
class BRINDLE_API Expansion {
 public:
  // What is expanded: an IP route's group, or a group or floodset of a VLAN.
  struct For {
    Routing::Multicast::Fib::RouteKeyType forwardingType;
    Nettle::EthAddr ethAddr;
    bool isPrefixGroup = false;  // the route's group is a range, not a host
  };
  // The set must outlive this object. `pvSet` gets plain ports and resolved LAG members.
  // `explanation` may be null; it is told of each port of a VLAN of an IP route.
  Expansion(MiraRoot const & root, For const & what, PortVlanSet & pvSet,
            Explanation * explanation = nullptr);

  void addVlanToPortVlanSet(Bridging::VlanId vid);
  // Tells that a VLAN is left out, if anybody wants to know.
  void explainWithout(Bridging::VlanId vid, VlanVerdict why, PortVerdict ports);
  // Offers one member; true if it counts as a port of the VLAN.
  bool maybeAddPvToPvSet(Bridging::VlanId vid, PortVlan const & pv);
  // LAGs that were found elsewhere.
  void lagsAre(PortVlanSet const & lags) { lagPvSet_ = lags; }
  // Turns the LAGs that were found into members of the set. `vid` goes into the choice of a
  // designated member: the accepting VLAN of an IP route, or none.
  void doResolveAndAddLagsToPvSet(Bridging::VlanIdOrNone vid, L3::VrfName const & vrf,
                                  Routing::Multicast::Fib::IpGenRouteKey const & key);

  // What the set depends on, for the filters of its route.
  U32 vlanPortFilter() const { return vlanPortFilter_; }
  U32 lagFilter() const { return lagFilter_; }
  // The CPU is a port of one of the VLANs.
  bool cpuPresent() const { return cpuPresent_; }

 private:
  // The VLAN that is being added.
  struct Vlan {
    Bridging::VlanId vid;
    VlanPortBits bits{vid};
    Bridging::VlanStatus const * status = nullptr;
    Bridging::Topology::TopoConfig const * topo = nullptr;
    Bridging::IgmpSnooping::VlanStatus const * snooping = nullptr;
    PortWish wish = PortWish::flood;  // who asks for what is offered
  };
  bool vlanIs(Bridging::VlanId vid);
  bool isFloodset() const;
  bool isL2Set() const;
  void doAddFdbConfigEthGroupPorts();
  void doAddSnoopingEthGroupPorts();
  void doOffer(Zet::OrderedSet<Nettle::IntfId> const & intfs, PortWish wish);
  void doAddSnoopedPorts();
  void doAddVlanPorts();
  void doAddForwardingPorts();
  bool isPlain(Nettle::IntfId port) const;
  bool doAddPlainPorts();
  void doAddConfiguredPorts();
  void doAddVlanPort(Nettle::IntfId port);
  void doAddVlanPort(Nettle::IntfId port, Bridging::VlanPortStatus status);
  bool notePeerLink(Nettle::IntfId port);
  void noteOrphan(Nettle::IntfId port, bool added);
  bool addPv(PortVlan const & pv, Bridging::VlanPortStatus status);
  void doAddPeerLink();
  void doAddMrouterPorts();
  void doAddTunnels();
  void maybeAddVxlanVtepToPvSet();
  void maybeAddEvpnTunnelsToPvSet();
  bool floodingDisabled(Nettle::IntfId port) const;
  bool refusedByKind(PortVlan const & pv, bool inVlan);
  PortVlan memberOf(PortVlan const & pv, bool tagged) const;
  OutLif outLifOf(Nettle::IntfId port) const;
  // For who wants to know
  void explain(PortVlan const & pv, PortVerdict verdict) {
    if (explanation_) [[unlikely]]
      tell(pv, verdict);
  }
  bool refused(PortVlan const & pv, PortVerdict why) {
    explain(pv, why);
    return false;
  }
  void explainVlan(VlanVerdict how) {
    if (explanation_) [[unlikely]]
      explanation_->vlanIs(vlan_.vid, how);
  }
  void explainRest(PortVerdict why) {
    if (explanation_) [[unlikely]]
      tellRest(why);
  }
  void tell(PortVlan const & pv, PortVerdict verdict);
  void tellRest(PortVerdict why);
  bool isLag(Nettle::IntfId port) const;

  void addLocalMember(PortVlan const & lag);
  bool passMe(Nettle::IntfId lag, L3::VrfName const & vrf,
              Routing::Multicast::Fib::IpGenRouteKey const & key);
  void expandLag(PortVlan const & lag, Interface::EthLagIntfStatus const & status);
  void designateLagMember(PortVlan const & lag, Interface::EthLagIntfStatus const & status,
                          Bridging::VlanIdOrNone vid);
  void maybeAddLagMemberInPvSet(PortVlan const & lag, Nettle::IntfId member);
  void explainLag(PortVlan const & lag, PortVerdict verdict);
  void explainLagMember(PortVlan const & lag, Nettle::IntfId member, PortVerdict verdict);

  MiraRoot const & root_;
  MiraHelper * const helper_;
  For const for_;
  bool const isPlainKind_;  // a port's kind is all that can keep it out of the set
  PortVlanSet & pvSet_;
  Nettle::IntfId const peerLink_;
  Explanation * const explanation_;
  PortVlanSet lagPvSet_;
  Vlan vlan_{};
  U32 vlanPortFilter_ = 0;
  U32 lagFilter_ = 0;
  bool cpuPresent_ = false;
  bool peerLinkPresent_ = false;
  bool orphanPresent_ = false;
};

}  // namespace Brindle
