#include "tests/simulation/OracleBoundaries.h"

#include <algorithm>

#include "tests/simulation/Standing.h"

namespace Simulation {

namespace {

BoundaryOracle::Prefix const anySource("0.0.0.0/0");

std::string verbOf(BoundaryOracle::Words const & words) {
  return words.size() > 1 ? words[0] + " " + words[1] : words[0];
}

bool isOf(std::string const & verb, std::initializer_list<char const *> verbs) {
  return std::find(verbs.begin(), verbs.end(), verb) != verbs.end();
}

}  // namespace

void BoundaryOracle::note(Words const & words, bool mayFail) {
  std::string const verb = verbOf(words);
  mayFail_ = mayFail;
  bool const begins =
      isOf(verb, {"boundary add", "boundary del", "boundary vif", "linecard add", "linecard del"});
  if (begins && !std::exchange(begun_, true)) decide();
  if (words[0] == "boundary") noteBoundary(words);
  if (words[0] == "linecard") noteCard(words);
  if (verb == "programmer start") {
    byTcam_ = false;
    deniers_.clear();
    if (begun_) decide();
  }
  if (verb == "chip del") {
    for (auto & [intf, denier] : deniers_) {
      for (auto & [group, sources] : denier.groups) {
        for (auto & [source, denial] : sources) denial.erase(words[2]);
      }
    }
  }
  noteDeniers(words);
}

// --- Where boundaries run

void BoundaryOracle::noteBoundary(Words const & words) {
  if (words[1] == "system") {
    system_ = words[2] == "linecard" ? words.at(3) : words[2] == "fixed" ? "FixedSystem" : "";
  } else if (words[1] == "add" || words[1] == "del") {
    auto & prefixes = boundaries_[IntfId(words.at(4))];
    Prefix const prefix(words[2]);
    words[1] == "add" ? (void)prefixes.insert(prefix) : (void)prefixes.erase(prefix);
    if (prefixes.empty()) boundaries_.erase(IntfId(words.at(4)));
  }
}

// A card that is new cannot do anything until it says so.
void BoundaryOracle::noteCard(Words const & words) {
  if (words[1] == "del") {
    cards_.erase(words[2]);
  } else {
    bool const isNew = cards_.try_emplace(words[2], false).second;
    if (isNew && !chipsAnswerLater(host_)) decide();
    cards_[words[2]] = words.at(3) == "tcam";
  }
  decide();
}

// One card that cannot has all of a modular system learn. A linecard that has gone itself goes on
// as it did, and where chips answer later an agent takes it away.
void BoundaryOracle::decide() {
  auto const own = cards_.find(system_);
  bool const can = own != cards_.end() && own->second;
  bool const all =
      std::all_of(cards_.begin(), cards_.end(), [](auto const & c) { return c.second; });
  if (chipsAnswerLater(host_)) {
    byTcam_ = can && all;
  } else if (system_ == "FixedSystem") {
    byTcam_ = can;
  } else {
    byTcam_ = all && (can || byTcam_);
  }
  if (!byTcam_) deniers_.clear();
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

BoundaryOracle::Entries BoundaryOracle::others(Brindle::Sim::Chip const & chip,
                                               Entries entries) const {
  std::multiset<std::pair<Key, U32>> denied;
  for (auto const & [intf, denier] : deniers_) {
    for (auto const & [group, sources] : denier.groups) {
      for (auto const & [source, denial] : sources) {
        auto const is = denial.find(nameOf(chip));
        if (is == denial.end() || is->second != Is::yes) continue;
        denied.emplace(Key(source, group), denier.vlan);
      }
    }
  }
  std::erase_if(entries, [&denied](auto const & entry) {
    auto const same = denied.find({entry.key.sg, entry.key.vlanId.value()});
    if (entry.oifSet || same == denied.end()) return false;
    denied.erase(same);
    return true;
  });
  return entries;
}

}  // namespace Simulation
