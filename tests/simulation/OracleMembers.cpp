// How a VLAN becomes ports, and a LAG its members.
#include <charconv>
#include <string_view>

#include "tests/simulation/Oracle.h"

namespace Simulation {

using Bridging::VlanId;
using Bridging::VlanPortMode;
using Brindle::OutLif;
using Brindle::PortVlan;
using Nettle::IntfId;
using Nettle::IntfKind;

namespace {

// The permutation of the hash that chooses the designated member of a LAG, in hexadecimal.
constexpr std::string_view permutation =
    "fbaf77d7510e4fbf6731b58fba9d00e81f20373c983a11edae46a090dc5a39df"
    "3b03128c6fa6cbc486f37c5fdeb3c541b430240f6b2ee982a51e7ba1d1176110"
    "285bdb3d640ad26dfa7f168a1d6cf443cf09b2cc4a627ef9a774224dc1c87905"
    "14714723800db65e19e2e3c74b1b29f5e6e02be1b11a9b96d48eda73f1495869"
    "27723effc0c991d6a89edd949a7a0c5452a32c8be4eccdf2d90bbb929f4056ef"
    "c32a6ac67670b8ac5702ad75b0e5f7fd89b963a466932d42e7348dd3c2cef6ee"
    "386e4ef83ff0bd5d5c3335b713ab48322168654508fc53784c875536ca7dbcd5"
    "60eb88d0a281be849c262f0107fe1804d88359151c8525999550aa4406a9ea97";
static_assert(permutation.size() == 512);

U8 permuted(U8 at) {
  unsigned value = 0;
  std::from_chars(&permutation[2u * at], &permutation[2u * at] + 2, value, 16);
  return static_cast<U8>(value);
}

U8 chosenBy(U32 vlan, Nettle::EthAddr const & mac) {
  std::vector<U8> input = {static_cast<U8>(vlan >> 8), static_cast<U8>(vlan)};
  input.insert(input.end(), mac.bytes().begin(), mac.bytes().end());
  U8 hash = 0;
  for (U8 byte : input) hash = permuted(hash ^ byte);
  return hash;
}

Nettle::EthAddr macOf(Key const & key) {
  auto const & b = key.group().address().bytes();
  if (key.group().address().isV4()) {
    return Nettle::EthAddr({0x01, 0x00, 0x5e, static_cast<U8>(b[1] & 0x7f), b[2], b[3]});
  }
  return Nettle::EthAddr({0x33, 0x33, b[12], b[13], b[14], b[15]});
}

bool isPeer(IntfId port) {
  return port.kind() == IntfKind::peerEthernet || port.kind() == IntfKind::peerPortChannel;
}

bool isLag(IntfId port) { return port.kind() == IntfKind::portChannel; }

}  // namespace

bool Oracle::forwards(U32 vlan, IntfId port) const {
  auto const * tree = records_.brTopo->vidToTopoMap(VlanId(vlan));
  auto const * state = tree ? tree->topoPortConfig(port) : nullptr;
  return state && state->state() == Bridging::Topology::PortState::forwarding;
}

U32 Oracle::forwardingPorts(U32 vlan) const {
  auto const * status = vlan ? records_.vlanStatusDir->vlanStatus(VlanId(vlan)) : nullptr;
  if (!status) return 0;
  U32 count = 0;
  for (auto const & port : status->vlanPortStatus().items()) {
    bool const counts = port.value.mode != VlanPortMode::none && port.key.kind() != IntfKind::cpu;
    if (counts && forwards(vlan, port.key)) ++count;
  }
  return count;
}

Oracle::Members Oracle::vlanMembers(U32 vlan, Key const & key) const {
  Members out;
  VlanId const vid(vlan);
  if (!records_.vlanStatusDir->vlanStatus(vid) || !records_.brTopo->vidToTopoMap(vid)) return out;
  auto const * snooping = records_.snooping->vlanStatus(vid);
  bool const v6 = host_.routeTables().af() == Nettle::ipv6();
  if (v6 || !snooping || snooping->useVlanFloodset() || !key.group().isHost()) {
    addPorts(vlan, out);
  } else {
    addListeners(vlan, key, out);
  }
  addTunnels(vlan, out);
  return out;
}

// All that forward, or all that are configured.
void Oracle::addPorts(U32 vlan, Members & out) const {
  if (!host_.settings().configuredLagMembers) {
    auto const * tree = records_.brTopo->vidToTopoMap(VlanId(vlan));
    for (auto const & port : tree->topoPortConfig().items()) {
      if (forwards(vlan, port.key)) addPort(vlan, port.key, out);
    }
    return;
  }
  auto const * config = records_.brConfig->vlanConfig(VlanId(vlan));
  if (!config) return;
  for (IntfId port : config->intf().items()) {
    if (isLag(port) || forwards(vlan, port)) addPort(vlan, port, out);
  }
}

void Oracle::addListeners(U32 vlan, Key const & key, Members & out) const {
  auto const * snooping = records_.snooping->vlanStatus(VlanId(vlan));
  std::set<IntfId> listeners;
  if (auto const * group = snooping->ethGroup(macOf(key))) {
    for (IntfId port : group->intf().items()) listeners.insert(port);
  }
  for (IntfId port : snooping->routerIntf().items()) listeners.insert(port);
  for (IntfId port : listeners) {
    if (forwards(vlan, port)) addPort(vlan, port, out);
  }
}

void Oracle::addTunnels(U32 vlan, Members & out) const {
  auto const & policy = host_.policy();
  if (!policy.floodToVteps || !policy.vxlanVlans.contains(VlanId(vlan))) return;
  addPort(vlan, IntfId("Vxlan1"), out);
}

void Oracle::addPort(U32 vlan, IntfId port, Members & out) const {
  auto const mode = records_.vlanStatusDir->vlanStatus(VlanId(vlan))->vlanPortStatus(port).mode;
  bool const byConfig = host_.settings().configuredLagMembers && isLag(port);
  bool const inVlan = mode != VlanPortMode::none || port.kind() == IntfKind::vxlan || byConfig;
  bool const refused =
      port.kind() == IntfKind::vxlanTunnel || port.kind() == IntfKind::cpu || isPeer(port);
  if (!inVlan || refused) return;
  bool const tagged = host_.settings().taggedPorts && mode == VlanPortMode::tagged;
  out.insert({port, OutLif(vlan), tagged ? 2u : 0u});
}

// --- LAGs

Oracle::Members Oracle::resolvedLags(Members const & members, U32 chooser, Key const & key) const {
  Members out;
  for (auto const & one : members) {
    if (isLag(one.port)) {
      resolveLag(one, chooser, key, out);
    } else {
      out.insert(one);
    }
  }
  return out;
}

void Oracle::resolveLag(PortVlan const & lag, U32 chooser, Key const & key, Members & out) const {
  auto const add = [&](IntfId port) { out.insert({port, lag.outLif, lag.portProperty}); };
  auto const operation = host_.settings().lagOperation;
  if (!records_.lagStatusDir->intfStatus(lag.port)) {
    auto const * pair = records_.mlagStatus->intfStatus(lag.port);
    if (pair && pair->localIntf()) add(pair->localIntf());
  } else if (operation == Brindle::lagPass && host_.policy().hardwareLags.contains(lag.port)) {
    add(lag.port);
  } else if (operation == Brindle::lagDesignated) {
    auto const ports = lagMembers(lag.port, false);
    if (!ports.empty()) add(ports[chosenBy(chooser, macOf(key)) % ports.size()]);
  } else {
    for (IntfId port : lagMembers(lag.port, host_.settings().configuredLagMembers)) add(port);
  }
}

// In the order of names.
std::vector<IntfId> Oracle::lagMembers(IntfId lag, bool configured) const {
  std::set<IntfId> ports;
  if (configured) {
    for (auto const & port : records_.lagConfigDir->phyIntf().items()) {
      if (port.value->lag() != lag) continue;
      // A port of the peer goes by the name that the peer has for it.
      IntfId const peers = Nettle::PeerEthIntfId::peer(port.key);
      ports.insert(peers ? peers : port.key);
    }
  } else {
    for (IntfId port : records_.lagStatusDir->intfStatus(lag)->member().items()) ports.insert(port);
  }
  std::erase_if(ports, isPeer);
  return {ports.begin(), ports.end()};
}

}  // namespace Simulation
