#include "tests/simulation/OraclePorts.h"

#include <charconv>
#include <string_view>
#include <vector>

namespace Simulation {

using Brindle::PortVlan;
using Brindle::Sim::Host;
using Brindle::Sim::Records;
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

// In the order of names.
std::vector<IntfId> lagMembers(Records const & records, IntfId lag, bool configured) {
  std::set<IntfId> ports;
  if (configured) {
    for (auto const & port : records.lagConfigDir->phyIntf().items()) {
      if (port.value->lag() != lag) continue;
      // A port of the peer goes by the name that the peer has for it.
      IntfId const peers = Nettle::PeerEthIntfId::peer(port.key);
      ports.insert(peers ? peers : port.key);
    }
  } else {
    for (IntfId port : records.lagStatusDir->intfStatus(lag)->member().items()) ports.insert(port);
  }
  std::erase_if(ports, isPeer);
  return {ports.begin(), ports.end()};
}

void resolveLag(Host const & host, PortVlan const & lag, U32 chooser, Nettle::EthAddr const & mac,
                std::set<PortVlan> & out) {
  auto const & records = host.records();
  auto const add = [&](IntfId port) { out.insert({port, lag.outLif, lag.portProperty}); };
  auto const operation = host.settings().lagOperation;
  bool const chipsKnow = !host.settings().policy || host.policy().hardwareLags.contains(lag.port);
  if (!records.lagStatusDir->intfStatus(lag.port)) {
    auto const * pair = records.mlagStatus->intfStatus(lag.port);
    if (pair && pair->localIntf()) add(pair->localIntf());
  } else if (operation == Brindle::lagPass && chipsKnow) {
    add(lag.port);
  } else if (operation == Brindle::lagDesignated) {
    auto const ports = lagMembers(records, lag.port, false);
    if (!ports.empty()) add(ports[chosenBy(chooser, mac) % ports.size()]);
  } else {
    for (IntfId port : lagMembers(records, lag.port, host.settings().configuredLagMembers)) {
      add(port);
    }
  }
}

}  // namespace

bool isPeer(IntfId port) {
  return port.kind() == IntfKind::peerEthernet || port.kind() == IntfKind::peerPortChannel;
}

bool isLag(IntfId port) { return port.kind() == IntfKind::portChannel; }

bool forwards(Records const & records, U32 vlan, IntfId port) {
  auto const * tree = records.brTopo->vidToTopoMap(Bridging::VlanId(vlan));
  auto const * state = tree ? tree->topoPortConfig(port) : nullptr;
  return state && state->state() == Bridging::Topology::PortState::forwarding;
}

std::set<IntfId> floodedPorts(Host const & host, U32 vlan) {
  auto const & records = host.records();
  std::set<IntfId> out;
  if (!host.settings().configuredLagMembers) {
    auto const * tree = records.brTopo->vidToTopoMap(Bridging::VlanId(vlan));
    for (auto const & port : tree->topoPortConfig().items()) {
      if (forwards(records, vlan, port.key)) out.insert(port.key);
    }
  } else if (auto const * config = records.brConfig->vlanConfig(Bridging::VlanId(vlan))) {
    for (IntfId port : config->intf().items()) {
      if (isLag(port) || forwards(records, vlan, port)) out.insert(port);
    }
  }
  return out;
}

std::set<PortVlan> resolvedLags(Host const & host, std::set<PortVlan> const & members, U32 chooser,
                                Nettle::EthAddr const & mac) {
  std::set<PortVlan> out;
  for (auto const & one : members) {
    if (isLag(one.port)) {
      resolveLag(host, one, chooser, mac, out);
    } else {
      out.insert(one);
    }
  }
  return out;
}

}  // namespace Simulation
