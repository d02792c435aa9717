#include "tests/simulation/ComparisonGroups.h"

#include <set>

#include "tests/simulation/ComparisonAsync.h"

namespace Simulation {

using namespace Routing::Multicast::Fib;

namespace {

RouteName nameOf(Multicast::Group::GroupKey const & key) {
  return {L3::VrfName::defaultVrf(), makeRouteKeyMcastGroup(key)};
}

}  // namespace

GroupComparison::GroupComparison(Brindle::Sim::Host const & host, GroupHistory const & history,
                                 Circumstances const & circumstances)
    : host_(host),
      history_(history),
      groups_(history.groups()),
      circumstances_(circumstances) {
  for (auto const * chip : host.chips()) {
    for (auto const & entry : host.hardware().entries(*chip)) {
      if (entry.key.sg.kind() != mcastGroup_) continue;
      standing_[Simulation::nameOf(*chip)][entry.key.sg.mcastGroup()] = {
          entry.multicastId, entry.active, textOf(entry.oifSet.get())};
    }
  }
  compareTable();
  for (auto const & [key, group] : groups_) compareGroup(key, group);
  if (!host.hardware().runs()) return;
  compareUnasked();
  compareIds();
}

void GroupComparison::differ(GroupKey const & key, std::string const & what) {
  Findings::differ("group " + std::to_string(key.group) + " of client " +
                   std::to_string(key.client) + " " + what);
}

// With routing on, the review that deletes a route waits for the first table of its VRF.
bool GroupComparison::mayBeDeletedLater() const {
  for (auto const & table : host_.tables()) {
    if (vrfOf(table) == L3::VrfName::defaultVrf()) return false;
  }
  return !host_.settings().l2Enabled;
}

// --- The table

void GroupComparison::compareTable() {
  auto const * const table = host_.routeTables().vrfMrouteTable(L3::VrfName::defaultVrf());
  if (!table) return;
  std::map<GroupKey, std::string> lines;
  for (auto i = table->mroute().begin(); i; i.advance()) {
    if (i.key().kind() != mcastGroup_) continue;
    auto const key = i.key().mcastGroup();
    lines[key] = i.key().pretty() + " " + textOf(i->oifSet().get()) + "\n";
    if (groups_.count(key)) continue;
    if (!i->markedForDeletion()) differ(key, "stands, but nobody asks for it");
    if (!mayBeDeletedLater()) differ(key, "is still to be deleted");
  }
  for (auto const & [key, line] : lines) shown_ += line;
}

void GroupComparison::compareGroup(GroupKey const & key, Group const & group) {
  auto const * const found = mroute(host_, nameOf(key));
  if (!found) return differ(key, "is missing in the table");
  if (found->markedForDeletion()) differ(key, "is asked for, and is to be deleted");
  std::string const computed = textOf(found->oifSet().get());
  if (found->acceptingVlanId().value() != group.vlan || computed != group.outputs) {
    differ(key, "\n  expected " + std::to_string(group.vlan) + ": " + group.outputs +
                    "\n  computed " + std::to_string(found->acceptingVlanId().value()) + ": " +
                    computed);
  }
  if (isOpen(host_, nameOf(key)) || host_.chips().empty()) return;
  bool const failed = isRetried(host_, nameOf(key));
  if (failed && !circumstances_.failuresExpected) differ(key, "has failed though there is room");
  compareAnswer(key, group, failed);
  for (auto const * chip : host_.chips()) {
    auto const & here = standing_[Simulation::nameOf(*chip)];
    if (failed && here.count(key)) differ(key, "has failed, and stands in a chip");
    if (!failed) compareChip(*chip, key, group);
  }
}

// A chip that came when the last one had gone has not been asked; what failed while the review is
// off may be what was asked for before.
void GroupComparison::compareAnswer(GroupKey const & key, Group const & group, bool failed) {
  auto const * const response = host_.groups().response(key);
  bool const waits =
      failed && host_.hardware().reviewConfig()->reviewFreq() != Brindle::mrouteReviewEnabled;
  bool const asked = !waits && group.lateChips.size() < host_.chips().size();
  if (!response || response->requestId() != group.requestId) {
    if (asked) differ(key, "has not been answered");
    return;
  }
  if (response->success() == failed) {
    differ(key, failed ? "has failed, and its client is told otherwise"
                       : "stands, and its client is told otherwise");
  }
  if ((response->multicastId() == 0) != failed) {
    differ(key, "is answered with the id " + std::to_string(response->multicastId()));
  }
}

// --- Chips

void GroupComparison::compareChip(Brindle::Sim::Chip const & chip, GroupKey const & key,
                                  Group const & group) {
  std::string const name = Simulation::nameOf(chip);
  auto const & here = standing_[name];
  auto const found = here.find(key);
  if (found == here.end()) {
    if (!group.lateChips.count(name)) differ(key, "is not in " + name);
    return;
  }
  Standing const & standing = found->second;
  if (!standing.active) differ(key, "is not active in " + name);
  if (standing.outputs != group.outputs) {
    differ(key, "\n  expected in " + name + " " + group.outputs + "\n  found " + standing.outputs);
  }
  auto const * const response = host_.groups().response(key);
  if (response && response->multicastId() != standing.multicastId) {
    differ(key, "has another id in " + name + " than its client was told");
  }
}

// Two groups never have one.
void GroupComparison::compareIds() {
  for (auto const & [chip, groups] : standing_) {
    std::map<U32, GroupKey> owners;
    for (auto const & [key, standing] : groups) {
      auto const [owner, isNew] = owners.emplace(standing.multicastId, key);
      if (!isNew) differ(key, "shares its id in " + chip);
    }
  }
}

// What nobody asks for stands nowhere, and nobody is told of it.
void GroupComparison::compareUnasked() {
  std::set<GroupKey> found;
  for (auto const & [chip, groups] : standing_) {
    for (auto const & one : groups) found.insert(one.first);
  }
  auto const & told = host_.groups().status()->response();
  for (auto i = told.begin(); i; i.advance()) found.insert(i.key());
  for (auto const & key : found) {
    if (groups_.count(key) || mroute(host_, nameOf(key)) || history_.isOrphan(key)) continue;
    differ(key, "is in a chip, or its client is told of it, and nobody asks for it");
  }
}

}  // namespace Simulation
