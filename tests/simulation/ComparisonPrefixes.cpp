#include "tests/simulation/ComparisonPrefixes.h"

#include <algorithm>

#include "sim/SyncChip.h"

namespace Simulation {

using Brindle::Sim::Chip;
using Nettle::IntfId;

namespace {

std::string nameOf(IntfId intf) { return std::string(intf.view()); }

std::string textOf(std::set<Subnet> const & subnets) {
  std::string text;
  for (auto const & one : subnets) text += " " + Zet::textOf(one);
  return text.empty() ? " none" : text;
}

std::string textOf(Subnet const & subnet, IntfId intf) {
  return Zet::textOf(subnet) + " of " + nameOf(intf);
}

}  // namespace

bool isSubnetEntry(Chip::Entry const & entry) {
  return entry.key.sg.group().length() == 4 && !entry.oifSet;
}

PrefixComparison::PrefixComparison(Brindle::Sim::Host const & host, PrefixOracle const & oracle,
                                   PrefixHistory const & history,
                                   std::vector<ReadTable> const & tables,
                                   Circumstances const & circumstances)
    : host_(host),
      oracle_(oracle),
      history_(history),
      tables_(tables),
      circumstances_(circumstances) {
  for (auto const & [intf, expected] : oracle.intfs()) compareIntf(intf, expected);
  compareMap();
  if (host.prefixProgrammer()) {
    compareRoom();
    compareRetry();
    for (Chip const * chip : host.chips()) compareChip(*chip);
  } else if (host.hardware().runs()) {
    compareToldLater();
  }
  compareWaiting();
  compareHeldBack();
}

// --- Interfaces

void PrefixComparison::compareIntf(IntfId intf, ExpectedIntf const & expected) {
  auto const * status = host_.records().pimIntfStatus->intfStatus().find(intf);
  if (!status) {
    if (expected.least) differ(nameOf(intf) + ": (*,G) routes lean on it, but it is not tracked");
    return;
  }
  U32 const leaning = status->refCount();
  shown_ += nameOf(intf) + ": " + std::to_string(leaning) + " lean, ready " +
            std::to_string(status->routesProgrammed()) + "\n";
  if (leaning < expected.least || leaning > expected.most) {
    differ(nameOf(intf) + ": expected " + std::to_string(expected.least) + " to " +
           std::to_string(expected.most) + " (*,G) routes to lean on it, found " +
           std::to_string(leaning));
  }
  if (!oracle_.abandoned(intf)) compareSubnets(*status, expected);
}

void PrefixComparison::compareSubnets(Status const & status, ExpectedIntf const & expected) {
  IntfId const intf = status.intfId();
  std::set<Subnet> found;
  for (auto i = status.route().begin(); i; i.advance()) found.insert(i.key());
  if (!status.refCount() && !found.empty() && !history_.idle(intf)) {
    differ(nameOf(intf) + ": nobody leans on it, but its subnets are wanted:" + textOf(found));
  }
  bool same =
      std::includes(expected.subnets.begin(), expected.subnets.end(), found.begin(), found.end());
  for (auto const & subnet : expected.subnets) {
    same &= found.count(subnet) || history_.shared(intf, subnet);
  }
  if (!same) {
    differ(nameOf(intf) + ": expected the subnets" + textOf(expected.subnets) + ", found" +
           textOf(found));
  }
  auto const ready = expected.ip ? oracle_.ready(intf) : PrefixOracle::unknown;
  if (ready != PrefixOracle::unknown && status.routesProgrammed() != (ready == PrefixOracle::yes)) {
    differ(nameOf(intf) + (status.routesProgrammed() ? " is said to be ready, but its subnets are"
                                                       " not in hardware"
                                                     : " is not ready though its subnets are in"
                                                       " hardware"));
  }
}

// Where each subnet is said to be.
void PrefixComparison::compareMap() {
  auto const & map = host_.records().pimIntfStatus->srcToIntfMap();
  for (auto i = map.begin(); i; i.advance()) {
    auto const & wanted = oracle_.wanted();
    if (wanted.count({i.key().prefix, i.value()})) continue;
    differ(textOf(i.key().prefix, i.value()) + " is said to be there, but nobody wants it");
  }
  for (auto const & [subnet, programmed] : oracle_.wanted()) {
    auto const & [prefix, intf] = subnet;
    if (history_.contested(prefix) || oracle_.abandoned(intf)) continue;
    L3::VrfName const vrf = oracle_.intfs().at(intf).vrf;
    auto const * found = map.find({prefix, vrf});
    if (!found || *found != intf) differ(textOf(prefix, intf) + " is not said to be there");
  }
}

// --- Chips

// A subnet is not in hardware only if a chip had no room, and then it is tried again. One subnet of
// two interfaces has one place among those that wait.
void PrefixComparison::compareRoom() {
  auto const & waiting = host_.prefixProgrammer()->unprogrammedRoute();
  for (auto const & [subnet, programmed] : oracle_.wanted()) {
    auto const & [prefix, intf] = subnet;
    shown_ += textOf(prefix, intf) + (programmed ? " stands\n" : " waits\n");
    if (programmed || history_.contested(prefix)) continue;
    auto const * info = waiting.find(prefix);
    if (!circumstances_.failuresExpected) {
      differ(textOf(prefix, intf) + " is not in hardware though there is room");
    } else if (!info || (*info)->intfId() != intf) {
      differ(textOf(prefix, intf) + " is not in hardware, and nobody tries it again");
    }
  }
}

// Where chips answer later it is a route like others, which tells of itself when it stands.
void PrefixComparison::compareToldLater() {
  for (auto const & [subnet, programmed] : oracle_.wanted()) {
    auto const & [prefix, intf] = subnet;
    if (programmed || history_.contested(prefix) || oracle_.abandoned(intf)) continue;
    RouteName const name{oracle_.intfs().at(intf).vrf, Key(prefix, Subnet("224.0.0.0/4"))};
    auto const * machine = host_.hardware().asyncMrouteSm(name.vrf);
    auto const * route = machine ? machine->zetMroute(name.key) : nullptr;
    bool const stands = route && !route->chipInfo().empty() && route->acceptingVlanId() &&
                        route->oifSet() && !route->reason() && !route->inProgress();
    if (stands) differ(textOf(prefix, intf) + " stands in hardware, but is not said to");
  }
}

// Each word of room has been heard.
void PrefixComparison::compareRetry() {
  auto const chips = host_.chips();
  bool const full = std::any_of(chips.begin(), chips.end(), [](Chip const * chip) {
    return !static_cast<Brindle::Sim::SyncChip const *>(chip)->boundaryTcamFree();
  });
  U32 const waiting = host_.prefixProgrammer()->unprogrammedRoute().size();
  if (waiting && !full) {
    differ(std::to_string(waiting) +
           " subnets wait for room though all chips say that they have it");
  }
}

void PrefixComparison::compareChip(Chip const & chip) {
  std::string const name = nameOf(chip);
  std::multimap<Subnet, U32> found;
  for (auto const & entry : circumstances_.boundaries->others(chip, chip.entries())) {
    if (isSubnetEntry(entry)) found.emplace(entry.key.sg.source(), entry.key.vlanId.value());
  }
  auto const take = [&](Subnet const & subnet, U32 vlan, bool anyVlan) {
    auto const [begin, end] = found.equal_range(subnet);
    auto const at =
        std::find_if(begin, end, [=](auto const & one) { return anyVlan || one.second == vlan; });
    if (at == end) return false;
    found.erase(at);
    return true;
  };
  // Those of which more is known come first.
  for (bool const vague : {false, true}) {
    for (auto const & [subnet, programmed] : oracle_.wanted()) {
      auto const & [prefix, intf] = subnet;
      bool const anyVlan = history_.otherVlan(intf);
      bool const optional = history_.older(name, prefix, intf);
      if (!programmed || vague != (anyVlan || optional)) continue;
      U32 const vlan = host_.records().intfVlanIdTable->intfIdToVlanId(intf).value();
      if (take(prefix, vlan, anyVlan) || optional) continue;
      differ(name + " lacks " + textOf(prefix, intf) + " in VLAN " + std::to_string(vlan));
    }
  }
  for (auto const & [subnet, vlan] : found) {
    differ(name + ": nobody needs the subnet " + Zet::textOf(subnet) + " in VLAN " +
           std::to_string(vlan));
  }
}

// --- Routes that wait

void PrefixComparison::compareWaiting() {
  for (auto const & one : oracle_.waiting()) {
    auto const & route = one.second;
    std::string const text = route.key().pretty() + " of " + one.first.first;
    shown_ += text + " waits\n";
    if (!published(one.first.first, route)) differ(text + " waits, but is not published so");
    if (!mayLean(host_, route)) differ(text + " waits, but has to wait for nothing");
    if (oracle_.ready(route) == PrefixOracle::yes) {
      differ(text + " waits though its subnets are in hardware");
    }
    for (IntfId intf : {route.iif(), route.notify()}) {
      if (!saidToWait(route.key(), intf)) differ(text + " waits, but not for " + nameOf(intf));
    }
  }
  for (auto const & entry : host_.records().pimIntfStatus->intfStatus().items()) {
    for (auto i = entry.value->toAddWc().begin(); i; i.advance()) {
      if (waits(i.key(), entry.key)) continue;
      differ(i.key().pretty() + " is said to wait for " + nameOf(entry.key));
    }
  }
}

bool PrefixComparison::published(std::string const & table,
                                 Shoal::Multicast::Fib::Route const & route) const {
  return std::any_of(tables_.begin(), tables_.end(), [&](auto const & one) {
    return one.name == table && one.routes->route(route.key()) == route;
  });
}

// Interfaces know a route that waits for them by its key alone.
bool PrefixComparison::saidToWait(Key const & key, IntfId intf) const {
  auto const & records = host_.records();
  auto const * status = records.pimIntfStatus->intfStatus().find(intf);
  bool const waitedFor = status && records.ipStatus->ipIntfStatus(intf);
  return !waitedFor || status->toAddWc(key) || history_.heldTwice(key);
}

bool PrefixComparison::waits(Key const & key, IntfId intf) const {
  auto const & waiting = oracle_.waiting();
  return std::any_of(waiting.begin(), waiting.end(), [&](auto const & one) {
    bool const names = one.second.iif() == intf || one.second.notify() == intf;
    return names && one.first.second == key;
  });
}

void PrefixComparison::compareHeldBack() {
  auto const & vrfs = host_.routeTables().vrfMrouteTable();
  for (auto vrf = vrfs.begin(); vrf; vrf.advance()) {
    for (auto i = vrf->mroute().begin(); i; i.advance()) {
      RouteName const name{vrf.key(), i.key()};
      if (!history_.neverLetIn(name)) continue;
      differ(name.text() + " stands, but its subnets have never been in hardware");
    }
  }
  for (auto const & name : history_.letIn()) {
    auto const * table = vrfs.find(name.vrf);
    if (table && table->mroute(name.key)) continue;
    differ(name.text() + " has been published anew while it waited, but waits on");
  }
}

// --- At the end

std::string leftSubnets(Brindle::Sim::Host const & host, PrefixOracle const & oracle) {
  std::string out;
  auto const add = [&out](std::string const & what) { out += what + "\n"; };
  for (auto const & entry : host.records().pimIntfStatus->intfStatus().items()) {
    if (oracle.abandoned(entry.key)) continue;
    auto const & status = *entry.value;
    if (status.refCount()) add(nameOf(entry.key) + " is leant on");
    if (!status.route().empty()) add(nameOf(entry.key) + " has subnets");
    if (!status.toAddWc().empty()) add(nameOf(entry.key) + " is waited for");
  }
  auto const & map = host.records().pimIntfStatus->srcToIntfMap();
  for (auto i = map.begin(); i; i.advance()) {
    if (!oracle.abandoned(i.value())) add(textOf(i.key().prefix, i.value()) + " is left");
  }
  for (auto const & [where, route] : oracle.waiting()) add(where.second.pretty() + " waits");
  if (!host.prefixProgrammer()) return out;
  auto const & programmer = *host.prefixProgrammer();
  for (auto i = programmer.mrouteInfo().begin(); i; i.advance()) {
    if (oracle.abandoned(i->key().intfId)) continue;
    add(textOf(i->key().prefix.genPrefix(), i->key().intfId) + " is left in the chips");
  }
  for (auto i = programmer.unprogrammedRoute().begin(); i; i.advance()) {
    add(Zet::textOf(i.key()) + " waits for room");
  }
  return out;
}

}  // namespace Simulation
