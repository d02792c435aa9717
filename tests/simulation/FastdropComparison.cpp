// Fastdrops of a switch at rest: what must stand against what stands, and what is known from there
// on.
#include <algorithm>

#include "mira/MiraRoot.h"
#include "tests/simulation/Comparison.h"
#include "tests/simulation/ComparisonAsync.h"
#include "tests/simulation/FastdropHistory.h"

namespace Simulation {

using Brindle::Mroute;

void FastdropHistory::compare(Routes & routes, Oracle const & oracle,
                              Circumstances const & circumstances) {
  circumstances_ = circumstances;
  shown_.clear();
  rest_ = routes;
  std::map<L3::VrfName, Total> before;
  for (auto const & [vrf, state] : vrfs_) before[vrf] = total(vrf);
  auto const & tables = host_.routeTables().vrfMrouteTable();
  for (auto table = tables.begin(); table; table.advance()) {
    for (auto i = table->mroute().begin(); i; i.advance()) routes_[{table.key(), i->key()}];
  }
  std::erase_if(routes_, [this](auto const & one) { return !standing(one.first); });
  if (!atRest_) {
    for (auto & [name, model] : routes_) settle(name, model);
  }
  countHolders();
  for (auto & [name, model] : routes_) compareRoute(name, model, oracle);
  for (auto & [vrf, state] : vrfs_) {
    resolveLimit(vrf, state.limit, before[vrf]);
    if (total(vrf).most == 0) state.poll.reset();  // it will find none
  }
  compareTotals();
  for (auto & [name, model] : routes_) addDrops(name, routes.at(name), oracle);
  atRest_ = true;
  onlyReviewed_ = false;
}

// What the computation of the route does to its drops.
void FastdropHistory::settle(RouteName const & name, Route & model) {
  if (isLeft(name)) return settleLeft(model, *mroute(name));
  ExpectedRoute const & route = rest_.at(name);
  auto const isInput = [](U32 vlan) { return vlan != 0; };
  auto const & accepted = model.accepted;
  bool const mayLose = !route.vlan && std::any_of(accepted.begin(), accepted.end(), isInput);
  bool const loses = mayLose && std::all_of(accepted.begin(), accepted.end(), isInput) &&
                     !accepted.count(unknownVlan);
  // A change of an interface that is another VRF's has nobody look at the routes of this one.
  auto const isToldOf = [&](U32 vlan) { return rules_.vrfOf(vlan) == name.vrf; };
  for (auto & [vlan, drop] : model.drops)
    drop.sure &= !rules_.forbids(route, vlan) || isToldOf(vlan);
  std::erase_if(model.drops, [&](auto const & one) {
    return (rules_.forbids(route, one.first) && isToldOf(one.first)) || (loses && one.second.sure);
  });
  if (mayLose) {
    for (auto & [vlan, drop] : model.drops) drop.sure = false;
  }
  for (auto & [vlan, count] : model.counts) {
    if (!rules_.receives(route, vlan)) continue;
    count.sure &= !count.receives && isToldOf(vlan);  // or it may not have been computed
    count.failures = 0;
  }
  model.accepted = {route.vlan};
  settleBackup(model, route.frr ? route.frr->vlan : 0);
}

// Nothing is known of it but what stands.
void FastdropHistory::settleLeft(Route & model, Mroute const & found) {
  for (auto & [vlan, drop] : model.drops) drop.sure = false;
  for (auto & [vlan, count] : model.counts) count.sure = false;
  model.accepted = {unknownVlan};
  model.hadBackup = model.backup = 0;
  for (auto const backup : {found.frrVlanId(), found.prevFrr()}) {
    if (backup) model.mayHaveHadBackup.insert(backup.value());
  }
}

// What the backup was is known where the route has been computed twice with it.
void FastdropHistory::settleBackup(Route & model, U32 backup) {
  if (backup && backup == model.backup && onlyReviewed_) model.hadBackup = backup;
  if (backup && backup != model.hadBackup) model.hadBackup = 0;
  if (backup) model.mayHaveHadBackup.insert(backup);
  model.backup = backup;
}

// --- One route

void FastdropHistory::compareRoute(RouteName const & name, Route & model, Oracle const & oracle) {
  Mroute const & found = *mroute(name);
  compareDrops(name, model, found);
  compareCounts(name, model, found);
  if (!isLeft(name)) {
    compareContents(name, model, oracle);
    compareChips(name, model);
  }
  compareActivity(name, model);
}

void FastdropHistory::compareContents(RouteName const & name, Route const & model,
                                      Oracle const & oracle) {
  for (auto const & [vlan, drop] : model.drops) {
    auto const set = mroute(name)->fastdrop(Bridging::VlanId(vlan));
    auto const expected = oracle.fastdropEntry(rest_.at(name), vlan).outputs.text();
    std::string const computed = set ? textOf(set->portVlanSet()) : "no set";
    if (expected == computed) continue;
    differ(text(name, vlan) + "\n  expected " + expected + "\n  computed " + computed);
  }
}

void FastdropHistory::compareDrops(RouteName const & name, Route & model, Mroute const & found) {
  std::erase_if(model.drops, [&](auto const & one) {
    bool const stands = found.fastdrop().contains(Bridging::VlanId(one.first));
    if (!stands && one.second.sure) differ(text(name, one.first) + " is missing in the table");
    return !stands;
  });
  for (auto & [vlan, drop] : model.drops) drop.sure = true;
  for (auto const & item : found.fastdrop().items()) {
    U32 const vlan = item.key.value();
    shown_ += text(name, vlan) + "\n";
    if (model.drops.count(vlan)) continue;
    differ(text(name, vlan) + " stands in the table, but no failures have made it");
    model.drops[vlan].seenAnew = true;
  }
}

void FastdropHistory::compareCounts(RouteName const & name, Route & model, Mroute const & found) {
  for (auto const & item : found.rpfFailureCount().items()) model.counts[item.key.value()];
  for (auto & [vlan, count] : model.counts) {
    U16 const counted = found.rpfFailureCount(Bridging::VlanId(vlan));
    if (count.sure && counted != count.failures) {
      differ(text(name, vlan) + ": expected " + std::to_string(count.failures) +
             " failures, found " + std::to_string(counted));
    }
    bool const receives = !isLeft(name) && rules_.receives(rest_.at(name), vlan);
    count = {counted, true, receives};
  }
}

void FastdropHistory::countHolders() {
  holders_.clear();
  for (auto const * chip : host_.chips()) {
    for (auto const & entry : boundaries_.others(*chip, chip->entries())) {
      ++holders_[{entry.key.sg, entry.key.vlanId.value()}];
    }
  }
}

// A drop stands in all chips or, if one refused it, in none; what stands is published.
void FastdropHistory::compareChips(RouteName const & name, Route const & model) {
  if (boundaries_.sharesStatus(name)) return;
  if (circumstances_.chipsMoved || isInTwoVrfs(name.key) || isOpen(host_, name)) return;
  U32 const chips = static_cast<U32>(host_.chips().size());
  for (auto const & [vlan, drop] : model.drops) {
    auto const found = holders_.find({name.key, vlan});
    U32 const holders = found == holders_.end() ? 0 : found->second;
    if (isInput(name, vlan)) continue;
    if (holders != 0 && holders != chips) {
      differ(text(name, vlan) + " stands in " + std::to_string(holders) + " chips of " +
             std::to_string(chips));
    }
    bool const published = activity(name, vlan) != nullptr;
    // Of an interface that has come since, only the next programming tells.
    bool const mayLack = drop.seenAnew || rules_.intfOf(vlan) != drop.intf;
    if (published != (holders != 0) && !(mayLack && !published)) {
      differ(text(name, vlan) + (published ? " is published, but stands in no chip"
                                           : " stands in the chips, but is not published"));
    }
  }
  auto const * published = statusOf(host_, name);
  if (!published) return;
  for (auto const & item : published->fastdropLastPollTime().items()) {
    U32 const vlan = host_.records().intfVlanIdTable->intfIdToVlanId(intfOf(item.key)).value();
    if (!model.drops.count(vlan)) differ(text(name, vlan) + " is published, but there is none");
  }
}

// Packets that a drop has met are told by the time at which they came last.
void FastdropHistory::compareActivity(RouteName const & name, Route & model) {
  for (auto & [vlan, drop] : model.drops) {
    auto const intf = rules_.intfOf(vlan);
    double const * const seen = activity(name, vlan);
    bool const anew = drop.seenAnew || chipsAnswerLater(host_) || intf != drop.intf ||
                      circumstances_.chipsMoved || circumstances_.failuresExpected ||
                      drop.published == Drop::no;
    if (boundaries_.sharesStatus(name)) continue;
    // Without a programmer what was published of an earlier drop stays.
    bool const isWritten = host_.hardware().runs();
    Span const expected = anew ? Span{drop.seen.first, now_} : drop.seen;
    if (seen && isWritten && (*seen < expected.first || *seen > expected.last)) {
      differ(text(name, vlan) + ": activity at " + std::to_string(*seen) + " is published, not " +
             std::to_string(expected.first) + " to " + std::to_string(expected.last));
    }
    if (seen) drop.seen = {*seen, *seen};
    drop.published = publishedAt(name, vlan);
    drop.intf = intf;
    drop.seenAnew = !seen;  // whatever is published next
  }
}

// --- Sums

void FastdropHistory::resolveLimit(L3::VrfName vrf, Limit & limit, Total before) {
  U32 const standing = total(vrf).least;
  limit.touched |= before.least != before.most || before.least != standing;
  if (!limit.known && limit.touched) mayTellAllClear(limit);
  bool const reached = host_.root().mira(vrf)->fastdropLimitReached();
  if (reached != limit.reached) {
    differ("VRF " + std::string(vrf.view()) + ": the operator has been told otherwise than that " +
           "the limit " + (reached ? "is" : "is not") + " reached");
  }
  limit.known = true;
  limit.touched = false;
}

// Drops may have come and gone since, or none have: then an all-clear that was due stays so.
void FastdropHistory::mayTellAllClear(Limit & limit) const {
  if (!limit.reached) return limit.allClear.reset();
  Span due = Span{limit.since, now_} + allClearDelay;
  if (limit.allClear) due.first = std::min(due.first, limit.allClear->first);
  limit.allClear = due;
  limit.allClearSure = false;
}

// What is published of a VRF is what its table holds.
void FastdropHistory::compareTotals() {
  for (auto const & [vrf, state] : vrfs_) {
    auto const * table = host_.routeTables().vrfMrouteTable(vrf);
    auto const * status = host_.records().hardware->vrfStatus(vrf);
    U32 standing = 0;
    for (auto i = table->mroute().begin(); i; i.advance()) standing += i->fastdrop().size();
    if (table->fastdropCount() != standing) {
      differ("VRF " + std::string(vrf.view()) + " counts " +
             std::to_string(table->fastdropCount()) + " fastdrops of " + std::to_string(standing));
    }
    if (status && status->fastdropCount() != standing) {
      differ("VRF " + std::string(vrf.view()) + " publishes " +
             std::to_string(status->fastdropCount()) + " fastdrops of " + std::to_string(standing));
    }
  }
  auto const mira = host_.root().mira(L3::VrfName::defaultVrf());
  if (mira && mira->rpfFailureCount() != failures_) {
    differ("expected " + std::to_string(failures_) + " failures in all, found " +
           std::to_string(mira->rpfFailureCount()));
  }
}

// --- The chips

// Where a chip refused the drop, it may lack until the route is programmed again, which comes with
// its next version.
void FastdropHistory::addDrops(RouteName const & name, ExpectedRoute & route,
                               Oracle const & oracle) {
  if (isLeft(name)) return;
  Mroute const & found = *mroute(name);
  for (auto & [vlan, drop] : routes_.at(name).drops) {
    if (drop.published == Drop::yes) {
      drop.refusedVersion = 0;
    } else if (circumstances_.failuresExpected) {
      drop.refusedVersion = found.version();
    }
    if (isInput(name, vlan)) continue;
    bool const later = chipsAnswerLater(host_);
    bool const mayLack =
        later || circumstances_.failuresExpected || drop.refusedVersion == found.version();
    route.drops.push_back({oracle.fastdropEntry(route, vlan), mayLack});
  }
}

// --- Tools

// Another entry of the route is there, by the records or still.
bool FastdropHistory::isInput(RouteName const & name, U32 vlan) const {
  Mroute const & found = *mroute(name);
  for (auto const input : {found.acceptingVlanId(), found.notifyingVlanId(),
                           found.staticFastdropVlanId(), found.frrVlanId()}) {
    if (input.value() == vlan) return true;
  }
  return FastdropRules::isInput(rest_.at(name), vlan);
}

bool FastdropHistory::isInTwoVrfs(Key const & key) const {
  return std::count_if(rest_.begin(), rest_.end(),
                       [&](auto const & one) { return one.first.key == key; }) > 1;
}

}  // namespace Simulation
