#include "mira/Expansion.h"

#include <span>

#include "mira/MiraHelper.h"
#include "mira/MiraRoot.h"
#include "platform/Assert.h"
#include "platform/Trace.h"
#include "state/Vxlan.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Bridging::VlanPortMode;
using Bridging::Topology::PortState;
using Nettle::IntfId;
using Nettle::IntfKind;
using namespace Routing::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("Expansion", false);

bool portForwards(Bridging::Topology::TopoPortConfig const * port) {
  return port && port->state() == PortState::forwarding;
}

bool isInVlan(Bridging::VlanStatus const * vlan, IntfId port) {
  auto const * status = vlan ? vlan->vlanPortStatus().find(port) : nullptr;
  return status && status->mode != VlanPortMode::none;
}

}  // namespace

Nettle::EthAddr ethAddrFromIpAddr(Nettle::IpGenAddr const & addr) {
  auto const & b = addr.bytes();
  if (addr.isV4()) {
    U8 high = static_cast<U8>(b[1] & 0x7f);
    return Nettle::EthAddr(Nettle::EthAddr::Bytes{0x01, 0x00, 0x5e, high, b[2], b[3]});
  }
  ZET_ASSERT(addr.isV6(), "0 && \"Unknown Address family\"");
  return Nettle::EthAddr(Nettle::EthAddr::Bytes{0x33, 0x33, b[12], b[13], b[14], b[15]});
}

bool isIgmpSnoopingEthAddr(Nettle::EthAddr const & addr) {
  auto const & b = addr.bytes();
  return b[0] == 0x01 && b[1] == 0x00 && b[2] == 0x5e;
}

bool isForwarding(Bridging::Topology::TopoConfig const & topo, IntfId intf) {
  return portForwards(topo.topoPortConfig().find(intf));
}

bool isTagged(Bridging::VlanStatus const & vlanStatus, IntfId intf) {
  auto const * status = vlanStatus.vlanPortStatus().find(intf);
  return status && status->mode == VlanPortMode::tagged;
}

bool isOrphanPeerIntf(IntfId intf, Mlag::Status const & mlagStatus) {
  if (isPeerPort(intf)) return true;
  Mlag::IntfStatus const * status = mlagStatus.intfStatus().find(intf);
  return !status || status->state() != Mlag::IntfState::activeFull;
}

bool isPvInPvSet(PortVlan const & pv, PortVlanSet const & pvSet) { return pvSet.portVlan(pv); }

U32 fwdPortsInIif(MiraRoot const & root, VlanIdOrNone vid, U32 atMost) {
  ZET_TRACE(9, "fwdPortsInIif"
                   << " Vlan: " << vid);
  if (!vid) return 0;
  VlanId vlan(vid);
  auto const * topo = root.brTopo()->vidToTopoMap(vlan);
  auto const * status = root.vlanStatusDir()->vlanStatus().find(vlan);
  if (!topo || !status) return 0;
  U32 count = 0;
  for (auto const & port : status->vlanPortStatus().items()) {
    if (port.value.mode == VlanPortMode::none || port.key.kind() == IntfKind::cpu) continue;
    if (isForwarding(*topo, port.key) && ++count == atMost) break;
  }
  return count;
}

Expansion::Expansion(MiraRoot const & root, For const & what, PortVlanSet & pvSet,
                     Explanation * explanation)
    : root_(root),
      helper_(root.miraHelper().get()),
      for_(what),
      isPlainKind_(!isFloodset() && !isL2Set()),
      pvSet_(pvSet),
      peerLink_(root.mlagStatus() ? root.mlagStatus()->peerLinkIntf() : IntfId()),
      explanation_(explanation) {}

// Kinds that carry what a VLAN floods.
inline bool Expansion::isFloodset() const {
  return for_.forwardingType == vlanFloodset_ || for_.forwardingType == multicastFloodset_ ||
         for_.forwardingType == vxlanCoreSideFloodset_;
}

// Kinds whose set belongs to one VLAN and is looked up by MAC address.
inline bool Expansion::isL2Set() const {
  return for_.forwardingType == vlanFloodset_ || for_.forwardingType == multicastFloodset_ ||
         for_.forwardingType == ethGroup_;
}

inline bool Expansion::vlanIs(VlanId vid) {
  vlan_ = {vid, VlanPortBits(vid), root_.vlanStatusDir()->vlanStatus(vid),
           root_.brTopo()->vidToTopoMap(vid), root_.snoopingStatus()->vlanStatus(vid)};
  peerLinkPresent_ = orphanPresent_ = false;
  if (!vlan_.status) ZET_TRACE(8, "no vlan status for vid" << vid);
  if (vlan_.status && !vlan_.topo) ZET_TRACE(8, "no topoconfig for vlan" << vid);
  return vlan_.status && vlan_.topo;
}

void Expansion::addVlanToPortVlanSet(VlanId vid) {
  RouteKeyType kind = for_.forwardingType;
  ZET_ASSERT(kind != evpnMultihomeFloodset_,
             "forwardingType != Routing::Multicast::Fib::evpnMultihomeFloodset_");
  if (!vlanIs(vid)) {
    return vlan_.status
               ? explainWithout(vid, VlanVerdict::noSpanningTree, PortVerdict::noSpanningTree)
               : explainVlan(VlanVerdict::down);
  }
  if (root_.disableL2Flooding() && isFloodset()) {
    ZET_TRACE(8, "flooding is disabled");
    return;
  }
  ZET_ASSERT(!for_.isPrefixGroup || kind == mroute_,
             "!isPrefixGroup || forwardingType == Routing::Multicast::Fib::mroute_");
  if (root_.mrouteTableColl()->af() == Nettle::ipv6()) {
    ZET_TRACE(9, "Ipv6: add flooding ports");
    explainVlan(VlanVerdict::floodsIpv6);
    return doAddVlanPorts();
  }
  if (kind == ethGroup_ && !isIgmpSnoopingEthAddr(for_.ethAddr)) {
    return doAddFdbConfigEthGroupPorts();
  }
  if (!vlan_.snooping) {
    explainVlan(VlanVerdict::floodsUnsnooped);
    return doAddVlanPorts();
  }
  bool flood = vlan_.snooping->useVlanFloodset();
  if (kind == multicastFloodset_) {
    bool pimFloods = root_.floodToVlanWithPim() && root_.pimEnabled()->pimVlanEnabled(vid);
    return flood || pimFloods ? doAddVlanPorts() : doAddMrouterPorts();
  }
  if (flood || for_.isPrefixGroup || isFloodset()) {
    explainVlan(flood ? VlanVerdict::floodsUnsettled : VlanVerdict::floodsRange);
    return doAddVlanPorts();
  }
  explainVlan(VlanVerdict::snooped);
  doAddSnoopingEthGroupPorts();
  doAddMrouterPorts();
  explainRest(PortVerdict::notWanted);
}

void Expansion::doAddFdbConfigEthGroupPorts() {
  ZET_TRACE(9, "doAddFdbConfigEthGroupPorts");
  auto const * fdb = root_.brConfig()->fdbConfig().find(vlan_.vid);
  auto const * group = fdb ? fdb->ethGroup().find(for_.ethAddr) : nullptr;
  if (group) doOffer(group->intf(), PortWish::listener);
}

void Expansion::doAddSnoopingEthGroupPorts() {
  ZET_TRACE(9, "doAddSnoopingEthGroupPorts");
  auto const * group = vlan_.snooping->ethGroup().find(for_.ethAddr);
  if (group) doOffer(group->intf(), PortWish::listener);
}

void Expansion::doOffer(Zet::OrderedSet<IntfId> const & intfs, PortWish wish) {
  vlan_.wish = wish;
  for (IntfId intf : intfs.items()) {
    if (isForwarding(*vlan_.topo, intf)) {
      maybeAddPvToPvSet(vlan_.vid, {intf, outLifOf(intf), 0});
    } else {
      explain({intf, OutLif(vlan_.vid), 0}, PortVerdict::notForwarding);
    }
  }
}

void Expansion::doAddVlanPorts() {
  ZET_ASSERT(root_.mlagStatus(), "mira->mlagStatus()");
  ZET_ASSERT(root_.brConfig(), "mira->brConfig()");
  bool const byConfig = root_.configuredLagMembersInOifSet();
  if (byConfig) {
    doAddConfiguredPorts();
  } else {
    doAddForwardingPorts();
  }
  if (peerLinkPresent_) doAddPeerLink();
  if (helper_) doAddTunnels();
  explainRest(byConfig ? PortVerdict::notConfigured : PortVerdict::notForwarding);
}

// Orphans matter where there is a peer link only.
inline void Expansion::noteOrphan(IntfId port, bool added) {
  if (!peerLink_ || !added || orphanPresent_ || !isOrphanPeerIntf(port, *root_.mlagStatus())) {
    return;
  }
  ZET_TRACE(9, "adding PeerLink due to orphan port " << port);
  orphanPresent_ = true;
}

inline void Expansion::doAddForwardingPorts() {
  if (helper_) {
    // It may give a port a logical interface, which needs not be in the VLAN.
    for (auto const & port : vlan_.topo->topoPortConfig().items()) {
      if (portForwards(port.value.get())) doAddVlanPort(port.key);
    }
    return;
  }
  // Without one only the VLAN's own ports count, and these are few beside a shared topology's.
  if (!doAddPlainPorts()) {
    for (auto const & port : vlan_.status->vlanPortStatus().items()) {
      bool const inVlan = port.value.mode != VlanPortMode::none;
      if (inVlan && !isPlain(port.key) && isForwarding(*vlan_.topo, port.key)) {
        doAddVlanPort(port.key, port.value);
      }
    }
  }
  static IntfId const vxlan1("Vxlan1");
  if (isForwarding(*vlan_.topo, vxlan1) && !isInVlan(vlan_.status, vxlan1)) doAddVlanPort(vxlan1);
}

// A port that needs no closer look to be a member.
inline bool Expansion::isPlain(IntfId port) const {
  return isPlainKind_ && port.kind() <= IntfKind::ethernet && port != peerLink_;
}

// The VLAN's plain ports that forward, in one run; false if it has others, too. The hottest loop
// of all.
inline bool Expansion::doAddPlainPorts() {
  if (!isPlainKind_) return false;
  bool all = true;
  PortProperty const tagged = root_.portPropertyMask() & taggedPortProperty;
  OutLif const outLif(vlan_.vid);
  auto const & states = vlan_.topo->topoPortConfig();
  auto const & ports = vlan_.status->vlanPortStatus().items();
  PortVlan * const run = pvSet_.room(ports.size());
  PortVlan * end = run;
  for (auto const & port : ports) {
    VlanPortMode const mode = port.value.mode;
    if (mode == VlanPortMode::none || !portForwards(states.find(port.key))) continue;
    if (isPlain(port.key)) {
      *end++ = {port.key, outLif, mode == VlanPortMode::tagged ? tagged : 0};
    } else {
      all = false;
    }
  }
  vlanPortFilter_ |= vlan_.bits.bits(run, end, [](PortVlan const & pv) { return pv.port; });
  if (peerLink_ || traceHandle.enabled(9)) {
    for (PortVlan const & pv : std::span(run, end)) {
      ZET_TRACE(9, "adding port " << pv.port << " from vid " << vlan_.vid);
      noteOrphan(pv.port, true);
    }
  }
  if (explanation_) [[unlikely]] {
    for (PortVlan const & pv : std::span(run, end)) tell(pv, PortVerdict::member);
  }
  pvSet_.filled(static_cast<U32>(end - run));
  return all;
}

void Expansion::doAddConfiguredPorts() {
  auto const * config = root_.brConfig()->vlanConfig().find(vlan_.vid);
  if (!config) return;
  for (IntfId port : config->intf().items()) {
    if (isLag(port) || isForwarding(*vlan_.topo, port)) {
      doAddVlanPort(port);
    } else {
      explain({port, OutLif(vlan_.vid), 0}, PortVerdict::notForwarding);
    }
  }
}

void Expansion::doAddVlanPort(IntfId port) {
  if (!notePeerLink(port)) {
    noteOrphan(port, maybeAddPvToPvSet(vlan_.vid, {port, outLifOf(port), 0}));
  }
}

// The same for a port that is known to be in the VLAN.
void Expansion::doAddVlanPort(IntfId port, Bridging::VlanPortStatus status) {
  if (!notePeerLink(port)) noteOrphan(port, addPv({port, OutLif(vlan_.vid), 0}, status));
}

bool Expansion::notePeerLink(IntfId port) {
  if (port != peerLink_) return false;
  ZET_TRACE(9, "peerLink present " << port);
  peerLinkPresent_ = true;
  return true;
}

// MLAG peers each reach their own ports: a floodset over the peer link would loop unless somebody
// behind it can be reached in no other way.
void Expansion::doAddPeerLink() {
  Mlag::Status const & mlag = *root_.mlagStatus();
  auto const * config = root_.brConfig()->vlanConfig().find(vlan_.vid);
  bool macLearning = config && config->macLearning();
  if (!orphanPresent_ && !macLearning && mlag.active() && isFloodset()) {
    ZET_TRACE(9, "not adding peerlink");
    return;
  }
  ZET_TRACE(9, "adding peer link " << peerLink_);
  maybeAddPvToPvSet(vlan_.vid, {peerLink_, outLifOf(peerLink_), 0});
}

void Expansion::doAddMrouterPorts() {
  ZET_TRACE(9, "doAddMrouterPorts");
  if (helper_) doAddTunnels();
  if (vlan_.snooping) doOffer(vlan_.snooping->routerIntf(), PortWish::router);
}

// The helper knows the tunnels: without one there are none.
void Expansion::doAddTunnels() {
  maybeAddVxlanVtepToPvSet();
  maybeAddEvpnTunnelsToPvSet();
}

void Expansion::maybeAddVxlanVtepToPvSet() {
  VlanId vid = vlan_.vid;
  RouteKeyType kind = for_.forwardingType;
  if (kind == multicastFloodset_ && root_.pimVxlanStatus() &&
      root_.pimVxlanStatus()->vxlanIntf(IntfId::ofVlan(vid))) {
    return;  // PIM over VXLAN carries this VLAN's multicast itself
  }
  if (!root_.vxlanVlan(vid)) return;
  if (isL2Set() && helper_->useVxlanCoreSideFloodset()) {
    PortVlanSet vteps = helper_->doGetVtepFloodsetPortOutLifSet(vid);
    ZET_TRACE(9, "Vtep Floodset: " << vteps.pretty());
    for (PortVlan const & pv : vteps.portVlan().items()) {
      ZET_TRACE(9, "Vtep path: (port: " << pv.port << " outLif: " << pv.outLif << " )");
      maybeAddPvToPvSet(vid, pv);
    }
  }
  if (kind == mroute_ && helper_->floodToAllVteps()) {
    ZET_TRACE(9, "Adding AP Vtep floodset, " << vid);
    vlan_.wish = PortWish::vteps;
    maybeAddPvToPvSet(vid, {IntfId("Vxlan1"), OutLif(vid), 0});
  }
}

void Expansion::maybeAddEvpnTunnelsToPvSet() {
  if (!isL2Set()) return;
  PortVlanSet tunnels = helper_->doGetEvpnTunnelFloodsetPortOutLifSet(vlan_.vid);
  ZET_TRACE(9, "Tunnel Floodset: " << tunnels.pretty());
  for (PortVlan const & pv : tunnels.portVlan().items()) {
    ZET_TRACE(9, "Tunnel path: ( port: " << pv.port << " outLif: " << pv.outLif << " )");
    maybeAddPvToPvSet(vlan_.vid, pv);
  }
}

OutLif Expansion::outLifOf(IntfId port) const {
  return helper_ ? helper_->doGetOutLifValue(vlan_.vid, port, for_.forwardingType)
                 : OutLif(vlan_.vid);
}

bool Expansion::isLag(IntfId port) const {
  return helper_ ? helper_->isIntfLag(port) : Nettle::PortChannelIntfId::isPortChannelIntfId(port);
}

bool Expansion::floodingDisabled(IntfId port) const {
  if (!isFloodset() && for_.forwardingType != evpnMultihomeFloodset_) return false;
  auto const * config = root_.brConfig()->switchIntfConfig().find(port);
  return config && (!config->floodingEnabled() ||
                    config->switchportMode() == Bridging::SwitchIntfConfig::modeNoFlooding);
}

// Interfaces that are no output of a chip, by the kind of their name.
bool Expansion::refusedByKind(PortVlan const & pv, bool inVlan) {
  IntfId port = pv.port;
  switch (port.kind()) {
    case IntfKind::vxlanTunnel:
      ZET_TRACE(9, "Ignoring vxlan interface " << port);
      return true;
    case IntfKind::peerEthernet:
    case IntfKind::peerPortChannel:
      ZET_TRACE(9, port << " is peer port");
      return true;
    case IntfKind::cpu:
      ZET_TRACE(9, port << " is cpu port");
      cpuPresent_ = true;
      return true;
    case IntfKind::subIntf:
      if (pv.outLif == OutLif()) {
        ZET_TRACE(9, "Ignoring subintf " << port);
        return true;
      }
      if (pv.isOutLif() && !inVlan) {
        ZET_TRACE(9, "Ignoring l2 subintf " << port);
        return true;
      }
      return false;
    default:
      return false;
  }
}

// The member as this kind of set holds it. Where L2 sets ignore the VLAN they carry no OutLif at
// all, also none of a tunnel: they send by port alone. A group request is another thing: all its
// members may be logical interfaces, and stay so when its LAGs are resolved.
PortVlan Expansion::memberOf(PortVlan const & pv, bool tagged) const {
  OutLif outLif = isL2Set() && root_.ignoreVlanForL2Groups() ? OutLif() : pv.outLif;
  bool marked = tagged && (root_.portPropertyMask() & taggedPortProperty);
  return {pv.port, outLif, marked ? taggedPortProperty : 0};
}

bool Expansion::maybeAddPvToPvSet(VlanId vid, PortVlan const & pv) {
  if (vlan_.vid != vid || !vlan_.status) vlanIs(vid);
  auto const * found = vlan_.status ? vlan_.status->vlanPortStatus().find(pv.port) : nullptr;
  return addPv(pv, found ? *found : Bridging::VlanPortStatus());
}

bool Expansion::addPv(PortVlan const & pv, Bridging::VlanPortStatus status) {
  IntfId port = pv.port;
  bool inVlan = status.mode != VlanPortMode::none;
  if (floodingDisabled(port)) {
    ZET_TRACE(9, "Flooding is disabled for port " << port);
    return false;
  }
  bool lag = isLag(port);
  if (!inVlan && !pv.isOutLif() && !(lag && root_.configuredLagMembersInOifSet()) &&
      port.kind() != IntfKind::vxlan) {
    ZET_TRACE(9, "Port " << port << " not in Bridging::VlanStatus");
    return refused(pv, PortVerdict::notInVlan);
  }
  if (port.kind() > IntfKind::ethernet && refusedByKind(pv, inVlan)) {
    return refused(pv, PortVerdict::notAnOutput);
  }

  vlanPortFilter_ |= vlan_.bits.bit(port);
  if (lag) lagFilter_ |= lagBit(port);
  ZET_TRACE(9, (lag ? "adding lag " : "adding port ") << port << " from vid " << vlan_.vid);
  PortVlan member = memberOf(pv, status.mode == VlanPortMode::tagged);
  PortVlanSet & set = lag ? lagPvSet_ : pvSet_;
  if (traceHandle.enabled(9) && isPvInPvSet(member, set)) {
    ZET_TRACE(9, port << (lag ? " has already existed in the lagPvset"
                              : " has already existed in the pvset"));
  }
  explain(member, PortVerdict::member);
  set.append(member);  // which holds it once, too
  return true;
}

// --- For who wants to know

void Expansion::tell(PortVlan const & pv, PortVerdict verdict) {
  explanation_->portIs({vlan_.vid, pv.port, pv.outLif, vlan_.wish, verdict});
}

// Ports of the VLAN that nothing has been said of are those that a walk over fewer has not met.
void Expansion::tellRest(PortVerdict why) {
  for (auto const & port : vlan_.status->vlanPortStatus().items()) {
    if (port.value.mode == VlanPortMode::none) continue;
    explanation_->portIs({vlan_.vid, port.key, OutLif(vlan_.vid), PortWish::nobody, why});
  }
}

void Expansion::explainWithout(VlanId vid, VlanVerdict why, PortVerdict ports) {
  if (!explanation_) return;
  vlanIs(vid);
  explainVlan(why);
  explainRest(ports);
}

}  // namespace Brindle
