#include "tests/Switch.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "mira/Expansion.h"
#include "mira/MiraL2.h"
#include "platform/ActivityManager.h"

namespace Tests {

using namespace Brindle;
using Bridging::VlanId;
using Nettle::IntfId;
using Shoal::Multicast::Fib::OifIndex;

std::vector<std::string> words(std::string_view text) {
  std::istringstream in{std::string(text)};
  return {std::istream_iterator<std::string>(in), {}};
}

IntfId intf(std::string_view name) { return IntfId(name); }

namespace {

L3::VrfName vrfName(std::string_view name) { return L3::VrfName(name); }

std::string joined(std::vector<std::string> texts, char const * between, bool sorted) {
  if (sorted) std::sort(texts.begin(), texts.end());
  std::string out;
  for (auto const & t : texts) out += (out.empty() ? "" : between) + t;
  return out;
}

std::string text(PortVlanSet const & set) {
  std::vector<std::string> members;
  for (PortVlan const & pv : set.portVlan().items()) {
    members.push_back(std::string(pv.port.view()) + "@" + std::to_string(pv.outLif.value()));
  }
  if (set.toCpu()) members.push_back("cpu");
  return joined(members, " ", false);
}

U8 properties(std::string_view letters) {
  static std::map<char, U8> const bit{{'f', 1}, {'a', 2}, {'n', 4}, {'r', 8}, {'p', 16}, {'b', 32}};
  U8 bits = 0;
  for (char c : letters) bits |= bit.at(c);
  return bits;
}

}  // namespace

Switch::Switch() {
  intfVlans->ipStatusIs(ip);
  chips(1);
}

Switch::~Switch() {
  agent->miraDel();
  programmer->rootSmDel();
}

// --- The world

void Switch::chips(U32 count, U32 routes, U32 slots) {
  for (U32 i = 0; i < count; ++i) {
    auto c = fabric->chipIs(Zet::Name("chip" + std::to_string(i)), i);
    c->routeTotalIs(routes);
    c->pvTotalIs(slots);
    c->pvNumFreeIs(slots);
  }
}

void Switch::start() {
  if (agent->mira()) return;
  configure("default");
  tables->afIs(af);
  programmer->rootSmIs({.clock = clock,
                        .fabric = fabric,
                        .mrouteTableColl = tables,
                        .mfib = status,
                        .intfVlanIdTable = intfVlans});
  auto const published =
      Zet::make<Routing::Multicast::Fib::PimIntf::PrefixMrouteStatus>(Zet::Name("prefixes"));
  prefixStatus->entityIs(published->name(), published);
  prefixes = Brindle::prefixMrouteSmFactory({.mfibStatus = pimIntf,
                                             .fabric = fabric,
                                             .clock = clock,
                                             .intfVlanIdTable = intfVlans,
                                             .prefixMrouteStatus = published});
  agent->miraIs(inputs());
  agent->mira()->pimVxlanStatusIs(overVxlan);
  auto entities = Zet::make<Quay::EntityManager>();
  entities->entityIs("interface/config/subintf", Zet::make<Interface::SubIntfConfigDir>());
  agent->mira()->entityManagerIs(entities);
}

// --- Bridging

Zet::Ptr<Bridging::Topology::TopoConfig> Switch::topo(U32 vid) {
  return topology->topoConfigIs(Zet::String("vlan" + std::to_string(vid)));
}

void Switch::vlan(U32 vid, std::string_view ports, std::string_view vrfText) {
  VlanId v(vid);
  auto bridged = vlans->vlanStatusIs(v);
  topology->vidToTopoMapIs(v, topo(vid));
  IntfId svi = IntfId::ofVlan(v);
  ip->ipIntfStatusIs(svi)->vrfIs(vrfName(vrfText));
  intfVlans->internalVlanIdIs(svi, v);
  for (auto const & p : words(ports)) {
    bridged->vlanPortStatusIs(intf(p), {Bridging::VlanPortMode::untagged});
    topo(vid)->topoPortConfigIs(intf(p))->stateIs(Bridging::Topology::PortState::forwarding);
    for (auto const & c : fabric->chip()) chip(c.key.view()).portIs(intf(p), true);
  }
}

void Switch::block(U32 vid, std::string_view ports) {
  for (auto const & p : words(ports)) {
    topo(vid)->topoPortConfigIs(intf(p))->stateIs(Bridging::Topology::PortState::discarding);
  }
}

void Switch::snoop(U32 vid) { snooping->vlanStatusIs(VlanId(vid)); }

static Nettle::EthAddr mac(std::string_view group) {
  return ethAddrFromIpAddr(Nettle::IpGenAddr(group));
}

void Switch::join(U32 vid, std::string_view group, std::string_view ports) {
  auto g = snooping->vlanStatusIs(VlanId(vid))->ethGroupIs(mac(group));
  for (auto const & p : words(ports)) g->intfIs(intf(p), true);
}

void Switch::lag(std::string_view name, std::string_view members) {
  auto l = lags->intfStatusIs(intf(name));
  for (auto const & m : words(members)) l->memberIs(intf(m), true);
}

void Switch::address(std::string_view intfName, std::string_view primary) {
  auto const at = ip->ipIntfStatusIs(intf(intfName));
  at->activeAddrWithMaskIs(primary.empty() ? Nettle::IpAddrWithMask()
                                           : Nettle::IpAddrWithMask(primary));
}

void Switch::secondary(std::string_view intfName, std::string_view address, bool stands) {
  auto const at = ip->ipIntfStatusIs(intf(intfName));
  at->activeSecondaryWithMaskIs(Nettle::IpAddrWithMask(address), stands);
}

// --- Publishing

LocalTable & Switch::table(std::string_view name) {
  start();
  auto & t = table_[std::string(name)];
  if (!t) {
    t = Zet::make<LocalTable>();
    auto vrf = vrfName(name.substr(name.find('.') + 1));
    agent->mira()->shoalDir()->shoalCollIs(vrf)->shoalPtrIs(t.get(), t);
  }
  return *t;
}

OifIndex Switch::oifIndex(std::string_view out, std::string_view tableName) {
  std::string key = std::string(tableName) + " " + std::string(out);
  auto [it, isNew] = oifIndex_.try_emplace(key, static_cast<U16>(oifIndex_.size()));
  if (isNew) {
    size_t colon = out.find(':');
    U8 bits = colon == out.npos ? properties("f") : properties(out.substr(colon + 1));
    table(tableName).oifIndexIntfIs(OifIndex{it->second}, {intf(out.substr(0, colon)), bits});
  }
  return OifIndex{it->second};
}

Switch::Route Switch::record(std::string_view source, std::string_view group, std::string_view iif,
                             std::string_view outs, std::string_view tableName) {
  Route route(key(source, group));
  route.iifIs(intf(iif));
  if (!iif.empty()) route.oifIs(oifIndex(std::string(iif) + ":a", tableName), true);
  for (auto const & out : words(outs)) route.oifIs(oifIndex(out, tableName), true);
  return route;
}

void Switch::publish(Route const & route, std::string_view tableName) {
  table(tableName).routeIs(route);
}

void Switch::publish(std::string_view source, std::string_view group, std::string_view iif,
                     std::string_view outs) {
  publish(record(source, group, iif, outs));
}

void Switch::publishStar(std::string_view group, std::string_view iif, std::string_view outs,
                         std::string_view notify, std::string_view tableName) {
  Route route = record("*", group, iif, outs, tableName);
  route.notifyIs(intf(notify));
  route.flagsIs(Route::installStarG);
  publish(route, tableName);
}

void Switch::withdraw(std::string_view source, std::string_view group, std::string_view tableName) {
  table(tableName).routeDel(key(source, group));
}

// --- Time

void Switch::settle(double seconds) {
  start();
  double const end = clock->shown() + seconds;
  while (clock->earliest() <= end) clock->nowIs(std::max(clock->earliest(), clock->shown()));
}

void Switch::reviewAll() {
  for (auto & m : root().mira()) m.doMarkAllVlansDirty();
  if (auto const & l2 = root().miraL2()) l2->doMarkAllVlansDirty();
  settle();
}

// --- What stands

MrouteTable & Switch::routes(std::string_view vrfText) {
  return *tables->vrfMrouteTable(vrfName(vrfText));
}

Mira & Switch::mira(std::string_view vrfText) { return *root().mira(vrfName(vrfText)); }

MiraRoot & Switch::root() {
  start();
  return *agent->mira();
}

SimSwitchChip & Switch::chip(std::string_view name) { return *fabric->chip(Zet::Name(name)); }

Zet::Ptr<Mroute> Switch::mroute(std::string_view source, std::string_view group,
                                std::string_view vrfText) {
  return routes(vrfText).mroute(key(source, group));
}

std::string Switch::outputs(std::string_view source, std::string_view group,
                            std::string_view vrfText) {
  auto m = mroute(source, group, vrfText);
  if (!m) return "-";
  return m->oifSet() ? text(m->oifSet()->portVlanSet()) : "not computed";
}

std::string Switch::floodset(Key const & key) {
  auto const * m = tables->l2FloodsetTable()->mroute(key);
  if (!m) return "-";
  return m->oifSet() ? text(m->oifSet()->portVlanSet()) : "not computed";
}

U32 Switch::iifVlan(std::string_view source, std::string_view group, std::string_view vrfText) {
  auto m = mroute(source, group, vrfText);
  return m ? m->acceptingVlanId().value() : 0;
}

std::string Switch::entries(std::string_view chipName) {
  std::vector<std::string> out;
  for (auto & route : chip(chipName).simRoute()) {
    auto const & k = route.key();
    std::string entry = k.sg.pretty() + "@" + std::to_string(k.vlanId.value()) + " -> ";
    auto const & set = route.simMtableOifSet();
    entry += set ? text(set->oifSet()->portVlanSet()) : "no set";
    if (!route.activated()) entry += " inactive";
    out.push_back(entry);
  }
  return joined(out, "; ", true);
}

// --- The free checks

std::string Switch::all() {
  std::string out;
  for (auto const & c : fabric->chip()) {
    out += std::string(c.key.view()) + ": " + entries(c.key.view()) + "\n";
  }
  auto add = [&](MrouteTable const & t) {
    std::vector<std::string> sets;
    for (auto & m : t.mroute()) {
      sets.push_back(m.key().pretty() + " " +
                     (m.oifSet() ? m.oifSet()->portVlanSet().pretty() : "not computed"));
    }
    out += joined(sets, "\n", true);
  };
  for (auto & t : tables->vrfMrouteTable()) add(t);
  if (tables->l2FloodsetTable()) add(*tables->l2FloodsetTable());
  return out;
}

void Switch::checkRecheck() {
  std::string before = all();
  reviewAll();
  EXPECT_EQ(before, all()) << "computing everything again changed something";
}

// Of either table.
Mroute * Switch::mroute(Key const & k, L3::VrfName vrf) {
  if (Mroute * const m = tables->vrfMrouteTable(vrf)->mroute(k)) return m;
  auto const & l2 = tables->l2FloodsetTable();
  return l2 ? l2->mroute(k) : nullptr;
}

void Switch::checkHwFlags() {
  // What is active on each chip.
  std::vector<std::set<std::pair<Key, U16>>> active;
  for (auto const & c : fabric->chip()) {
    auto & here = active.emplace_back();
    for (auto const & r : chip(c.key.view()).simRoute()) {
      if (r.activated()) here.emplace(r.key().sg, r.key().vlanId.value());
    }
  }
  for (auto & vrfStatus : status->vrfStatus()) {
    for (auto & routeStatus : vrfStatus.route()) {
      auto const & k = routeStatus.key();
      auto m = mroute(k, vrfStatus.key());
      if (!m || !m->acceptingVlanId()) continue;
      bool everywhere = std::all_of(active.begin(), active.end(), [&](auto & here) {
        return here.contains({k, m->acceptingVlanId().value()});
      });
      EXPECT_EQ(routeStatus.hwFlags() == 0, everywhere) << k.pretty();
    }
  }
}

// What L2 routes stand for.
void Switch::takeDown() {
  if (!root().miraL2()) return;
  root().vlanFilteredFloodSetDirIs(nullptr);
  root().pimVxlanStatusIs(nullptr);
  for (auto i = vlans->vlanStatus().begin(); i; i.advance()) {
    VlanId const vlan = i.key();
    vlans->vlanStatusDel(vlan);
    snooping->vlanStatusDel(vlan);
    bridging->fdbConfigDel(vlan);
    root().vxlanVlanIs(vlan, false);
  }
  EXPECT_EQ(root().l2Route().size(), 0u) << "L2 routes are wanted still";
}

void Switch::checkTeardown() {
  for (auto & [name, t] : table_) {
    std::vector<Key> keys;
    for (auto i = t->routeBegin(); i; i.advance()) keys.push_back(i.key());
    for (Key const & k : keys) t->routeDel(k);
  }
  takeDown();
  settle();
  for (auto const & c : fabric->chip()) {
    SimSwitchChip & sim = chip(c.key.view());
    EXPECT_EQ(entries(c.key.view()), "") << "entries are left";
    EXPECT_EQ(sim.pvNumFree(), sim.pvTotal()) << "sets are left";
  }
  EXPECT_EQ(tables->oifSet().size(), 0u) << "output sets are left";
}

void Switch::TearDown() {
  if (!agent->mira()) return;
  settle();
  if (!noRecheck_) {
    checkRecheck();
    checkHwFlags();
  }
  checkTeardown();
}

}  // namespace Tests
