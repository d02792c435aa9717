#include "tests/simulation/OracleBoundaries.h"

#include <algorithm>

#include "mira/MiraBoundarySm.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

using Nettle::IpGenAddr;
using Zet::Seconds;

namespace {

BoundaryOracle::Prefix const anySource("0.0.0.0/0");

IpGenAddr const allGroups;

// A drop ages out at the first poll after two intervals; a poll may come a little early.
constexpr Seconds pollInterval = 180;
constexpr Seconds longestIdle = 359.5;
constexpr Seconds longestPoll = 1;

std::string verbOf(BoundaryOracle::Words const & words) {
  return words.size() > 1 ? words[0] + " " + words[1] : words[0];
}

bool isOf(std::string const & verb, std::initializer_list<char const *> verbs) {
  return std::find(verbs.begin(), verbs.end(), verb) != verbs.end();
}

}  // namespace

void BoundaryOracle::note(Line const & line) {
  Words const & words = line.words;
  std::string const verb = verbOf(words);
  mayFail_ = line.mayFail;
  bool const begins =
      words[0] == "no-cache" || isOf(verb, {"boundary add", "boundary del", "boundary vif"});
  if (begins && !std::exchange(begun_, true)) decide();
  if (words[0] == "boundary") noteBoundary(words);
  if (words[0] == "linecard") noteCard(words);
  if (verb == "programmer start") {
    byTcam_ = learns_ = false;
    deniers_.clear();
    vrfs_.clear();
    if (begun_) decide();
  }
  if (verb == "chip del") {
    for (auto & [intf, denier] : deniers_) {
      for (auto & [group, sources] : denier.groups) {
        for (auto & [source, denial] : sources) denial.erase(words[2]);
      }
    }
    for (auto & [name, vrf] : vrfs_) {
      for (auto & [what, drop] : vrf.drops) drop.chips.erase(words[2]);
    }
  }
  noteDeniers(words);
  if (!begun_) return;
  noteVrfs(line);
  noteReports(line);
  for (auto & [name, vrf] : vrfs_) {
    if (verb == "clear fastdrop" && words.back() == name.view()) {
      for (auto & [what, drop] : vrf.drops) drop.stands = Is::no;
    }
  }
  for (auto & [name, state] : polls_) passTime(name, state, line);
  for (auto & [name, vrf] : vrfs_) notePublished(vrf, name);
}

// --- Where boundaries run

void BoundaryOracle::noteBoundary(Words const & words) {
  if (words[1] == "system") {
    system_ = words[2] == "linecard" ? words.at(3) : words[2] == "fixed" ? "FixedSystem" : "";
  } else if (words[1] == "add" || words[1] == "del") {
    IntfId const intf(words.at(4));
    Prefix const prefix(words[2]);
    if (words[1] == "add") {
      boundaries_[intf].insert(prefix);
      return;
    }
    auto const boundary = boundaries_.find(intf);
    if (boundary == boundaries_.end()) return;
    if (boundary->second.erase(prefix)) withdraw(intf, prefix);
    if (!boundary->second.empty()) return;
    boundaries_.erase(boundary);
    withdraw(intf, {});
  }
}

void BoundaryOracle::noteCard(Words const & words) {
  if (words[1] == "del") {
    cards_.erase(words[2]);
  } else {
    cards_[words[2]] = words.at(3) == "tcam";
  }
  if (begun_) decide();
}

bool BoundaryOracle::allCan() const {
  return std::all_of(cards_.begin(), cards_.end(), [](auto const & one) { return one.second; });
}

bool BoundaryOracle::can() const {
  auto const own = cards_.find(system_);
  return own != cards_.end() && own->second;
}

// One card that cannot has all of a modular system learn. A linecard that has gone itself goes on
// as it did, and so does what learns where chips answer later.
void BoundaryOracle::decide() {
  bool const isFixed = system_ == "FixedSystem";
  bool const keeps = chipsAnswerLater(host_) && learns_;
  byTcam_ = isFixed ? can() : allCan() && (can() || byTcam_);
  learns_ = isFixed ? !can() || keeps : system_.empty() && !allCan();
  if (!byTcam_) deniers_.clear();
  if (!learns_) vrfs_.clear();
}

// --- In the chips

U32 BoundaryOracle::vlanOf(IntfId intf) const {
  return host_.records().intfVlanIdTable->intfIdToVlanId(intf).value();
}

// Chips that answer later deny whatever the source.
std::map<BoundaryOracle::IntfId, BoundaryOracle::Subnets> BoundaryOracle::publishedSubnets() const {
  std::map<IntfId, Subnets> out;
  if (chipsAnswerLater(host_)) return out;
  for (auto const & entry : host_.records().pimIntfStatus->intfStatus().items()) {
    Subnets & subnets = out[entry.key];
    subnets.status = Zet::Ptr<Status const>(&*entry.value);
    for (auto i = entry.value->route().begin(); i; i.advance()) {
      subnets.routes[i.key()] = Zet::Ptr<Route const>(&*i);
    }
  }
  return out;
}

// An interface is begun anew when it is told its internal VLAN, be it the same, and so is the
// routed interface of that VLAN.
std::set<BoundaryOracle::IntfId> BoundaryOracle::remade(Words const & words) const {
  if (words.size() < 4 || words[0] != "ip" || words[1] != "link") return {};
  IntfId const intf(words[3]);
  auto const last = internalVlans_.find(intf);
  U32 const was = last == internalVlans_.end() ? 0 : last->second;
  U32 const is = host_.records().intfVlanIdTable->internalVlanId(intf).value();
  bool const told = is && isOf("internal-vlan", {words.size() > 4 ? words[4].c_str() : "",
                                                 words.size() > 6 ? words[6].c_str() : ""});
  if (was == is && !told) return {};
  std::set<IntfId> out{intf};
  for (U32 vlan : {was, is}) {
    if (vlan) out.insert(IntfId::ofVlan(Bridging::VlanId(vlan)));
  }
  return out;
}

void BoundaryOracle::noteDeniers(Words const & words) {
  auto const before = std::exchange(subnets_, publishedSubnets());
  for (IntfId intf : remade(words)) deniers_.erase(intf);
  internalVlans_.clear();
  for (auto const & entry : host_.records().intfVlanIdTable->internalVlanId().items()) {
    internalVlans_[entry.key] = entry.value.value();
  }
  std::erase_if(deniers_, [this](auto const & one) { return !boundaries_.count(one.first); });
  if (!byTcam_) return;
  static Subnets const none;
  auto const of = [](auto const & all, IntfId intf) -> Subnets const & {
    auto const found = all.find(intf);
    return found == all.end() ? none : found->second;
  };
  for (auto const & [intf, all] : boundaries_) {
    std::set<Prefix> const & prefixes = all;
    U32 const vlan = vlanOf(intf);
    if (!vlan) continue;
    auto const [denier, isNew] = deniers_.try_emplace(intf);
    denier->second.vlan = vlan;
    auto & groups = denier->second.groups;
    std::erase_if(groups, [&](auto const & one) { return !prefixes.count(one.first); });
    Subnets const &was = of(before, intf), &is = of(subnets_, intf);
    if (!isNew) noteSubnets(denier->second, was, is);
    for (auto const & prefix : prefixes) {
      bool const isV4 = prefix.af() == Nettle::ipv4();
      if (isV4 && !groups.count(prefix)) addGroup(denier->second, prefix, was, is);
    }
  }
}

// Where a line has said both, the group may have come before the subnets were known, or after.
void BoundaryOracle::addGroup(Denier & denier, Prefix const & group, Subnets const & before,
                              Subnets const & subnets) const {
  auto & sources = denier.groups[group];
  if (!before.status || !subnets.status) sources[anySource] = tried();
  if (!before.status != !subnets.status) {
    for (auto & [chip, is] : sources[anySource]) is = Is::unknown;
  }
  for (auto const & [subnet, route] : subnets.routes) sources[subnet] = tried();
}

void BoundaryOracle::noteSubnets(Denier & denier, Subnets const & before,
                                 Subnets const & now) const {
  for (auto & [group, sources] : denier.groups) {
    std::erase_if(sources, [&now](auto const & one) {
      return one.first != anySource && !now.routes.count(one.first);
    });
    for (auto const & [subnet, route] : now.routes) {
      auto const known = before.routes.find(subnet);
      bool const same = known != before.routes.end() && known->second == route;
      if (!same || before.status != now.status) sources[subnet] = tried();
    }
  }
}

BoundaryOracle::Denial BoundaryOracle::tried() const {
  Denial out;
  for (auto const * chip : host_.chips()) out[nameOf(*chip)] = mayFail_ ? Is::unknown : Is::yes;
  return out;
}

// --- Learned

BoundaryOracle::IntfId BoundaryOracle::intfOf(U32 vlan) const {
  return host_.records().intfVlanIdTable->vlanIdToIntfId(Bridging::VlanIdOrNone(vlan));
}

bool BoundaryOracle::isDenied(L3::VrfName vrf, IpGenAddr const & group, U32 vlan) const {
  return vrfs_.count(vrf) && match(intfOf(vlan), group);
}

// The longest prefix counts.
std::optional<BoundaryOracle::Prefix> BoundaryOracle::match(IntfId intf,
                                                            IpGenAddr const & group) const {
  std::optional<Prefix> out;
  auto const boundary = boundaries_.find(intf);
  if (boundary == boundaries_.end()) return out;
  for (auto const & prefix : boundary->second) {
    bool const fits = prefix.af() == Nettle::ipv4() && prefix.contains(group);
    if (fits && (!out || prefix.length() > out->length())) out = prefix;
  }
  return out;
}

// What was learned in a VRF goes with its multicast routing.
void BoundaryOracle::noteVrfs(Line const & line) {
  auto const & records = host_.records();
  auto const routes = [&](L3::VrfName name) {
    auto const * const config = records.mfibVrfConfig->config(name);
    return learns_ && config && config->routing() && records.allVrfStatusLocal->vrf(name);
  };
  std::erase_if(vrfs_, [&routes](auto const & one) { return !routes(one.first); });
  for (auto i = records.allVrfStatusLocal->vrf().begin(); i; i.advance()) {
    if (routes(i.key())) vrfs_.try_emplace(i.key());
  }
  for (auto i = host_.root().mira().begin(); i; i.advance()) {
    auto const * const resolver = i->miraBoundarySm().get();
    Poll & state = polls_[i.key()];
    if (std::exchange(state.resolver, resolver) == resolver) continue;
    state.due = {line.before + pollInterval, host_.now() + pollInterval};
  }
  std::erase_if(polls_, [this](auto const & one) { return !host_.root().mira(one.first); });
  for (auto & [name, vrf] : vrfs_) {
    noteResolver(vrf, name);
    noteMoves(vrf, name);
  }
}

// A resolver that is new takes up all that is recorded of interfaces with a VLAN.
void BoundaryOracle::noteResolver(Vrf & vrf, L3::VrfName name) {
  auto const * const resolver = polls_.count(name) ? polls_.at(name).resolver : nullptr;
  if (vrf.resolver == resolver) return;
  vrf.resolver = resolver;
  vrf.drops.clear();
  for (auto & [what, record] : vrf.records) {
    record.vlan = vlanOf(what.first);
    makeDrop(vrf, name, what.second, record);
  }
}

// Drops go where their interface goes; they stay where it was when it loses its VLAN.
void BoundaryOracle::noteMoves(Vrf & vrf, L3::VrfName name) {
  for (auto & [what, record] : vrf.records) {
    U32 const vlan = vlanOf(what.first);
    if (!vlan || vlan == record.vlan) continue;
    takeDrop(vrf, what.second, record, Is::no);
    record.vlan = vlan;
    makeDrop(vrf, name, what.second, record);
  }
}

void BoundaryOracle::noteReports(Line const & line) {
  Words const & words = line.words;
  if (words[0] != "no-cache" && words[0] != "traffic") return;
  Key const key(Prefix(IpGenAddr(words.at(1))), Prefix(IpGenAddr(words.at(2))));
  auto const vrfOfIntf = [this](IntfId intf) {
    auto const * const status = host_.records().ipStatus->ipIntfStatus(intf);
    return status && !status->vrf().empty() ? status->vrf() : L3::VrfName::defaultVrf();
  };
  if (words[0] == "traffic") {
    IntfId const intf = intfOf(static_cast<U32>(std::stoul(words.at(4))));
    bool const dropped = line.printed.find("to the CPU 0") != std::string::npos;
    if (intf && !dropped) report(vrfOfIntf(intf), intf, key);
  } else if (words.at(3) == "dev") {
    report(vrfOfIntf(IntfId(words.at(4))), IntfId(words[4]), key);
  } else {
    // How the kernel numbers interfaces is the simulated switch's own doing; it is told.
    std::string const named = line.printed.substr(line.printed.find(" is ") + 4);
    L3::VrfName const vrf = words.size() > 6 ? L3::VrfName(words[6]) : L3::VrfName::defaultVrf();
    report(vrf, IntfId(named.substr(0, named.find('\n'))), key);
  }
}

// What is recorded already is so, and stays as it is.
void BoundaryOracle::report(L3::VrfName name, IntfId intf, Key const & key) {
  IpGenAddr const group = key.group().address();
  auto const vrf = vrfs_.find(name);
  auto const prefix = match(intf, group);
  if (vrf == vrfs_.end() || !prefix) return;
  vrf->second.matched[{intf, *prefix}][group] = true;
  auto const [at, isNew] = vrf->second.records.try_emplace({intf, key});
  Record & record = at->second;
  if (!isNew && record.stands != Is::no) return;
  record.vlan = vlanOf(intf);
  auto const & going = vrf->second.going;
  bool const goes = going.count({intf, group}) || going.count({intf, allGroups});
  record.stands = goes ? Is::unknown : Is::yes;
  makeDrop(vrf->second, name, key, record);
}

// What was learned by the prefix, or on the interface.
void BoundaryOracle::withdraw(IntfId intf, std::optional<Prefix> const & prefix) {
  for (auto & [name, vrf] : vrfs_) {
    if (prefix) {
      auto const matched = vrf.matched.extract({intf, *prefix});
      if (matched.empty()) continue;
      for (auto const & [group, sure] : matched.mapped()) withdraw(vrf, {intf, group}, sure);
      continue;
    }
    vrf.going.insert({intf, allGroups});
    std::erase_if(vrf.matched, [intf](auto const & one) { return one.first.first == intf; });
    for (auto const & [what, record] : vrf.records) {
      if (what.first == intf) withdraw(vrf, {intf, what.second.group().address()}, true);
    }
  }
}

void BoundaryOracle::withdraw(Vrf & vrf, std::pair<IntfId, IpGenAddr> const & group, bool sure) {
  vrf.going.insert(group);
  for (auto & [what, record] : vrf.records) {
    if (what.first != group.first || what.second.group().address() != group.second) continue;
    takeDrop(vrf, what.second, record, sure ? Is::no : Is::unknown);
    if (record.stands != Is::no) record.stands = sure ? Is::no : Is::unknown;
  }
}

void BoundaryOracle::makeDrop(Vrf & vrf, L3::VrfName name, Key const & key, Record const & record) {
  if (!vrf.resolver || !record.vlan || record.stands == Is::no) return;
  shared_.insert({name, key});
  auto const [at, isNew] = vrf.drops.try_emplace({key, record.vlan});
  Drop & drop = at->second;
  if (!isNew && drop.stands == Is::yes) return;
  drop = Drop();
  drop.stands = record.stands;
  drop.mayLack = mayFail_;
  for (auto const * chip : host_.chips()) drop.chips.insert(nameOf(*chip));
  auto const * const route = mroute(host_, {name, key});
  if (route) drop.version = route->version();
}

// The one of another interface that has had the same VLAN goes with it.
void BoundaryOracle::takeDrop(Vrf & vrf, Key const & key, Record const & record, Is stands) {
  auto const drop = vrf.drops.find({key, record.vlan});
  if (drop == vrf.drops.end() || drop->second.stands == Is::no) return;
  drop->second.stands = record.stands == Is::yes ? stands : Is::unknown;
}

// --- Time

void BoundaryOracle::passTime(L3::VrfName name, Poll & state, Line const & line) {
  Seconds const now = host_.now();
  auto const vrf = vrfs_.find(name);
  auto & [first, last] = state.due;
  while (state.resolver && first <= now && line.before < now) {
    bool const over = last + longestPoll <= now;
    if (vrf != vrfs_.end()) poll(vrf->second, {first, std::min(last + longestPoll, now)}, over);
    if (!over) return;
    first += pollInterval;
    last += pollInterval + longestPoll;
  }
}

// What nobody publishes anything of is dropped no more, but stays recorded. What nobody knows the
// age of counts as old.
void BoundaryOracle::poll(Vrf & vrf, Span at, bool sure) {
  for (auto & [what, drop] : vrf.drops) {
    if (drop.stands == Is::no) continue;
    Seconds const seen = drop.seen.value_or(0);
    if (drop.published && at.last - seen < longestIdle) continue;
    bool const surely = sure && drop.seen && at.first - seen >= longestIdle;
    Is const left = surely && drop.stands == Is::yes ? Is::no : Is::unknown;
    drop.stands = left;
    if (!drop.published) continue;
    auto const record = vrf.records.find({intfOf(what.second), what.first});
    if (record != vrf.records.end() && record->second.stands != Is::no)
      record->second.stands = left;
  }
}

void BoundaryOracle::notePublished(Vrf & vrf, L3::VrfName name) {
  for (auto & [what, drop] : vrf.drops) {
    auto const * const route = mroute(host_, {name, what.first});
    drop.routed |= route != nullptr;
    if (!route) drop.version = 0;
    auto const * const status = statusOf(host_, {name, what.first});
    IntfId const intf = intfOf(what.second);
    double const * const seen =
        status ? status->fastdropLastPollTime().find(Zet::String(intf.view())) : nullptr;
    drop.published = status;
    drop.seen = seen ? std::optional(*seen) : std::nullopt;
    drop.mayLack |= mayFail_;
  }
}

BoundaryOracle::Entries BoundaryOracle::others(Brindle::Sim::Chip const & chip,
                                               Entries entries) const {
  using What = std::tuple<Key, U32, std::string>;
  std::multiset<What> ours;
  for (auto const & [intf, denier] : deniers_) {
    for (auto const & [group, sources] : denier.groups) {
      for (auto const & [source, denial] : sources) {
        auto const is = denial.find(nameOf(chip));
        if (is == denial.end() || is->second != Is::yes) continue;
        ours.emplace(Key(source, group), denier.vlan, textOf(nullptr));
      }
    }
  }
  for (auto const & [name, vrf] : vrfs_) {
    for (auto const & [what, drop] : vrf.drops) {
      if (drop.chips.count(nameOf(chip))) ours.emplace(what.first, what.second, drop.outputs);
      auto const old = drop.old.find(nameOf(chip));
      if (old != drop.old.end()) ours.emplace(what.first, what.second, old->second);
    }
  }
  std::erase_if(entries, [&ours](auto const & entry) {
    auto const same =
        ours.find({entry.key.sg, entry.key.vlanId.value(), textOf(entry.oifSet.get())});
    if (same == ours.end()) return false;
    ours.erase(same);
    return true;
  });
  return entries;
}

}  // namespace Simulation
