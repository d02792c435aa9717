#include "tests/simulation/OraclePrefixes.h"

#include <algorithm>

namespace Simulation {

using Nettle::IntfId;
using Shoal::Multicast::Fib::Route;

namespace {

Subnet const & allGroups() {
  static Subnet const groups("224.0.0.0/4");
  return groups;
}

}  // namespace

PrefixOracle::PrefixOracle(Brindle::Sim::Host const & host, std::vector<ReadTable> const & tables,
                           PrefixHistory const & history)
    : host_(host),
      tables_(tables),
      history_(history),
      waiting_(waitingRoutes(host)) {
  for (auto const & entry : host.records().ipStatus->ipIntfStatus().items()) addIntf(*entry.value);
  for (auto const & entry : host.records().pimIntfStatus->intfStatus().items()) {
    intfs_[entry.key];
    for (auto i = entry.value->route().begin(); i; i.advance()) {
      wanted_[{i.key(), entry.key}] = i->programmed();
    }
  }
  countLeaning();
}

void PrefixOracle::addIntf(Ip::IpIntfStatus const & status) {
  ExpectedIntf & out = intfs_[status.key()];
  out.ip = true;
  out.vrf = status.vrf();
  auto const add = [&out](Nettle::IpAddrWithMask const & address) {
    auto const subnet = Subnet::around(Nettle::IpGenAddr(address.address()), address.length());
    out.subnets.insert(subnet);
  };
  if (!status.activeAddrWithMask().isNull()) add(status.activeAddrWithMask());
  for (auto const & one : status.activeSecondaryWithMask().items()) add(one);
}

void PrefixOracle::countLeaning() {
  Oracle const oracle(host_, tables_);
  for (auto const & table : tables_) {
    if (!oracle.routed(vrfOf(table.name))) continue;
    for (auto i = table.routes->routeBegin(); i; i.advance()) {
      Route const route = table.routes->route(i.key());
      if (!mayLean(host_, route)) continue;
      for (IntfId intf : std::set<IntfId>{route.iif(), route.notify()}) {
        if (!intf) continue;
        ExpectedIntf & leanedOn = intfs_[intf];
        ++leanedOn.most;
        bool const late = !leanedOn.ip || history_.older(table.name, i.key(), intf);
        leanedOn.least += leans(host_, route) && !late;
      }
    }
  }
}

// --- Interfaces

bool PrefixOracle::abandoned(IntfId intf) const {
  if (!history_.tableWent(intf)) return false;
  for (auto mira = host_.root().mira().begin(); mira; mira.advance()) {
    for (auto table = mira->mfibShoalSm().begin(); table; table.advance()) {
      if (table->prefixIntfSm(intf)) return false;
    }
  }
  return true;
}

PrefixOracle::Answer PrefixOracle::ready(IntfId intf) const {
  auto const found = intfs_.find(intf);
  if (found == intfs_.end() || !found->second.ip) return yes;
  auto const * status = host_.records().pimIntfStatus->intfStatus().find(intf);
  if (!status) return yes;
  if (history_.miscounted(intf) || abandoned(intf)) return unknown;
  if (status->route().empty()) return history_.hadSubnets(intf) ? unknown : no;
  for (auto const & [subnet, programmed] : wanted_) {
    if (subnet.second == intf && !programmed) return no;
  }
  return yes;
}

PrefixOracle::Answer PrefixOracle::ready(Route const & route) const {
  Answer const input = ready(route.iif()), notify = ready(route.notify());
  if (input == no || notify == no) return no;
  return input == yes && notify == yes ? yes : unknown;
}

// --- Routes

void PrefixOracle::judge(std::map<RouteName, ExpectedRoute> & routes) const {
  for (auto & [name, route] : routes) {
    if (name.key.isStarG()) judgeStar(name, route);
  }
  for (auto const & [subnet, programmed] : wanted_) addRoute(subnet.first, subnet.second, routes);
}

// A record is taken in when it comes, if its input has a VLAN then; when its input gets one; or
// when its subnets are in hardware.
void PrefixOracle::judgeStar(RouteName const & name, ExpectedRoute & out) const {
  U32 records = 0, held = 0, waiting = 0, lost = 0;
  bool bestWaits = false;
  for (auto const & table : tables_) {
    Route route;
    if (vrfOf(table.name) != name.vrf || !table.routes->routeRead(name.key, route)) continue;
    bool const waits = waiting_.count({table.name, name.key}) != 0;
    ++records;
    held += !(route.flags() & Route::installStarG);
    waiting += waits;
    lost += !host_.records().intfVlanIdTable->intfIdToVlanId(route.iif());
    bestWaits |= waits && route == out.record;
  }
  if (records == 1 && held && !history_.inherited(name)) {
    out.standing = ExpectedRoute::absent;
  } else if (bestWaits) {
    out.standing = ExpectedRoute::leftAsItIs;
    out.why = "(*,G): it waits for its connected subnets";
  } else if ((held || waiting || lost) && out.standing == ExpectedRoute::stands) {
    out.standing = ExpectedRoute::mayStand;
    out.why = "(*,G): usable when it came";
  }
}

void PrefixOracle::addRoute(Subnet const & subnet, IntfId intf,
                            std::map<RouteName, ExpectedRoute> & routes) const {
  ExpectedIntf const & on = intfs_.at(intf);
  bool const forgotten = history_.contested(subnet) || abandoned(intf);
  for (auto const & table : tables_) {
    L3::VrfName const vrf = vrfOf(table.name);
    if (!Oracle(host_, tables_).routed(vrf)) continue;
    if (!forgotten && vrf != on.vrf) continue;
    ExpectedRoute & out = routes[{vrf, Key(subnet, allGroups())}];
    if (forgotten) {
      out.standing = ExpectedRoute::leftAsItIs;
      out.why = "a subnet that two interfaces have had, or that nobody follows";
    }
    out.record = Route(Key(subnet, allGroups()));
    out.vlan = host_.records().intfVlanIdTable->intfIdToVlanId(intf).value();
    out.outputs.toCpu = true;
    out.outputs.vlan = host_.records().hardware->needIifInOifSet() ? out.vlan : 0;
    out.programmed = subnet.isHost() || chipsAnswerLater(host_);
    out.needsEntry = out.vlan != 0;
  }
}

}  // namespace Simulation
