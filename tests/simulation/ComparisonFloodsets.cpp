#include "tests/simulation/ComparisonFloodsets.h"

#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"
#include "tests/simulation/ComparisonAsync.h"

namespace Simulation {

using namespace Routing::Multicast::Fib;
using Brindle::Mroute;
using Brindle::Sim::Chip;

FloodsetComparison::FloodsetComparison(Brindle::Sim::Host const & host,
                                       FloodsetOracle const & oracle,
                                       Circumstances const & circumstances)
    : host_(host),
      expected_(oracle.floodsets()),
      circumstances_(circumstances) {
  compareWanted(oracle.wantedElsewhere());
  compareTable();
  for (auto const & [key, route] : expected_) {
    compareRoute(key, route);
  }
  compareReview();
  if (!host.hardware().runs()) return;
  for (auto const & expected : expected_) compareFailed(expected.first);
  compareStatus();
  for (Chip const * chip : host.chips()) compareChip(*chip);
}

// --- What is wanted, and what was computed

// Where another process computes L2 routes, a VLAN that is turned off keeps what it had.
void FloodsetComparison::compareWanted(std::map<Key, ExpectedFloodset> const & elsewhere) {
  auto const & found = host_.root().l2Route();
  bool const here = host_.settings().l2Enabled;
  auto const & wanted = here ? expected_ : elsewhere;
  for (auto const & [key, route] : wanted) {
    if (!found.contains(key) && !route.mayStand) differ(key.pretty() + " is not wanted");
  }
  for (auto i = found.begin(); i; i.advance()) {
    bool const up = host_.records().vlanStatusDir->vlanStatus(i.key().vlanId());
    bool const on = here || (up && host_.policy().l2Vlans.contains(i.key().vlanId()));
    if (on && !wanted.count(i.key())) differ(i.key().pretty() + " is wanted without need");
  }
}

void FloodsetComparison::compareTable() {
  auto const & table = host_.routeTables().l2FloodsetTable();
  if (!table) return;
  std::map<Key, std::string> lines;
  for (auto i = table->mroute().begin(); i; i.advance()) {
    lines[i->key()] = i->key().pretty() + " " + textOf(i->oifSet().get()) + "\n";
    if (!expected_.count(i->key())) differ(i->key().pretty() + " stands, but nobody wants it");
  }
  for (auto const & [key, line] : lines) shown_ += line;
}

void FloodsetComparison::compareRoute(Key const & key, ExpectedFloodset const & route) {
  Mroute const * const found = mroute(key);
  if (!found) {
    if (!route.mayStand) differ(key.pretty() + " is missing in the table");
    return;
  }
  if (found->version() == 0) return differ(key.pretty() + " has not been computed");
  if (found->markedForDeletion()) differ(key.pretty() + " is still to be deleted");
  if (found->dirty()) differ(key.pretty() + " is still to be computed anew");
  if (route.leftAlone) return;
  std::string const computed = textOf(found->oifSet().get());
  if (found->acceptingVlanId().value() != route.vlan || computed != route.text()) {
    differ(key.pretty() + "\n  expected " + std::to_string(route.vlan) + ": " + route.text() +
           "\n  computed " + std::to_string(found->acceptingVlanId().value()) + ": " + computed);
  }
}

// --- What failed

bool FloodsetComparison::failed(Key const & key) const {
  if (!chipsAnswerLater(host_)) return failedWholly(host_, name(key));
  auto const l2 = host_.hardware().asyncMrouteSm(name(key).vrf)->l2Status();
  auto const * record = mroute(key) ? l2->programmedSet(*mroute(key)) : nullptr;
  return record && record->status == Brindle::ProgrammingStatus::notProgrammed;
}

void FloodsetComparison::compareFailed(Key const & key) {
  if (haveChipsGone(host_, circumstances_.lateChips)) return;
  if (failed(key) != isRetried(host_, name(key)) && !isOpen(host_, name(key))) {
    differ(key.pretty() + " has failed, and nobody tries it again, or the other way round");
  }
  if (failed(key) && !circumstances_.failuresExpected)
    differ(key.pretty() + " has failed though there is room");
}

// --- What is published

void FloodsetComparison::compareStatus() {
  for (auto const & key : host_.hardware().refused(L3::VrfName::defaultVrf())) {
    if (key.kind() == mroute_ || mroute(key)) continue;
    differ(key.pretty() + " is to be tried again, but is in no table");
  }
}

// At rest no review is under way. Who waits for the first one has heard that it has ended, if there
// was anything to review.
void FloodsetComparison::compareReview() {
  auto const l2 = host_.root().miraL2();
  if (!l2) return;
  if (l2->reviewInProgress()) differ("a review of L2 routes has not ended");
  if (host_.records().reviewInfo->review().contains(L3::VrfName("floodset"))) {
    differ("a review of L2 routes is said to go on");
  }
  auto const & table = *l2->mrouteTableColl()->l2FloodsetTable();
  if (!table.mroute().empty() && !table.mroutesInitialized()) {
    differ("L2 routes are said not to have been reviewed");
  }
}

// --- What stands in a chip

std::string FloodsetComparison::Entry::text() const {
  return "vlan " + std::to_string(vlan) + (active ? ": " : " (not active): ") + outputs;
}

void FloodsetComparison::compareChip(Chip const & chip) {
  std::map<Key, std::vector<Entry>> found;
  for (auto const & [key, route] : expected_) found[key];
  for (auto const & entry : host_.hardware().entries(chip)) {
    if (entry.key.sg.kind() == mroute_ || entry.key.sg.kind() == mcastGroup_) continue;
    found[entry.key.sg].push_back(
        {entry.key.vlanId.value(), entry.active, textOf(entry.oifSet.get())});
  }
  for (auto const & [key, entries] : found) {
    for (auto const & entry : entries) {
      shown_ += nameOf(chip) + ": " + key.pretty() + entry.text() + "\n";
    }
    compareEntries(nameOf(chip), key, entries);
  }
}

void FloodsetComparison::compareEntries(std::string const & chip, Key const & key,
                                        std::vector<Entry> const & found) {
  std::string const what = chip + ": " + key.pretty();
  auto const expected = expected_.find(key);
  if (expected == expected_.end() || !mroute(key)) {
    for (auto const & entry : found) differ(what + ": nobody needs " + entry.text());
    return;
  }
  if (isOpen(host_, name(key))) return;
  if (found.size() > 1) return differ(what + " stands more than once");
  if (failed(key)) return compareFailedEntries(what, key, found);
  bool const left = expected->second.leftAlone;
  std::string const outputs = left ? textOf(mroute(key)->oifSet().get()) : expected->second.text();
  Entry const wanted{expected->second.vlan, true, outputs};
  if (found.empty()) {
    if (!circumstances_.lateChips.count(chip)) differ(what + " lacks " + wanted.text());
  } else if (found[0].text() != wanted.text()) {
    differ(what + "\n  expected " + wanted.text() + "\n  found " + found[0].text());
  }
}

// A route that one chip refuses leaves all of them. Floodsets keep what stands, which then is the
// same in all chips; an entry that waits for the others does not count.
void FloodsetComparison::compareFailedEntries(std::string const & what, Key const & key,
                                              std::vector<Entry> const & found) {
  bool const kept =
      !chipsAnswerLater(host_) &&
      (key.kind() == vlanFloodset_ || key.kind() == multicastFloodset_) &&
      (!host_.records().hardware->deleteL2RouteOnFailure() || circumstances_.keepingChanged);
  for (auto const & entry : found) {
    if (!kept) differ(what + " has failed, but there is " + entry.text());
    if (!kept || !entry.active) continue;
    auto const & first = kept_.emplace(key, entry.text()).first->second;
    if (first != entry.text()) {
      differ(what + "\n  another chip kept " + first + "\n  found " + entry.text());
    }
  }
}

}  // namespace Simulation
