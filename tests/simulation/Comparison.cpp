#include "tests/simulation/Comparison.h"

#include <algorithm>

#include "tests/simulation/ComparisonAsync.h"
#include "tests/simulation/ComparisonPrefixes.h"

namespace Simulation {

using Brindle::Mroute;
using Brindle::OifSet;
using Brindle::Sim::Chip;

namespace {

constexpr U32 anyRpa = ~U32{0};

// Those have a comparison of their own.
bool isL2(Key const & key) { return key.kind() != Routing::Multicast::Fib::mroute_; }

std::string joined(std::vector<std::string> lines) {
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (auto const & line : lines) text += line + "\n";
  return text;
}

}  // namespace

Comparison::Comparison(Brindle::Sim::Host const & host, std::map<RouteName, ExpectedRoute> expected,
                       Circumstances const & circumstances)
    : host_(host),
      expected_(std::move(expected)),
      circumstances_(circumstances) {
  auto const & tables = host.routeTables().vrfMrouteTable();
  for (auto i = tables.begin(); i; i.advance()) compareTable(i.key());
  for (auto const & [name, route] : expected_) compareRoute(name, route);
  if (!host.hardware().runs()) return;
  compareFailed();
  compareStatus();
  for (Chip const * chip : host.chips()) compareChip(*chip);
}

// A record that may be taken in or not has not been, where the route still has an older one.
bool Comparison::isLeft(Mroute const & found, ExpectedRoute const & route) {
  // A patch does not put a new accepting interface before the one that counts already.
  if (route.acceptsTwice && found.optimizeStatus()) return true;
  if (route.standing == ExpectedRoute::mayStand) return !(found.shoalRoute() == route.record);
  return route.standing == ExpectedRoute::leftAsItIs;
}

// --- What was computed

void Comparison::compareTable(L3::VrfName vrf) {
  std::vector<std::string> lines;
  auto const & routes = host_.routeTables().vrfMrouteTable(vrf)->mroute();
  for (auto i = routes.begin(); i; i.advance()) {
    if (isL2(i->key())) continue;
    RouteName const name{vrf, i->key()};
    lines.push_back(name.text() + " " + std::to_string(i->acceptingVlanId().value()) + " " +
                    textOf(i->oifSet().get()));
    if (!expected_.count(name))
      differ(name.text() + " stands in the table, but nobody publishes it");
  }
  shown_ += joined(lines);
}

void Comparison::compareRoute(RouteName const & name, ExpectedRoute const & route) {
  Mroute const * const found = mroute(name);
  if (!found) {
    if (route.standing == ExpectedRoute::stands) differ(name.text() + " is missing in the table");
    return;
  }
  if (route.standing == ExpectedRoute::absent) {
    return differ(name.text() + " stands in the table, but is not to be installed");
  }
  if (isLeft(*found, route)) return;
  if (found->version() == 0) return differ(name.text() + " has not been computed");
  compareSet(name.text(), route.vlan, route.outputs.text(), found->acceptingVlanId().value(),
             found->oifSet().get());
  if (found->noRpf() != route.noRpf) differ(name.text() + ": noRpf differs");
  if (found->rpaId() != route.rpa) differ(name.text() + ": its rendezvous point differs");
  // A patch leaves the other entries as they were, or takes the newest.
  if (found->optimizeStatus()) {
    bool const lost = (route.notify && !found->notifyingVlanId()) ||
                      (route.fastdrop && !found->staticFastdropVlanId());
    if (lost) differ(name.text() + ": a patch has taken an entry beside its own");
    return;
  }
  compareSide(name.text() + " notify", route.notify, found->notifyingVlanId().value(),
              found->notifyOifSet().get());
  compareSide(name.text() + " persistent fastdrop", route.fastdrop,
              found->staticFastdropVlanId().value(), found->staticFastdropOifSet().get());
  compareSide(name.text() + " fast-reroute", route.frr, found->frrVlanId().value(),
              found->frrOifSet().get());
}

void Comparison::compareSide(std::string const & what, std::optional<SideEntry> const & expected,
                             U32 foundVlan, OifSet const * found) {
  if (!expected && !foundVlan) return;
  compareSet(what, expected ? expected->vlan : 0, expected ? expected->outputs.text() : "no set",
             foundVlan, found);
}

void Comparison::compareSet(std::string const & what, U32 vlan, std::string const & outputs,
                            U32 foundVlan, OifSet const * found) {
  if (vlan == foundVlan && outputs == textOf(found)) return;
  differ(what + "\n  expected " + std::to_string(vlan) + ": " + outputs + "\n  computed " +
         std::to_string(foundVlan) + ": " + textOf(found));
}

// --- What failed

void Comparison::compareFailed() {
  if (haveChipsGone(host_, circumstances_.lateChips)) return;
  for (auto const & [name, route] : expected_) {
    // The next computation, which is to try it again, may never come.
    if (!mroute(name) || isLeft(*mroute(name), route) || isInDoubt(name)) continue;
    if (failedWholly(host_, name) && !isRetried(host_, name) && !isOpen(host_, name)) {
      differ(name.text() + " is said to have failed, and nobody tries it again");
    }
    if (isRetried(host_, name) && !circumstances_.failuresExpected) {
      differ(name.text() + " has failed though there is room");
    }
  }
}

// --- What is published

void Comparison::compareStatus() {
  auto const & vrfs = host_.records().hardware->vrfStatus();
  for (auto vrf = vrfs.begin(); vrf; vrf.advance()) {
    bool const wasLeft =
        circumstances_.leftVrfs.count(vrf.key()) && !host_.routeTables().vrfMrouteTable(vrf.key());
    if (wasLeft) continue;
    for (auto i = vrf->route().begin(); i; i.advance()) {
      RouteName const name{vrf.key(), i.key()};
      bool const stays = circumstances_.boundaries->sharesStatus(name);
      if (!mroute(name) && !stays) differ(name.text() + " has a status, but is in no table");
    }
  }
}

// --- What stands in a chip

std::string Comparison::Entry::text() const {
  return "vlan " + std::to_string(vlan) + " rpa " + std::to_string(rpa) + ": " + outputs;
}

void Comparison::compareChip(Chip const & chip) {
  Entries found;
  std::vector<std::string> lines;
  auto const & boundaries = *circumstances_.boundaries;
  for (auto const & stands : boundaries.others(chip, host_.hardware().entries(chip))) {
    if (isL2(stands.key.sg)) continue;
    Entry const entry{stands.key.vlanId.value(), stands.rpaId, textOf(stands.oifSet.get())};
    if (!isSubnetEntry(stands)) found.emplace(stands.key.sg, entry);
    lines.push_back(nameOf(chip) + ": " + stands.key.sg.pretty() + " " + entry.text());
    if (!stands.active && !chipsAnswerLater(host_)) differ(lines.back() + " is not active");
  }
  shown_ += joined(lines);
  bool const late = circumstances_.lateChips.count(nameOf(chip)) != 0;
  for (auto const & [name, route] : expected_) take(found, name, route, nameOf(chip), late);
  for (auto const & [name, route] : expected_) takeSides(found, name, route, nameOf(chip), late);
  for (auto const & [name, route] : expected_) {
    if (mayHoldMore(name, route)) takeOld(found, name, route);
  }
  for (auto const & [key, entry] : found) {
    differ(nameOf(chip) + ": nobody needs " + key.pretty() + " " + entry.text());
  }
}

// What stands beside the entry of the route itself, or all of it, may be old.
bool Comparison::mayHoldMore(RouteName const & name, ExpectedRoute const & route) const {
  Mroute const * const standing = mroute(name);
  if (!standing || !route.programmed) return false;
  bool const open = isOpen(host_, name);
  return isLeft(*standing, route) || isRetried(host_, name) || open || standing->optimizeStatus();
}

// Takes what may be old out of what was found. A chip does not know the VRF.
void Comparison::takeOld(Entries & found, RouteName const & name,
                         ExpectedRoute const & route) const {
  Mroute const & standing = *mroute(name);
  bool const onlyPatched =
      !isLeft(standing, route) && !isRetried(host_, name) && !isOpen(host_, name);
  auto const [begin, end] = found.equal_range(name.key);
  for (auto i = begin; i != end;) {
    U32 const vlan = i->second.vlan;
    bool const isOld = !onlyPatched || vlan == standing.notifyingVlanId().value() ||
                       vlan == standing.staticFastdropVlanId().value() ||
                       vlan == standing.frrVlanId().value();
    i = isOld ? found.erase(i) : std::next(i);
  }
}

bool Comparison::hasEntries(RouteName const & name, ExpectedRoute const & route) const {
  Mroute const * const standing = mroute(name);
  return standing && route.programmed && !failedWholly(host_, name) && !isLeft(*standing, route) &&
         !isOpen(host_, name);
}

// A failure is published, but it may be that of a drop of the same key.
bool Comparison::isInDoubt(RouteName const & name) const {
  return circumstances_.boundaries->sharesStatus(name) && failedWholly(host_, name);
}

// Takes the entry of a route out of what was found.
void Comparison::take(Entries & found, RouteName const & name, ExpectedRoute const & route,
                      std::string const & chip, bool late) {
  if (isInDoubt(name)) found.erase(name.key);
  if (!hasEntries(name, route) || !route.needsEntry) return;
  Entry const entry{route.vlan, route.rpa, route.outputs.text()};
  bool const unnoticed = mayLack(name, route, chip);
  if (!unnoticed) {
    requireEntry(found, name, entry, chip, late);
  } else if (!takeEntry(found, name, entry)) {
    unnoticed_.emplace(chip, name, mroute(name)->version());
  }
}

// The same for those beside it, which may have any rendezvous point: the route of another VRF may
// need the very one that has none.
void Comparison::takeSides(Entries & found, RouteName const & name, ExpectedRoute const & route,
                           std::string const & chip, bool late) {
  if (!hasEntries(name, route)) return;
  for (auto const & side : {route.notify, route.fastdrop, route.frr}) {
    if (!side) continue;
    if (takeEntry(found, name, {side->vlan, route.rpa, side->outputs.text()})) continue;
    requireEntry(found, name, {side->vlan, anyRpa, side->outputs.text()}, chip,
                 late || mayHoldMore(name, route) || chipsAnswerLater(host_));
  }
  takeDrops(found, name, route, chip, late);
}

// One that a chip refuses goes from all of them, and those behind it stay as they were.
void Comparison::takeDrops(Entries & found, RouteName const & name, ExpectedRoute const & route,
                           std::string const & chip, bool optional) {
  bool refused = false;
  for (auto const & [drop, mayLack] : route.drops) {
    Entry const entry{drop.vlan, route.rpa, drop.outputs.text()};
    auto const [begin, end] = found.equal_range(name.key);
    auto const same = std::find_if(begin, end, [&](auto const & one) {
      if (one.second.vlan != entry.vlan) return false;
      if (refused) return true;
      // Where chips answer later it keeps the rendezvous point that it came with.
      return one.second.outputs == entry.outputs &&
             (one.second.rpa == entry.rpa || !route.needsEntry || chipsAnswerLater(host_));
    });
    if (same != end) {
      found.erase(same);
    } else if (optional || mayLack) {
      refused = true;
    } else {
      differ(chip + ": " + name.text() + " lacks the fastdrop " + entry.text());
    }
  }
}

// An entry that accepts in no VLAN may be refused without anybody noticing; then nobody tries it
// again before the route is computed anew, whatever room comes.
bool Comparison::mayLack(RouteName const & name, ExpectedRoute const & route,
                         std::string const & chip) const {
  if (route.vlan != 0 || chipsAnswerLater(host_)) return false;
  return circumstances_.failuresExpected ||
         circumstances_.unnoticed.count({chip, name, mroute(name)->version()}) != 0;
}

bool Comparison::takeEntry(Entries & found, RouteName const & name, Entry const & entry) {
  // A backup that became the route keeps its rendezvous point, which is none where chips answer at
  // once; an entry beside the route's keeps the one that it came with. Another VRF may have the
  // like.
  auto const range = found.equal_range(name.key);
  auto const find = [&](auto rpaFits) {
    return std::find_if(range.first, range.second, [&](auto const & one) {
      return one.second.vlan == entry.vlan && one.second.outputs == entry.outputs &&
             rpaFits(one.second.rpa);
    });
  };
  auto same = find([&](U32 rpa) { return rpa == entry.rpa; });
  auto const backup = circumstances_.backupRpas.find(name);
  bool const hadBackup = backup != circumstances_.backupRpas.end();
  if (same == range.second) {
    same = find([&](U32 rpa) {
      return rpa == 0 || entry.rpa == anyRpa || (hadBackup && backup->second.count(rpa));
    });
  }
  if (same == range.second) return false;
  found.erase(same);
  return true;
}

void Comparison::requireEntry(Entries & found, RouteName const & name, Entry const & entry,
                              std::string const & chip, bool optional) {
  if (takeEntry(found, name, entry) || optional) return;
  differ(chip + ": " + name.text() + " lacks " + entry.text());
}

// --- At the end

std::string leftovers(Brindle::Sim::Host const & host) {
  std::string out;
  for (Chip const * chip : host.chips()) {
    if (chip->routesInUse()) out += nameOf(*chip) + " holds entries\n";
    if (chip->setsInUse()) out += nameOf(*chip) + " holds outputs\n";
  }
  if (host.routeTables().oifSet().size()) out += "output sets are left\n";
  return out;
}

}  // namespace Simulation
