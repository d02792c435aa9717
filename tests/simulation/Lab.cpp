#include "tests/simulation/Lab.h"

#include <algorithm>

#include "platform/ShoalFiles.h"
#include "sim/Verify.h"
#include "tests/simulation/ComparisonBoundaries.h"
#include "tests/simulation/ComparisonCounters.h"
#include "tests/simulation/ComparisonExplain.h"
#include "tests/simulation/ComparisonFloodsets.h"
#include "tests/simulation/ComparisonGroups.h"
#include "tests/simulation/ComparisonPrefixes.h"

namespace Simulation {

using namespace Brindle::Sim;

Lab::Lab() : host_(out_), interpreter_(host_, simCommands()) {
  circumstances_.boundaries = &boundaries_;
}

bool Lab::run(std::string const & line) {
  auto const words = wordsOf(line);
  if (words.empty()) return true;
  Zet::Seconds const before = host_.now();
  try {
    carryOut(line, words);
  } catch (CommandError const & e) {
    traceText(e.what());
    return false;
  }
  note(words, before);
  fastdrops_.follow({words, out_.str(), before, [this] { return expectedRoutes(); }});
  if (words[0] == "settle" || line == healed || line == emptied) compare(line == healed);
  wrong_ += miscounted(host_);
  wrong_ += fastdrops_.takeDifferences();
  if (wrong_.empty() && line == emptied) compareLeftovers();
  traceText(out_.str());
  out_.str("");
  return true;
}

void Lab::carryOut(std::string const & line, std::vector<std::string> const & words) {
  floodsetWatch_.before(words);
  if (line == "tables private") return;
  if (!publishers_.run(words)) return interpreter_.run(line);
  if (words[0] == "publisher" && words[1] == "start") host_.attach(words[2]);
}

// What later comparisons have to know.
void Lab::note(std::vector<std::string> const & words, Zet::Seconds before) {
  std::string const verb = words.size() > 1 ? words[0] + " " + words[1] : words[0];
  auto & c = circumstances_;
  bool const comes = verb == "chip add" && host_.started(), goes = verb == "chip del";
  if (comes) c.lateChips.insert(words[2]);
  if (goes) c.lateChips.erase(words[2]);
  if (comes || goes) {
    c.chipsMoved = true;
    reviewed_ = false;
  }
  bool const sized = std::find(words.begin(), words.end(), "routes") != words.end();
  bool const mayFail = std::find(words.begin(), words.end(), "fail") != words.end();
  bool const resized = verb == "chip set" && words[3] != "groups" && words[3] != "profiles";
  if (mayFail || verb == "chip limit" || verb == "chip refuse" || resized ||
      (verb == "chip add" && sized)) {
    c.failuresExpected = true;
  }
  if (verb == "echo healed") c.failuresExpected = false;
  if (verb == "review all") reviewed_ = true;
  if (verb == "programmer start") noteLeftVrfs();
  if (words[0] == "publish") noteBackups(words);
  if (words[0] == "settle" && reviewed_) {
    c.lateChips.clear();
    c.chipsMoved = false;
  }
  floodsetWatch_.note(words, c.failuresExpected);
  c.keepingChanged = floodsetWatch_.keepingChanged();
  prefixHistory_.note(words, publishers_.read(host_.tables()));
  groups_.note(words);
  boundaries_.note({words, out_.str(), before, c.failuresExpected});
  bidir_.note(words, publishers_.bidir());
}

void Lab::noteLeftVrfs() {
  auto const & vrfs = host_.records().hardware->vrfStatus();
  for (auto i = vrfs.begin(); i; i.advance()) {
    if (!host_.routeTables().vrfMrouteTable(i.key())) circumstances_.leftVrfs.insert(i.key());
  }
}

// Where chips answer later the entry of a backup has the route's rendezvous point, and takes it
// along when it becomes the route's own.
void Lab::noteBackups(std::vector<std::string> const & words) {
  if (!chipsAnswerLater(host_)) return;
  for (auto const & table : publishers_.read(host_.tables())) {
    if (table.name != words[1]) continue;
    for (auto i = table.routes->routeBegin(); i; i.advance()) {
      auto const route = table.routes->route(i.key());
      if (!route.iifFrr()) continue;
      circumstances_.backupRpas[{vrfOf(table.name), i.key()}].insert(route.rpaId());
    }
  }
}

// An entry is made with the route's computation, so that of what is published no more only the
// entries count that stand.
void Lab::forgetBackups() {
  std::map<Key, std::set<U32>> standing;
  for (auto const * chip : host_.chips()) {
    for (auto const & entry : chip->entries()) standing[entry.key.sg].insert(entry.rpaId);
  }
  for (auto & [name, rpas] : circumstances_.backupRpas) {
    auto const * route = mroute(host_, name);
    std::set<U32> known = standing[name.key];
    if (route && route->frrVlanId()) known.insert(route->rpaId());
    std::erase_if(rpas, [&known](U32 rpa) { return !known.count(rpa); });
  }
  std::erase_if(circumstances_.backupRpas, [](auto const & one) { return one.second.empty(); });
}

FastdropHistory::Routes Lab::expectedRoutes() const {
  auto const tables = publishers_.read(host_.tables());
  auto routes = Oracle(host_, tables).routes();
  PrefixOracle(host_, tables, prefixHistory_).judge(routes);
  return routes;
}

void Lab::compare(bool isHealed) {
  auto const tables = publishers_.read(host_.tables());
  PrefixOracle const subnets(host_, tables, prefixHistory_);
  Oracle const oracle(host_, tables);
  auto routes = oracle.routes();
  subnets.judge(routes);
  BoundaryComparison const boundaries(host_, boundaries_, oracle);
  bidir_.compare(isHealed);
  fastdrops_.compare(routes, oracle, circumstances_);
  Comparison const comparison(host_, std::move(routes), circumstances_);
  FloodsetComparison const floodsets(host_, FloodsetOracle(host_, floodsetWatch_.treeless()),
                                     circumstances_);
  PrefixComparison const prefixes(host_, subnets, prefixHistory_, tables, circumstances_);
  GroupComparison const groups(host_, groups_, circumstances_);
  AsyncComparison const later(host_, {circumstances_.lateChips, groups_, boundaries_,
                                      circumstances_.failuresExpected, isHealed, forgotten_});
  forgotten_ = later.forgotten();
  std::erase_if(circumstances_.leftVrfs, [this](L3::VrfName vrf) {
    return host_.routeTables().vrfMrouteTable(vrf) != nullptr;
  });
  wrong_ = boundaries.differences() + comparison.differences() + later.differences() +
           floodsets.differences() + floodsetWatch_.takeDifferences() + prefixes.differences() +
           groups.differences() + bidir_.takeDifferences() + ExplainComparison(host_).differences();
  if (wrong_.empty()) verifyAll();
  if (wrong_.empty()) tamperWithOne();
  traceText(comparison.shown() + fastdrops_.shown() + floodsets.shown() + prefixes.shown() +
            groups.shown() + boundaries.shown() + bidir_.takeShown());
  circumstances_.unnoticed = comparison.unnoticed();
  forgetBackups();
  ++comparisons_;
  routesCompared_ += comparison.routes() + floodsets.routes();
}

void Lab::verifyAll() {
  for (auto const & one : verify(host_, std::nullopt).differences) {
    wrong_ += "verify: " + one.key.pretty() + ": " + one.where + ": " + one.what + "\n";
  }
}

namespace {

// The one with a number, of all that forward and that no chip is being told anything of.
std::pair<Chip *, Chip::Entry> chosenEntry(Host const & host, U32 number) {
  std::vector<std::pair<Chip *, Chip::Entry>> all;
  auto const & tables = host.routeTables().vrfMrouteTable();
  for (Chip * chip : host.chips()) {
    for (auto const & entry : host.hardware().entries(*chip)) {
      bool open = !entry.active;
      for (auto i = tables.begin(); i; i.advance()) open |= isOpen(host, {i.key(), entry.key.sg});
      if (!open) all.emplace_back(chip, entry);
    }
  }
  return all.empty() ? std::pair<Chip *, Chip::Entry>() : all[number % all.size()];
}

Tamper tamperOf(Chip::Entry const & entry, U32 number) {
  Tamper tamper;
  auto const * const set = entry.oifSet ? &entry.oifSet->portVlanSet() : nullptr;
  bool const hasOutputs = set && set->portVlans() != 0;
  switch (number % 4) {
    case 0:
      tamper.isRemoved = true;
      break;
    case 1:  // which VLAN a connected subnet came with nobody remembers
      if (set) tamper.vlan = Bridging::VlanIdOrNone(4001);
      tamper.isRemoved = !set;
      break;
    case 2:
      if (hasOutputs) tamper.taken = set->portVlan().items().begin()->port;
      tamper.isRemoved = !hasOutputs;
      break;
    default:
      tamper.added = Nettle::IntfId("p77");
      break;
  }
  return tamper;
}

}  // namespace

void Lab::tamperWithOne() {
  if (!host_.hardware().runs()) return;
  auto const [chip, entry] = chosenEntry(host_, comparisons_ * 7);
  if (!chip) return;
  floodsetWatch_.looksIs(false);
  chip->tamper(entry, tamperOf(entry, comparisons_));
  bool found = false;
  for (auto const & one : verify(host_, std::nullopt).differences) {
    found |= one.where == chip->name().view() && one.key.key == entry.key.sg;
  }
  chip->restore();
  floodsetWatch_.looksIs(true);
  if (!found) {
    wrong_ += "verify finds nothing wrong with " + entry.key.sg.pretty() + " in " + nameOf(*chip) +
              ", which was tampered with\n";
  }
}

// What nobody follows any more stays in the chips for ever.
void Lab::compareLeftovers() {
  auto const tables = publishers_.read(host_.tables());
  PrefixOracle const subnets(host_, tables, prefixHistory_);
  wrong_ = leftSubnets(host_, subnets);
  bool const abandoned =
      std::any_of(subnets.wanted().begin(), subnets.wanted().end(),
                  [&](auto const & one) { return subnets.abandoned(one.first.second); });
  if (!abandoned) wrong_ += leftovers(host_);
}

// FNV-1a. Where the tables lie differs from run to run.
void Lab::traceText(std::string text) {
  std::string const root = ZetShoal::shoalRoot();
  for (auto at = text.find(root); at != text.npos; at = text.find(root)) {
    text.erase(at, root.size());
  }
  for (char c : text) trace_ = (trace_ ^ static_cast<U8>(c)) * 0x100000001b3;
}

}  // namespace Simulation
