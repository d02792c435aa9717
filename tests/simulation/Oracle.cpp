#include "tests/simulation/Oracle.h"

#include <algorithm>

namespace Simulation {

using namespace Shoal::Multicast::Fib;
using Brindle::PortVlan;
using Nettle::IntfId;

namespace {

std::string textOf(PortVlan const & member) {
  std::string text = std::string(member.port.view()) + "@" + std::to_string(member.outLif.value());
  if (member.portProperty) text += "/" + std::to_string(member.portProperty);
  return text + " ";
}

Nettle::IntfId const & null0() {
  static IntfId const intf("Null0");
  return intf;
}

}  // namespace

std::string Outputs::text() const {
  std::string text;
  for (auto const & one : members) text += textOf(one);
  for (U32 one : nat) text += "nat=" + std::to_string(one) + " ";
  if (toCpu) text += "cpu ";
  if (fastdrop) text += "drop ";
  return text + "in=" + std::to_string(vlan);
}

std::string textOf(Brindle::PortVlanSet const & set) {
  Outputs out{{}, {}, set.toCpu(), set.fastdropSet(), set.vlan()};
  for (auto const & one : set.portVlan().items()) out.members.insert(one);
  for (auto one : set.natVlan().items()) out.nat.insert(one.value());
  std::string text = out.text();
  if (set.keyKind() != Routing::Multicast::Fib::mroute_) {
    text += " kind=" + std::to_string(set.keyKind());
  }
  if (set.featureFlag()) text += " feature=" + std::to_string(set.featureFlag());
  if (set.flags()) text += " flags=" + std::to_string(set.flags());
  if (set.allowSharing()) text += " shared";
  return text;
}

bool chipsAnswerLater(Brindle::Sim::Host const & host) { return host.hardware().reviewConfig(); }

L3::VrfName vrfOf(std::string const & table) {
  return L3::VrfName(std::string_view(table).substr(table.find('.') + 1));
}

Oracle::Oracle(Brindle::Sim::Host const & host, std::vector<ReadTable> const & tables)
    : host_(host),
      records_(host.records()),
      tables_(tables) {}

// --- Which routes stand

bool Oracle::routed(L3::VrfName vrf) const {
  auto const * config = records_.mfibVrfConfig->config(vrf);
  auto const * info = host_.routingInfo(vrf);
  bool const read = std::any_of(tables_.begin(), tables_.end(),
                                [&](auto const & table) { return vrfOf(table.name) == vrf; });
  if (!read) return false;
  bool const isDefault = vrf == L3::VrfName::defaultVrf();
  if (!isDefault && (!config || !info || !records_.allVrfStatusLocal->vrf(vrf))) return false;
  if (!info) return true;
  return info->routing() && config && config->routing() && records_.hardware->hwRouting();
}

std::map<RouteName, ExpectedRoute> Oracle::routes() const {
  std::map<RouteName, std::vector<Published>> published;
  for (auto const & table : tables_) {
    L3::VrfName const vrf = vrfOf(table.name);
    if (!routed(vrf)) continue;
    for (auto i = table.routes->routeBegin(); i; i.advance()) {
      published[{vrf, i.key()}].push_back({table.routes, table.routes->route(i.key())});
    }
  }
  std::map<RouteName, ExpectedRoute> out;
  for (auto const & [name, records] : published) out.emplace(name, expected(name, records));
  return out;
}

ExpectedRoute Oracle::expected(RouteName const & name,
                               std::vector<Published> const & published) const {
  auto const best =
      std::max_element(published.begin(), published.end(), [](auto const & a, auto const & b) {
        return a.route.priority() < b.route.priority();  // the first of equals
      });
  ExpectedRoute out;
  compute(*best, out);
  judgeStanding(name, published, out);
  auto const source = name.key.source();
  bool const later = chipsAnswerLater(host_);
  out.programmed = later || source.isHost() || name.key.isStarG();
  out.needsEntry = out.vlan || out.rpa || (out.noRpf && !later);
  return out;
}

// A route is taken in when it is published, and computed while its accepting interface is in the
// VRF; both look at what was true then.
void Oracle::judgeStanding(RouteName const & name, std::vector<Published> const & published,
                           ExpectedRoute & out) const {
  auto const leave = [&out](char const * why) {
    out.standing = ExpectedRoute::leftAsItIs;
    out.why = why;
  };
  auto const maybe = [&out](char const * why) {
    out.standing = ExpectedRoute::mayStand;
    out.why = why;
  };
  for (auto const & [table, route] : published) {
    if (!route.iifFrr() || vlanOf(route.iif())) continue;
    maybe("fast-reroute: its primary input had a VLAN when it came");
  }
  for (auto const & [table, route] : published) {
    if (route.iifFrr() && vlanOf(route.iifFrr()) && !vlanOf(route.iif())) {
      return leave("a fast-reroute input without a primary one");
    }
    if (route.iif() && route.iif() != null0() && !inVrf(route.iif(), name.vrf)) {
      return leave("the accepting interface is in another VRF");
    }
    if (!out.vlan && out.rpa >= rpaInvalid) return leave("no such rendezvous point");
  }
}

// --- The content of one route

// One pass over the outputs of a record.
struct Oracle::Walk {
  Key const & key;
  Route const & route;
  ExpectedRoute & out;
  bool acceptSeen = false;
  bool notifySeen = false;
  bool fastdropSeen = false;
};

void Oracle::compute(Published const & best, ExpectedRoute & out) const {
  Route const & route = best.route;
  Key const key = route.key();
  out.record = route;
  out.table = best.table;
  out.rpa = route.rpaId();
  Walk walk{key, route, out};
  for (auto i = route.oifIteratorConst(); i; i.advance()) {
    auto const oif = best.table->oifIndexIntf(i.index());
    member(walk, oif, vlanOf(oif.intf));
  }
  out.outputs.members = resolvedLags(out.outputs.members, out.vlan, key);
  out.outputs.toCpu = route.flags() & Route::toCpu;
  out.outputs.vlan = records_.hardware->needIifInOifSet() ? out.vlan : 0;
  if (auto const * nat = records_.staticNatInfo->ipInfo().find(key.group().address())) {
    for (auto const & one : out.outputs.members) {
      U32 const vlan = one.vlanId().value();
      if (!vlan || vlan == out.vlan) continue;
      if (nat->vlan.contains(Bridging::VlanId(vlan))) out.outputs.nat.insert(vlan);
    }
  }
  finishFrr(walk);
}

void Oracle::member(Walk & walk, OifIndexIntf const & oif, U32 vlan) const {
  auto const has = [&oif](unsigned bits) { return (oif.properties & bits) != 0; };
  ExpectedRoute & out = walk.out;
  if (!vlan && !has(oifNoRpf)) return;
  if (has(oifForward | oifAccept)) {
    out.acceptsTwice |= has(oifAccept) && walk.acceptSeen;
    if (has(oifAccept) && !has(oifForward) && walk.acceptSeen) return;
    if (has(oifAccept) && !walk.acceptSeen) {
      walk.acceptSeen = true;
      out.vlan = vlan;
      if (has(oifNoRpf)) {
        out.noRpf = true;
        return;
      }
    }
    auto & members = out.outputs.members;
    if (vlan && vlan == out.vlan && forwardingPorts(vlan) == 1) {
      std::erase_if(members, [vlan](auto const & one) { return one.vlanId().value() == vlan; });
    } else if (vlan) {
      members.merge(vlanMembers(vlan, walk.key));
    }
  }
  sideEntries(walk, oif, vlan);
}

void Oracle::sideEntries(Walk & walk, OifIndexIntf const & oif, U32 vlan) const {
  auto const has = [&oif](unsigned bits) { return (oif.properties & bits) != 0; };
  Route const & route = walk.route;
  ExpectedRoute & out = walk.out;
  if (has(oifNotify) && !has(oifForward) && !walk.notifySeen && route.notifyProgrammable()) {
    walk.notifySeen = true;
    if (vlan) out.notify = toCpuEntry(walk.key, vlan, route.iif(), false);
  }
  if (has(oifPersistentFastdrop) && !has(oifForward) && !walk.fastdropSeen) {
    walk.fastdropSeen = true;
    if (vlan) out.fastdrop = toCpuEntry(walk.key, vlan, route.iif(), true);
  }
  bool const same = oif.intf == route.iif() || oif.intf == route.staticFastdropIntf() ||
                    (oif.intf == route.notify() && route.notifyProgrammable());
  if (has(oifFrr) && !same && !out.frr) out.frr = SideEntry{vlan, {}};
}

SideEntry Oracle::toCpuEntry(Key const & key, U32 vlan, IntfId iif, bool fastdrop) const {
  SideEntry entry{vlan, {}};
  U32 const iifVlan = vlanOf(iif);
  if (iifVlan) entry.outputs.members = resolvedLags(vlanMembers(iifVlan, key), iifVlan, key);
  entry.outputs.toCpu = true;
  entry.outputs.fastdrop = fastdrop;
  entry.outputs.vlan = records_.hardware->needIifInOifSet() ? vlan : 0;
  return entry;
}

SideEntry Oracle::fastdropEntry(ExpectedRoute const & route, U32 vlan) const {
  Key const & key = route.record.key();
  SideEntry entry{vlan, {}};
  entry.outputs.members = resolvedLags(vlanMembers(vlan, key), route.vlan, key);
  entry.outputs.fastdrop = true;
  entry.outputs.vlan = records_.hardware->needIifInOifSet() ? vlan : 0;
  return entry;
}

Outputs Oracle::boundaryOutputs(Key const & key, U32 vlan) const {
  U32 const input = records_.hardware->needIifInOifSet() ? vlan : 0;
  return {resolvedLags(vlanMembers(vlan, key), 0, key), {}, false, false, input};
}

// The backup sends what the route sends, but not back to either input.
void Oracle::finishFrr(Walk & walk) const {
  ExpectedRoute & out = walk.out;
  if (!out.frr) return;
  U32 const input = out.frr->vlan;
  bool const conflict = !input || input == out.vlan ||
                        (out.fastdrop && out.fastdrop->vlan == input) ||
                        (out.notify && out.notify->vlan == input);
  if (conflict) return out.frr.reset();
  bool const single = forwardingPorts(input) == 1;
  for (auto const & one : out.outputs.members) {
    U32 const vlan = one.vlanId().value();
    if (vlan == out.vlan || (single && vlan == input)) continue;
    out.frr->outputs.members.insert(one);
  }
  out.frr->outputs.fastdrop = true;
  out.frr->outputs.vlan = input;
}

// --- Tools

U32 Oracle::vlanOf(IntfId intf) const {
  return records_.intfVlanIdTable->intfIdToVlanId(intf).value();
}

bool Oracle::inVrf(IntfId intf, L3::VrfName vrf) const {
  auto const * status = records_.ipStatus->ipIntfStatus(intf);
  return status && status->vrf() == vrf;
}

}  // namespace Simulation
