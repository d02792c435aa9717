#include "tests/simulation/ComparisonBoundaries.h"

#include <algorithm>
#include <optional>

#include "sim/BoundaryAgent.h"
#include "tests/simulation/OracleFastdrops.h"

namespace Simulation {

BoundaryComparison::BoundaryComparison(Brindle::Sim::Host const & host, BoundaryOracle & boundaries,
                                       Oracle const & oracle)
    : host_(host),
      boundaries_(boundaries),
      oracle_(oracle) {
  for (auto const * chip : host.chips()) {
    for (auto const & entry : chip->entries()) {
      if (entry.oifSet) continue;
      found_[nameOf(*chip)].emplace(entry.key.sg, entry.key.vlanId.value());
    }
  }
  compareDenials();
  for (auto & [name, vrf] : boundaries.learning()) {
    compareRecords(name, vrf);
    if (vrf.resolver) compareDrops(name, vrf);
  }
}

// --- In the chips

// What is certain comes first: a subnet and what is denied of it may look alike.
void BoundaryComparison::compareDenials() {
  for (Is const which : {Is::yes, Is::unknown}) {
    for (auto & [intf, denier] : boundaries_.deniers()) {
      for (auto & [group, sources] : denier.groups) {
        for (auto & [source, denial] : sources) {
          take(Key(source, group), denier.vlan, denial, which);
        }
      }
    }
  }
}

void BoundaryComparison::take(Key const & key, U32 vlan, BoundaryOracle::Denial & denial,
                              Is which) {
  for (auto & [chip, is] : denial) {
    if (is != which) continue;
    auto & found = found_[chip];
    auto const at = found.find({key, vlan});
    auto const alike = std::count_if(found.begin(), found.end(),
                                     [&key](auto const & one) { return one.first == key; });
    bool const isSubnets = which == Is::unknown && alike <= subnetsAlike(key);
    bool const stands = at != found.end() && !isSubnets;
    if (stands) {
      found.erase(at);
      shown_ += chip + " denies " + key.pretty() + " in " + std::to_string(vlan) + "\n";
    } else if (which == Is::yes) {
      differ(chip + " lacks what denies " + key.pretty() + " in VLAN " + std::to_string(vlan));
    }
    is = stands ? Is::yes : Is::no;
  }
  bool const mixed = std::any_of(denial.begin(), denial.end(), [&denial](auto const & one) {
    return one.second != denial.begin()->second;
  });
  if (mixed && !chipsAnswerLater(host_)) {
    differ(key.pretty() + " is denied in VLAN " + std::to_string(vlan) + " by some chips only");
  }
}

// The entry of a connected subnet is the same, in whatever VLAN it has come.
std::ptrdiff_t BoundaryComparison::subnetsAlike(Key const & key) const {
  if (key.group() != Nettle::IpGenPrefix("224.0.0.0/4")) return 0;
  auto const & intfs = host_.records().pimIntfStatus->intfStatus().items();
  return std::count_if(intfs.begin(), intfs.end(), [&key](auto const & entry) {
    auto const * const route = entry.value->route(key.source());
    return route && route->programmed();
  });
}

// --- Learned

// What may be or not is so from here on.
void BoundaryComparison::resolve(Is & stands, bool found, std::string const & what) {
  if (stands == (found ? Is::no : Is::yes)) {
    differ(what + (found ? " stands, but is not to" : " is missing"));
  }
  stands = found ? Is::yes : Is::no;
  if (found) shown_ += what + "\n";
}

void BoundaryComparison::compareRecords(L3::VrfName name, Vrf & vrf) {
  auto const text = [name](auto const & what) {
    return "what was learned of " + RouteName{name, what.second}.text() + " on " +
           std::string(what.first.view());
  };
  std::set<std::pair<Nettle::IntfId, Key>> found;
  std::set<std::pair<Nettle::IntfId, Nettle::IpGenAddr>> known;
  auto const & all = host_.boundaryAgent().config()->fastdropStatusColl();
  auto const * const status = all ? all->vrfStatus(name) : nullptr;
  if (!status) return differ("nothing can be learned in VRF " + std::string(name.view()));
  for (auto intf = status->fastdrop().begin(); intf; intf.advance()) {
    for (auto group = intf->group().begin(); group; group.advance()) {
      known.insert({intf.key(), group.key()});
      for (auto i = group->source().begin(); i; i.advance()) {
        found.insert(
            {intf.key(), Key(Nettle::IpGenPrefix(i.key()), Nettle::IpGenPrefix(group.key()))});
      }
    }
  }
  for (auto const & what : found) {
    if (!vrf.records.count(what)) differ(text(what) + " stands, but nobody reported it");
  }
  for (auto & [what, record] : vrf.records) resolve(record.stands, found.count(what), text(what));
  std::erase_if(vrf.records, [](auto const & one) { return one.second.stands == Is::no; });
  vrf.going.clear();
  // What is known of a group by which nothing is recorded may be forgotten.
  for (auto & [by, groups] : vrf.matched) {
    for (auto & [group, sure] : groups) {
      sure &= known.count({by.first, group}) != 0;
    }
  }
}

void BoundaryComparison::compareDrops(L3::VrfName name, Vrf & vrf) {
  std::set<std::pair<Key, U32>> recorded;
  for (auto const & [what, record] : vrf.records) recorded.insert({what.second, record.vlan});
  auto const & routes = host_.routeTables().vrfMrouteTable(name)->boundaryMroute();
  for (auto i = routes.begin(); i; i.advance()) {
    bool used = !i->fastdrop().empty();
    for (auto const & record : recorded) used |= record.first == i->key();
    if (!used) differ("what drops " + i->key().pretty() + " drops nothing");
    for (auto drop = i->fastdrop().begin(); drop; drop.advance()) {
      if (recorded.count({i->key(), drop.key().value()})) continue;
      differ("nobody has learned what is dropped: " + RouteName{name, i->key()}.text() +
             " in VLAN " + std::to_string(drop.key().value()));
    }
  }
  for (auto & [what, drop] : vrf.drops) {
    auto const * const route = routes.find(what.first);
    auto const set = route ? route->fastdrop(Bridging::VlanId(what.second)) : nullptr;
    compareDrop({name, what.first}, what.second, drop, set.get());
  }
  std::erase_if(vrf.drops, [](auto const & one) { return one.second.stands == Is::no; });
}

// Each computation of the route itself takes the drops in its inputs away; which were its inputs
// before the last one is not known.
void BoundaryComparison::makeWay(Brindle::Mroute const * route, U32 vlan, Drop & drop) {
  bool const computed = route && route->version() != drop.version;
  if (computed) {
    bool input = false;
    for (auto const one :
         {route->acceptingVlanId(), route->notifyingVlanId(), route->staticFastdropVlanId()}) {
      input |= one.value() == vlan;
    }
    if (input) drop.stands = Is::no;
  }
  bool const mayHave = drop.routed && (computed || !route);
  if (mayHave && drop.stands == Is::yes) drop.stands = Is::unknown;
  drop.routed = false;
  drop.version = route ? route->version() : 0;
}

void BoundaryComparison::compareDrop(RouteName const & name, U32 vlan, Drop & drop,
                                     Brindle::OifSet const * found) {
  std::string const what = "what drops " + name.text() + " in VLAN " + std::to_string(vlan);
  makeWay(mroute(host_, name), vlan, drop);
  resolve(drop.stands, found, what);
  // A change of an interface in another VRF has nobody look at what this one drops there.
  bool const isForeign = FastdropRules(host_).vrfOf(vlan) != name.vrf;
  drop.outputs = found && isForeign ? Simulation::textOf(found)
                                    : oracle_.boundaryOutputs(name.key, vlan).text();
  if (found && Simulation::textOf(found) != drop.outputs) {
    differ(what + "\n  expected " + drop.outputs + "\n  computed " + Simulation::textOf(found));
  }
  if (chipsAnswerLater(host_)) drop.chips.clear();
  if (found && host_.hardware().runs() && !chipsAnswerLater(host_)) compareChips(name, vlan, drop);
}

// What a chip has no room for leaves there what it was to replace.
void BoundaryComparison::compareChips(RouteName const & name, U32 vlan, Drop & drop) {
  bool lacks = false;
  drop.old.clear();
  for (auto const * chip : host_.chips()) {
    bool stands = false;
    std::optional<std::string> other;
    for (auto const & entry : chip->entries()) {
      if (entry.key.sg != name.key || entry.key.vlanId.value() != vlan) continue;
      std::string const outputs = Simulation::textOf(entry.oifSet.get());
      stands |= outputs == drop.outputs;
      other = outputs;
    }
    bool const wanted = drop.chips.count(nameOf(*chip));
    lacks |= wanted && !stands;
    if (wanted && !stands && !drop.mayLack) {
      differ(nameOf(*chip) + " lacks what drops " + name.text() + " in VLAN " +
             std::to_string(vlan));
    }
    bool const isOld = !stands && drop.mayLack && other && !mroute(host_, name);
    if (isOld) drop.old[nameOf(*chip)] = *other;
    bool const holds = stands || isOld;
    holds ? (void)drop.chips.insert(nameOf(*chip)) : (void)drop.chips.erase(nameOf(*chip));
  }
  drop.mayLack = lacks;
}

}  // namespace Simulation
