#include "tests/simulation/OracleFloodsets.h"

#include "tests/simulation/OraclePorts.h"

namespace Simulation {

using namespace Routing::Multicast::Fib;
using Bridging::VlanId;
using Bridging::VlanPortMode;
using Brindle::OutLif;
using Nettle::EthAddr;
using Nettle::IntfId;
using Nettle::IntfKind;

namespace {

bool isSnooped(EthAddr const & mac) {
  return mac.bytes()[0] == 0x01 && mac.bytes()[1] == 0x00 && mac.bytes()[2] == 0x5e;
}

// What the choice of a LAG's port takes for a group's address.
EthAddr macOf(Key const & key) {
  if (key.kind() == ethGroup_) return key.ethAddr();
  if (key.kind() == multicastFloodset_) return EthAddr({0, 0, 0, 0, 0, 1});
  if (key.kind() == vxlanCoreSideFloodset_) return EthAddr({0, 0, 0, 0, 0, 2});
  return EthAddr({0, 0, 0, 0, 0, 0});
}

}  // namespace

std::string ExpectedFloodset::text() const {
  std::string text = outputs.text() + " kind=" + std::to_string(kind);
  if (toTunnels) text += " flags=2";
  if (shared) text += " shared";
  return text;
}

FloodsetOracle::FloodsetOracle(Brindle::Sim::Host const & host, Vlans const & treeless)
    : host_(host),
      records_(host.records()),
      treeless_(treeless) {}

// --- Which stand

FloodsetOracle::Keys FloodsetOracle::floodsets() const {
  return host_.settings().l2Enabled ? wanted() : Keys();
}

FloodsetOracle::Keys FloodsetOracle::wantedElsewhere() const {
  if (host_.settings().l2Enabled) return {};
  Keys out = wanted();
  // A VLAN is looked at when it is turned on and when it changes, if it is on then.
  for (auto & [key, route] : out) {
    bool const up = records_.vlanStatusDir->vlanStatus(key.vlanId());
    if (!up && key.kind() != ethGroup_) route.mayStand = true;
  }
  std::erase_if(out, [this](auto const & one) {
    bool const here = one.first.kind() == evpnMultihomeFloodset_;
    return here || !host_.policy().l2Vlans.contains(one.first.vlanId());
  });
  return out;
}

// There are none of IPv6.
FloodsetOracle::Keys FloodsetOracle::wanted() const {
  Keys out;
  if (host_.routeTables().af() == Nettle::ipv6()) return out;
  for (VlanId vlan : floodedVlans()) {
    add(out, makeRouteKeyVlanFloodset(vlan));
    add(out, makeRouteKeyMulticastFloodset(vlan));
    addCoreSide(vlan, out);
  }
  addLearnedGroups(out);
  addConfiguredGroups(out);
  addPeers(out);
  return out;
}

void FloodsetOracle::add(Keys & out, Key const & key, Standing standing) const {
  auto & route = out[key] = expected(key);
  route.mayStand = standing != must;
  route.leftAlone = standing == mayAsItWas;
}

// Those that are up, and those that are extended.
FloodsetOracle::Vlans FloodsetOracle::floodedVlans() const {
  Vlans out;
  auto const & up = records_.vlanStatusDir->vlanStatus();
  for (auto i = up.begin(); i; i.advance()) out.insert(i.key());
  for (VlanId vlan : host_.policy().vxlanVlans.items()) out.insert(vlan);
  return out;
}

// PIM over VXLAN gives one to each VLAN that is up and has a spanning tree when its first interface
// comes, and to each that comes up later. When its last interface goes it takes them from the same
// VLANs, but leaves them to those that are extended.
void FloodsetOracle::addCoreSide(VlanId vlan, Keys & out) const {
  Key const key = makeRouteKeyVxlanCoreSideFloodset(vlan);
  bool const extended = host_.policy().vxlanVlans.contains(vlan);
  bool const byPim = !records_.pimVxlanStatus->vxlanIntf().empty();
  bool const up = records_.vlanStatusDir->vlanStatus(vlan);
  bool const treeless = treeless_.count(vlan) != 0;
  if ((extended && host_.policy().coreSideFloodset) || (up && byPim && !treeless)) {
    add(out, key);
  } else if (extended || treeless) {
    add(out, key, may);
  }
}

// Where PIM runs it takes care of groups, unless told otherwise.
void FloodsetOracle::addLearnedGroups(Keys & out) const {
  auto const & snooping = records_.snooping->vlanStatus();
  for (auto vlan = snooping.begin(); vlan; vlan.advance()) {
    bool const routed = records_.pimEnabled->pimVlanEnabled(vlan.key());
    if (routed && !host_.settings().ignorePimConfigForL2Routes) continue;
    if (vlan->useVlanFloodset()) continue;
    auto const & groups = vlan->ethGroup();
    for (auto i = groups.begin(); i; i.advance()) {
      add(out, makeRouteKeyEthGroup(vlan.key(), i.key()));
    }
  }
}

// Whether their VLAN is up or not.
void FloodsetOracle::addConfiguredGroups(Keys & out) const {
  auto const & fdbs = records_.brConfig->fdbConfig();
  for (auto vlan = fdbs.begin(); vlan; vlan.advance()) {
    auto const & groups = vlan->ethGroup();
    for (auto i = groups.begin(); i; i.advance()) {
      if (!isSnooped(i.key())) add(out, makeRouteKeyEthGroup(vlan.key(), i.key()));
    }
  }
}

// One whose filter is not complete gets no route, but keeps the one that it had.
void FloodsetOracle::addPeers(Keys & out) const {
  if (!host_.policy().evpn) return;
  auto const & vlans = records_.vlanFilteredFloodSetDir->vlanFloodSet();
  for (auto vlan = vlans.begin(); vlan; vlan.advance()) {
    auto const & peers = vlan->tepFilter();
    for (auto peer = peers.begin(); peer; peer.advance()) {
      add(out, makeRouteKeyEvpnMultihomeFloodset(vlan.key(), peer.key()),
          peer->initialSyncComplete() ? must : mayAsItWas);
    }
  }
}

// --- What is in them

bool FloodsetOracle::Set::isFloodset() const { return kind != ethGroup_; }

bool FloodsetOracle::Set::isOfVlan() const {
  return kind == vlanFloodset_ || kind == multicastFloodset_ || kind == ethGroup_;
}

ExpectedFloodset FloodsetOracle::expected(Key const & key) const {
  auto const & settings = host_.settings();
  auto const & policy = host_.policy();
  Set set{key.kind(), key.vlanId(), macOf(key), {}};
  ExpectedFloodset out{key.kind(), key.vlanId().value(), {}};
  out.outputs.members = membersOf(set, key);
  out.outputs.toCpu =
      set.kind == multicastFloodset_ ? records_.pimEnabled->pimVlanEnabled(set.vlan) : set.cpu;
  out.outputs.vlan = settings.ignoreVlanForL2Groups ? 0 : out.vlan;
  out.shared = settings.allowL2FloodsetSharing;
  out.toTunnels = policy.vxlanVlans.contains(set.vlan) && !policy.coreSideFloodset;
  return out;
}

FloodsetOracle::Members FloodsetOracle::membersOf(Set & set, Key const & key) const {
  bool const stands =
      records_.vlanStatusDir->vlanStatus(set.vlan) && records_.brTopo->vidToTopoMap(set.vlan);
  bool const silent = set.isFloodset() && host_.settings().disableL2Flooding;
  if (!stands || silent) return {};
  if (set.kind == evpnMultihomeFloodset_) {
    addFilter(set, key.evpnTepIp());
  } else {
    addVlan(set);
  }
  return resolvedLags(host_, set.members, set.vlan.value(), set.mac);
}

// The peer's ports are told one by one, whether they forward or not.
void FloodsetOracle::addFilter(Set & set, Nettle::IpGenAddr const & peer) const {
  auto const * peers = records_.vlanFilteredFloodSetDir->vlanFloodSet(set.vlan);
  for (IntfId port : peers->tepFilter(peer)->floodFilter().items()) addPort(set, port);
}

void FloodsetOracle::addVlan(Set & set) const {
  auto const & settings = host_.settings();
  if (set.kind == ethGroup_ && !isSnooped(set.mac)) {
    auto const * fdb = records_.brConfig->fdbConfig(set.vlan);
    if (auto const * group = fdb ? fdb->ethGroup(set.mac) : nullptr)
      addListeners(set, group->intf());
    return;
  }
  auto const * snooping = records_.snooping->vlanStatus(set.vlan);
  bool const routed = records_.pimEnabled->pimVlanEnabled(set.vlan);
  bool const unknownMulticast = set.kind == multicastFloodset_;
  if (!snooping || snooping->useVlanFloodset() || (set.isFloodset() && !unknownMulticast) ||
      (unknownMulticast && routed && settings.floodToVlanWithPim)) {
    return addPorts(set);
  }
  if (auto const * group = snooping->ethGroup(set.mac)) addListeners(set, group->intf());
  addListeners(set, snooping->routerIntf());
  addTunnels(set);
}

void FloodsetOracle::addListeners(Set & set, Zet::OrderedSet<IntfId> const & ports) const {
  for (IntfId port : ports.items()) {
    if (forwards(records_, set.vlan.value(), port)) addPort(set, port);
  }
}

void FloodsetOracle::addPorts(Set & set) const {
  auto const & pair = *records_.mlagStatus;
  auto ports = floodedPorts(host_, set.vlan.value());
  bool const linked = ports.erase(pair.peerLinkIntf()) != 0;
  bool orphans = false;
  for (IntfId port : ports) orphans |= addPort(set, port) && isOrphan(port);
  // A flood would come back by the other switch, unless somebody is behind this one alone.
  auto const * config = records_.brConfig->vlanConfig(set.vlan);
  bool const learns = config && config->macLearning();
  bool const loops = pair.active() && !orphans && !learns && set.isFloodset();
  if (linked && !loops) addPort(set, pair.peerLinkIntf());
  addTunnels(set);
}

bool FloodsetOracle::isOrphan(IntfId port) const {
  auto const * pair = records_.mlagStatus->intfStatus(port);
  return !pair || pair->state() != Mlag::IntfState::activeFull;
}

// The VTEPs that the platform tells of.
void FloodsetOracle::addTunnels(Set & set) const {
  auto const & policy = host_.policy();
  if (!set.isOfVlan() || !policy.coreSideFloodset || !policy.vxlanVlans.contains(set.vlan)) return;
  // PIM takes the multicast of its VLANs to the core itself.
  IntfId const routed("Vlan" + std::to_string(set.vlan.value()));
  if (set.kind == multicastFloodset_ && records_.pimVxlanStatus->vxlanIntf(routed)) return;
  for (auto const & vtep : policy.vteps.portVlan().items()) addMember(set, vtep.port, vtep.outLif);
}

bool FloodsetOracle::addPort(Set & set, IntfId port) const {
  return addMember(set, port, OutLif(set.vlan));
}

// True if it counts as a port of the VLAN.
bool FloodsetOracle::addMember(Set & set, IntfId port, OutLif outLif) const {
  auto const & settings = host_.settings();
  auto const * flooding = records_.brConfig->switchIntfConfig(port);
  bool const floods = !flooding || (flooding->floodingEnabled() && flooding->switchportMode() != 6);
  if (set.isFloodset() && !floods) return false;
  auto const mode = records_.vlanStatusDir->vlanStatus(set.vlan)->vlanPortStatus(port).mode;
  bool const inVlan = mode != VlanPortMode::none;
  bool const isTunnel = outLif.value() > 4094;
  bool const byConfig = settings.configuredLagMembers && isLag(port);
  if (!inVlan && !isTunnel && !byConfig && port.kind() != IntfKind::vxlan) return false;
  if (port.kind() == IntfKind::vxlanTunnel || isPeer(port)) return false;
  set.cpu |= port.kind() == IntfKind::cpu;
  if (port.kind() == IntfKind::cpu) return false;
  bool const refusedSubIntf = outLif.value() == 0 || (isTunnel && !inVlan);
  if (port.kind() == IntfKind::subIntf && refusedSubIntf) return false;
  bool const tagged = settings.taggedPorts && mode == VlanPortMode::tagged;
  bool const plain = set.isOfVlan() && settings.ignoreVlanForL2Groups;
  set.members.insert({port, plain ? OutLif() : outLif, tagged ? 2u : 0u});
  return true;
}

}  // namespace Simulation
