#include "tests/simulation/ComparisonAsync.h"

#include <algorithm>

#include "programmer/RpaReadiness.h"
#include "programmer/SpecialRoute.h"

namespace Simulation {

using namespace Brindle;
using Brindle::Sim::AsyncChip;
using Keel::XactResult;
namespace Fib = Routing::Multicast::Fib;

namespace {

bool isOutstanding(PendingXact const & xact) { return xact.is(XactResult::outstanding); }

bool isOutstanding(AsyncVlanInfo const & side) {
  return isOutstanding(side.oifAllocXact) || isOutstanding(side.setIngressXact);
}

bool hasOpenSides(AsyncZetMroute const & route) {
  for (AsyncChipInfo const & info : route.chipInfo()) {
    if (std::any_of(info.entries().begin(), info.entries().end(),
                    [](AsyncVlanInfo const & side) { return isOutstanding(side); })) {
      return true;
    }
  }
  return false;
}

U32 failureBits(MrouteFailureReason reason) { return reason.value & ~reason.keptBack(); }

// Chips have refused the route itself, and not only what is beside it.
bool hasFailed(AsyncZetMroute const & route) {
  return failureBits(route.reason()) && !route.inProgress() && !route.oifSet();
}

// What is in the chips is what the table wants.
bool isSettled(AsyncZetMroute const & route) {
  return route.mroute().version() && !route.inProgress() && !route.reason().keptBack() &&
         !hasFailed(route);
}

// Not in this life of the programmer: what an earlier one has published stays until then.
bool isUntried(AsyncZetMroute const & route) {
  return !route.oifSet() && !route.inProgress() && !failureBits(route.reason());
}

bool isL2(AsyncZetMroute const & route) { return route.key().kind() != Fib::mroute_; }

bool wantsEntry(Mroute const & mroute) {
  return mroute.acceptingVlanId() || mroute.rpaId() != Shoal::Multicast::Fib::rpaNone;
}

// Of such a one the programmer takes no notice.
bool isUnready(Mroute const & mroute) {
  return !mroute.acceptingVlanId() && mroute.rpaId() >= Shoal::Multicast::Fib::rpaInvalid;
}

OifSet const * contentOf(Zet::Ptr<MtableOifSet> const & set) {
  return set ? static_cast<SimMtableOifSet const &>(*set).oifSet().get() : nullptr;
}

char const * const kindNames[] = {"its entry", "a fastdrop", "its notify entry",
                                  "its persistent fastdrop", "its fast-reroute entry"};

char const * nameOf(EntryKind kind) { return kindNames[static_cast<U32>(kind)]; }

}  // namespace

bool isOpen(Brindle::Sim::Host const & host, RouteName const & name) {
  if (!host.hardware().runs()) return true;
  auto const * machine = host.hardware().asyncMrouteSm(name.vrf);
  auto const * route = machine ? machine->zetMroute(name.key) : nullptr;
  return route && (route->inProgress() || route->reason().keptBack() || hasOpenSides(*route));
}

AsyncComparison::AsyncComparison(Brindle::Sim::Host const & host,
                                 Circumstances const & circumstances)
    : host_(host),
      circumstances_(circumstances) {
  if (!chipsAnswerLater(host) || !host.hardware().runs()) return;
  auto const & tables = host.routeTables().vrfMrouteTable();
  for (auto table = tables.begin(); table; table.advance()) {
    auto const * machine = host.hardware().asyncMrouteSm(table.key());
    for (auto i = machine->zetMroute().begin(); i; i.advance()) {
      for (ChipInfo const & info : i->chipInfo()) hold(info);
      compareRoute({*machine, *i, {table.key(), i.key()}});
    }
    compareL2Records(*machine);
  }
  for (auto const * chip : chips()) compareChip(*chip);
}

std::vector<AsyncChip const *> AsyncComparison::chips() const {
  std::vector<AsyncChip const *> out;
  for (auto const * chip : host_.chips()) out.push_back(static_cast<AsyncChip const *>(chip));
  return out;
}

void AsyncComparison::differ(RouteName const & name, std::string const & what) {
  Findings::differ(name.text() + " " + what);
}

AsyncChipInfo const * AsyncComparison::infoOf(ZetMroute const & route,
                                              AsyncChip const & chip) const {
  for (ChipInfo const & info : route.chipInfo()) {
    if (&info.chip() == &chip) return &info;
  }
  return nullptr;
}

// --- One route

void AsyncComparison::compareRoute(Subject const & subject) {
  ZetMroute const & route = subject.route;
  compareProgress(subject);
  if (circumstances_.healed) compareHealed(subject);
  if (hasFailed(route) && !route.chipInfo().empty()) {
    differ(subject.name, "has failed, but the programmer holds something of it");
  }
  bool const programmed = isSettled(route) && !isUnready(route.mroute());
  // One that cannot be computed counts as about to be, and is not tried again before that.
  if (programmed && subject.machine.isDirty(route.mroute())) return;
  if (programmed) {
    compareEntry(subject);
    for (auto const & special : specialRoutes) compareSides(subject, special.kind);
    compareFastdrops(subject);
  } else {
    comparePending(subject);
  }
  if (isL2(route)) {
    compareL2Status(subject);
  } else {
    compareStatus(subject);
    compareSideStatus(subject);
  }
}

// Who waits does so for something.
void AsyncComparison::compareProgress(Subject const & subject) {
  ZetMroute const & route = subject.route;
  if (route.inProgress()) {
    auto const & infos = route.chipInfo();
    bool const waits = std::any_of(infos.begin(), infos.end(), [](ChipInfo const & info) {
      return isOutstanding(info.oifAllocXact()) || isOutstanding(info.setIngressXact());
    });
    if (!waits) differ(subject.name, "is in progress, but no transaction of it is open");
  } else if (route.reason() && subject.machine.isReviewEnabled() &&
             !subject.machine.reviewTimer()->reviewPending()) {
    differ(subject.name, "is not programmed as it is to be, and nobody tries it again");
  }
}

void AsyncComparison::compareHealed(Subject const & subject) {
  ZetMroute const & route = subject.route;
  if (isUnready(route.mroute()) || host_.chips().empty()) return;
  if (route.inProgress()) differ(subject.name, "is in progress though all chips answer");
  if (route.reason()) differ(subject.name, "is not programmed: " + route.reason().pretty());
}

// --- Its own entry

void AsyncComparison::compareEntry(Subject const & subject) {
  Mroute const & mroute = subject.route.mroute();
  bool const wanted = isL2(subject.route) || wantsEntry(mroute);
  for (auto const * chip : chips()) {
    ChipInfo const * const info = infoOf(subject.route, *chip);
    bool const holds = info && info->mtableOifSet();
    if (holds && wanted) {
      compareEntry(subject, *info);
    } else if (holds || (wanted && !isLate(subject.route, *chip))) {
      differ(subject.name, (holds ? "is still held for " : "lacks for ") + nameOf(*chip));
    }
  }
}

bool AsyncComparison::isLate(ZetMroute const & route, AsyncChip const & chip) const {
  bool const isGroup = route.key().kind() == Fib::mcastGroup_;
  if (isGroup) return circumstances_.groups.isLate(route.key().mcastGroup(), nameOf(chip));
  return circumstances_.lateChips.count(nameOf(chip)) != 0;
}

void AsyncComparison::compareEntry(Subject const & subject, ChipInfo const & info) {
  Mroute const & mroute = subject.route.mroute();
  auto const & chip = static_cast<AsyncChip const &>(info.chip());
  bool const pending = info.oifAllocXact() || info.setIngressXact() || info.oldMtableOifSet() ||
                       !info.oldRpfRouteHandle().isNull() || !info.mtableOifSetCommitted();
  if (pending) differ(subject.name, "is programmed, but something is pending on " + nameOf(chip));
  if (contentOf(info.mtableOifSet()) != mroute.oifSet().get()) {
    differ(subject.name, "has another set on " + nameOf(chip) + " than in the table");
  }
  if (!chip.needIngressProgramming(subject.route.key().kind())) return;
  auto const entry = chip.entry(info.rpfRouteHandle());
  bool const same = entry && entry->active && entry->key.sg == subject.route.key() &&
                    entry->key.vlanId == mroute.acceptingVlanId() &&
                    entry->oifSet == mroute.oifSet();
  if (!same) differ(subject.name, "does not stand so in " + nameOf(chip));
}

// Packets go by what the programmer still holds. A fast-reroute entry that the route has taken over
// forwards as it did.
void AsyncComparison::comparePending(Subject const & subject) {
  for (ChipInfo const & info : subject.route.chipInfo()) {
    auto const & chip = static_cast<AsyncChip const &>(info.chip());
    auto const compare = [&](RouteHandle handle, OifSet const * pending) {
      auto const entry = chip.entry(handle);
      OifSet const * const found = entry ? entry->oifSet.get() : nullptr;
      bool const known = found == pending || found == contentOf(info.oldMtableOifSet());
      if (entry && known) return;
      differ(subject.name, "forwards in " + nameOf(chip) + " by what nobody holds any more");
    };
    if (!info.oldRpfRouteHandle().isNull()) {
      compare(info.oldRpfRouteHandle(), nullptr);
    } else if (!info.rpfRouteHandle().isNull() && !mayBeTakenOver(info)) {
      compare(info.rpfRouteHandle(), contentOf(info.mtableOifSet()));
    }
  }
}

bool AsyncComparison::mayBeTakenOver(ChipInfo const & info) const {
  bool const isNew = !info.rpfRouteHandleCommitted() || host_.records().hardware->avoidDuplicates();
  return isNew && isOutstanding(info.setIngressXact());
}

// --- The entries beside it

void AsyncComparison::compareSides(Subject const & subject, EntryKind kind) {
  Mroute const & mroute = subject.route.mroute();
  auto const & special = specialRoute(kind);
  auto const vlan = (mroute.*special.vlan)();
  auto const & set = (mroute.*special.oifSet)();
  bool const wanted = vlan && set;
  U32 standing = 0;
  for (ChipInfo const & info : subject.route.chipInfo()) {
    VlanInfo const * const side = info.entries().find(kind);
    standing += side != nullptr;
    if (side && (!wanted || side->vlanId != vlan)) {
      differ(subject.name, std::string("still has ") + nameOf(kind));
    } else if (side) {
      compareSide(subject, info, *side, set.get());
    }
  }
  if (!wanted || !circumstances_.lateChips.empty() || host_.chips().empty()) return;
  if (standing == host_.chips().size()) return;
  if (standing) differ(subject.name, std::string("has ") + nameOf(kind) + " in some chips only");
  if (subject.route.reason()) return;
  std::pair const version(subject.name, mroute.version());
  if (circumstances_.failuresExpected || circumstances_.forgotten.count(version)) {
    forgotten_.insert(version);
  } else {
    differ(subject.name, std::string("lacks ") + nameOf(kind));
  }
}

// A fastdrop is best effort, but stands in all chips or in none.
void AsyncComparison::compareFastdrops(Subject const & subject) {
  Mroute const & mroute = subject.route.mroute();
  std::map<Bridging::VlanId, std::size_t> standing;
  for (ChipInfo const & info : subject.route.chipInfo()) {
    for (VlanInfo const & side : info.entries()) {
      if (side.kind != EntryKind::fastdrop) continue;
      ++standing[side.vlanId];
      auto const set = mroute.fastdrop(side.vlanId);
      if (!set) differ(subject.name, "still has a fastdrop");
      if (set) compareSide(subject, info, side, set.get());
    }
  }
  if (!circumstances_.lateChips.empty()) return;
  for (auto const & [vlan, chips] : standing) {
    if (chips != host_.chips().size()) differ(subject.name, "has a fastdrop in some chips only");
  }
}

void AsyncComparison::compareSide(Subject const & subject, ChipInfo const & info,
                                  VlanInfo const & side, OifSet const * set) {
  auto const & chip = static_cast<AsyncChip const &>(info.chip());
  auto const entry = chip.entry(side.routeHandle);
  std::string const what = std::string(nameOf(side.kind)) + " in " + nameOf(chip);
  if (!entry || entry->key.sg != subject.route.key() || entry->key.vlanId != side.vlanId) {
    return differ(subject.name, "lacks " + what + ", which the programmer holds");
  }
  if (contentOf(side.mtableOifSet) != set) differ(subject.name, "has an old set for " + what);
  if (isOutstanding(side)) return;
  if (!entry->active || entry->oifSet.get() != set) {
    differ(subject.name, "has confirmed " + what + ", which does not stand so");
  }
}

// --- What is published

void AsyncComparison::compareStatus(Subject const & subject) {
  ZetMroute const & route = subject.route;
  auto const status = subject.machine.statusWriter().routeStatus(route.key());
  U32 const failure = hasFailed(route) ? failureBits(route.reason()) : 0;
  U8 const expected = static_cast<U8>((failure & 0xff ? Fib::Hardware::RouteStatus::noIntfs : 0) |
                                      (failure & 0xff00 ? Fib::Hardware::RouteStatus::noRoute : 0));
  bool const decided = hasFailed(route) || (isSettled(route) && !route.chipInfo().empty());
  if (!decided) return;
  if (!status) return differ(subject.name, "has no status");
  if (status->hwFlags() != expected) {
    differ(subject.name, "is published with flags " + std::to_string(status->hwFlags()) +
                             ", expected " + std::to_string(expected));
  }
}

// The interface of an entry is told once all chips have confirmed it. It stays with a route that
// has lost its chips until that is programmed again, which may be kept back.
void AsyncComparison::compareSideStatus(Subject const & subject) {
  auto const status = subject.machine.statusWriter().routeStatus(subject.route.key());
  bool const lostChips = subject.route.chipInfo().empty() && subject.route.reason().keptBack();
  bool const chipsMoved = !circumstances_.lateChips.empty() || host_.chips().empty() || lostChips;
  if (!status || isUntried(subject.route) || chipsMoved) return;
  std::pair<EntryKind, Nettle::IntfId> const published[] = {
      {EntryKind::notify, status->notifyingIntfId()},
      {EntryKind::staticFastdrop, status->staticFastdropIntfId()},
      {EntryKind::frr, status->frrIntfId()}};
  for (auto const & [kind, intf] : published) {
    if (!intf) continue;
    U32 confirmed = 0;
    for (ChipInfo const & info : subject.route.chipInfo()) {
      VlanInfo const * const side = info.entries().find(kind);
      confirmed += side && !side->setIngressXact;
    }
    if (confirmed == 0) differ(subject.name, std::string("publishes ") + nameOf(kind));
  }
}

void AsyncComparison::compareL2Status(Subject const & subject) {
  ZetMroute const & route = subject.route;
  auto const all = chips();
  bool const allLate =
      std::all_of(all.begin(), all.end(), [&](auto const * chip) { return isLate(route, *chip); });
  if (route.chipInfo().empty() && allLate) return;
  ProgrammingStatus expected = ProgrammingStatus::programmed;
  if (route.inProgress()) expected = ProgrammingStatus::inProgress;
  if (hasFailed(route)) expected = ProgrammingStatus::notProgrammed;
  if (isUntried(route) && !isSettled(route)) return;
  auto const * record = subject.machine.l2Status()->programmedSet(route.mroute());
  if (!record) return differ(subject.name, "has no status");
  if (record->status != expected) {
    differ(subject.name, "is published with status " +
                             std::to_string(static_cast<int>(record->status)) + ", expected " +
                             std::to_string(static_cast<int>(expected)));
  }
  bool const shows = expected == ProgrammingStatus::programmed;
  if (shows && record->oifSet != route.oifSet()) {
    differ(subject.name, "is published with another set than it has");
  }
  if (hasFailed(route) && record->oifSet && route.key().kind() != Fib::mcastGroup_) {
    differ(subject.name, "has failed, but is published with a set");
  }
}

// Nothing is published of what is in no table.
void AsyncComparison::compareL2Records(Machine const & machine) {
  std::set<Bridging::VlanId> vlans;
  for (auto i = machine.zetMroute().begin(); i; i.advance()) {
    if (isL2(*i) && i->mroute().acceptingVlanId()) {
      vlans.insert(Bridging::VlanId(i->mroute().acceptingVlanId()));
    }
  }
  for (auto i = machine.l2Status()->vlanStatus().begin(); i; i.advance()) {
    if (vlans.count(i.key())) continue;
    Findings::differ("VLAN " + std::to_string(i.key().value()) + " has a status, but no L2 route");
  }
}

// --- Chips

void AsyncComparison::hold(ChipInfo const & info) {
  Held & held = held_[&info.chip()];
  held.sets.insert(contentOf(info.mtableOifSet()));
  held.sets.insert(contentOf(info.oldMtableOifSet()));
  held.handles.emplace(info.rpfRouteHandle(), mayBeTakenOver(info));
  held.handles.emplace(info.oldRpfRouteHandle(), false);
  for (VlanInfo const & side : info.entries()) {
    held.sets.insert(contentOf(side.mtableOifSet));
    held.handles.emplace(side.routeHandle, isOutstanding(side));
  }
}

// All that it holds is some route's. The old set of an entry beside a route's own is the chip's
// alone until it has confirmed the new one.
void AsyncComparison::compareChip(AsyncChip const & chip) {
  Held & held = held_[&chip];
  for (auto const & entry : circumstances_.boundaries.others(chip, chip.entries())) {
    auto const holder = held.handles.find(entry.handle);
    if (holder == held.handles.end()) {
      Findings::differ(nameOf(chip) + ": nobody holds " + entry.key.sg.pretty() + " in VLAN " +
                       std::to_string(entry.key.vlanId.value()));
    } else if (holder->second) {
      held.sets.insert(entry.oifSet.get());
    }
  }
  auto const & sets = chip.inUseOifSet();
  for (auto i = sets.begin(); i; i.advance()) {
    if (held.sets.count(i.value().ptr->oifSet().get())) continue;
    Findings::differ(nameOf(chip) + ": nobody holds the set " +
                     Simulation::textOf(i.value().ptr->oifSet()->portVlanSet()));
  }
}

}  // namespace Simulation
