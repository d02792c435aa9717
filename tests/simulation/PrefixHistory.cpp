#include "tests/simulation/PrefixHistory.h"

#include <algorithm>

namespace Simulation {

using Nettle::IntfId;
using Shoal::Multicast::Fib::Route;
using Shoal::Multicast::Fib::rpaNone;

void PrefixHistory::note(Line const & line, std::vector<ReadTable> const & tables) {
  if (!host_.started()) return;
  noteTables(line, tables);
  noteIntfs();
  noteVlans(line);
  noteContested();
  noteStars(line, tables);
  noteIdle(line[0] == "settle");
  noteSeveral(line[0] == "settle");
  notePublications(line[0] == "settle");
  noteWaiting(line[0] == "settle");
  noteChips(line);
  noteRestart(line);
}

std::map<std::pair<std::string, Key>, Route> waitingRoutes(Brindle::Sim::Host const & host) {
  std::map<std::pair<std::string, Key>, Route> out;
  for (auto mira = host.root().mira().begin(); mira; mira.advance()) {
    for (auto table = mira->mfibShoalSm().begin(); table; table.advance()) {
      auto const & waiting = table->unprogrammedWcRoute();
      for (auto i = waiting.begin(); i; i.advance()) {
        out.emplace(std::pair{std::string(table->name().view()), i.key()}, i.value());
      }
    }
  }
  return out;
}

bool installable(Brindle::Sim::Host const & host, Route const & route) {
  return (route.flags() & Route::installStarG) &&
         host.records().intfVlanIdTable->intfIdToVlanId(route.iif());
}

bool mayLean(Brindle::Sim::Host const & host, Route const & route) {
  return route.isStarG() && (route.flags() & Route::installStarG) && route.rpaId() == rpaNone &&
         host.routeTables().af() == Nettle::ipv4();
}

bool leans(Brindle::Sim::Host const & host, Route const & route) {
  return mayLean(host, route) && installable(host, route);
}

// --- What was noted

PrefixHistory::Flags const & PrefixHistory::flags(IntfId intf) const {
  static Flags const none;
  auto const found = flags_.find(intf);
  return found == flags_.end() ? none : found->second;
}

bool PrefixHistory::shared(IntfId intf, Subnet const & subnet) const {
  return flags(intf).shared.count(subnet) != 0;
}

bool PrefixHistory::older(std::string const & chip, Subnet const & subnet, IntfId intf) const {
  auto const found = olderThanChip_.find(chip);
  return found != olderThanChip_.end() && found->second.count({subnet, intf}) != 0;
}

bool PrefixHistory::older(std::string const & table, Key const & key, IntfId intf) const {
  return olderThanIp_.count({{table, key}, intf}) != 0;
}

bool PrefixHistory::neverLetIn(RouteName const & name) const {
  auto const found = publications_.find(name);
  return found != publications_.end() && found->second.once && found->second.lacking;
}

// --- Interfaces

std::set<Subnet> PrefixHistory::subnetsOf(Intf const & intf) {
  std::set<Subnet> out;
  for (auto const & [address, primary] : intf.addresses) {
    out.insert(Nettle::Prefix(address).genPrefix());
  }
  return out;
}

PrefixHistory::Intf PrefixHistory::intf(Ip::IpIntfStatus const & status) const {
  Intf out;
  auto const & primary = status.activeAddrWithMask();
  if (!primary.isNull()) out.addresses.insert({primary, true});
  for (auto const & one : status.activeSecondaryWithMask().items()) {
    out.addresses.insert({one, false});
  }
  return out;
}

void PrefixHistory::noteIntfs() {
  auto const & tracked = host_.records().pimIntfStatus->intfStatus();
  std::erase_if(flags_, [&](auto const & one) { return !tracked.contains(one.first); });
  std::map<IntfId, Intf> now;
  for (auto const & entry : host_.records().ipStatus->ipIntfStatus().items()) {
    Intf const is = intf(*entry.value);
    auto const was = intfs_.find(entry.key);
    if (was == intfs_.end()) {
      for (auto const & [star, route] : stars_) olderThanIp_.insert({star, entry.key});
    } else if (tracked.contains(entry.key)) {
      noteAddresses(entry.key, was->second, is);
    }
    now.emplace(entry.key, is);
  }
  intfs_ = std::move(now);
  for (auto const & entry : tracked.items()) {
    Flags & flags = flags_[entry.key];
    auto const found = intfs_.find(entry.key);
    if (found == intfs_.end()) flags.shared.clear();
    flags.hadSubnets |= found != intfs_.end() && !found->second.addresses.empty();
  }
}

void PrefixHistory::noteAddresses(IntfId intf, Intf const & was, Intf const & is) {
  auto & shared = flags_[intf].shared;
  auto const left = subnetsOf(is);
  for (auto const & one : was.addresses) {
    auto const subnet = Nettle::Prefix(one.first).genPrefix();
    if (!is.addresses.count(one) && left.count(subnet)) shared.insert(subnet);
  }
  for (auto const & one : is.addresses) {
    if (!was.addresses.count(one)) shared.erase(Nettle::Prefix(one.first).genPrefix());
  }
  std::erase_if(shared, [&left](auto const & subnet) { return !left.count(subnet); });
}

// A subnet leaves the chips for a moment when the internal VLAN changes, and its return is counted.
// In doing so the interface may have given the VLAN back and taken it again, and the same change
// may be what has a route lean on it.
void PrefixHistory::noteVlans(Line const & line) {
  bool const link = line.size() > 3 && line[0] == "ip" && line[1] == "link";
  auto const word = std::find_if(line.begin(), line.end(), [](std::string const & one) {
    return one.ends_with("internal-vlan");
  });
  bool const told = link && word != line.end();
  auto const & table = *host_.records().intfVlanIdTable;
  std::map<IntfId, Vlans> now;
  for (auto const & entry : host_.records().ipStatus->ipIntfStatus().items()) {
    now[entry.key] = {table.intfIdToVlanId(entry.key).value(),
                      table.internalVlanId(entry.key).value()};
  }
  for (auto & [intf, flags] : flags_) {
    Vlans const is{table.intfIdToVlanId(intf).value(), table.internalVlanId(intf).value()};
    auto const was = vlans_.find(intf);
    bool const other = was != vlans_.end() && was->second != is;
    if ((told && line[3] == intf.view()) || (other && was->second.second != is.second)) {
      flags.miscounted |= intfs_.count(intf) && !intfs_.at(intf).addresses.empty();
    } else if (other || (told && word + 1 != line.end() && intf.view() == "Vlan" + word[1])) {
      flags.otherVlan = true;
    }
    now[intf] = is;
  }
  vlans_ = std::move(now);
}

void PrefixHistory::noteContested() {
  std::map<Subnet, std::set<IntfId>> holders;
  for (auto const & [intf, is] : intfs_) {
    for (auto const & subnet : subnetsOf(is)) holders[subnet].insert(intf);
  }
  for (auto const & entry : host_.records().pimIntfStatus->intfStatus().items()) {
    for (auto i = entry.value->route().begin(); i; i.advance()) holders[i.key()].insert(entry.key);
  }
  std::erase_if(contested_, [&](auto const & subnet) { return !holders.count(subnet); });
  for (auto const & [subnet, intfs] : holders) {
    if (intfs.size() > 1) contested_.insert(subnet);
  }
}

void PrefixHistory::noteIdle(bool settled) {
  for (auto & one : flags_) {
    Flags & flags = one.second;
    auto const found = intfs_.find(one.first);
    auto const subnets = found == intfs_.end() ? std::set<Subnet>() : subnetsOf(found->second);
    // What came while nobody leaned on it is not counted.
    flags.miscounted |= flags.idle && !subnets.empty();
    if (settled && subnets.empty() && !mayBeLeanedOn(one.first)) flags.hadSubnets = false;
    bool const none =
        std::includes(flags.shared.begin(), flags.shared.end(), subnets.begin(), subnets.end());
    if (!none) continue;
    if (!leanedOn(one.first)) {
      flags.idle = true;
    } else if (settled) {
      flags.idle = false;
    }
  }
}

bool PrefixHistory::leanedOn(IntfId intf) const {
  return std::any_of(stars_.begin(), stars_.end(), [&](auto const & one) {
    auto const & [star, route] = one;
    bool const names = route.iif() == intf || route.notify() == intf;
    return names && read_.count(star.first) && leans(host_, route) &&
           !older(star.first, star.second, intf);
  });
}

bool PrefixHistory::mayBeLeanedOn(IntfId intf) const {
  return std::any_of(stars_.begin(), stars_.end(), [&](auto const & one) {
    Route const & route = one.second;
    bool const names = route.iif() == intf || route.notify() == intf;
    return names && read_.count(one.first.first) && mayLean(host_, route);
  });
}

// --- Tables and routes

std::set<std::string> PrefixHistory::readTables(std::vector<ReadTable> const & tables) const {
  Oracle const oracle(host_, tables);
  std::set<std::string> out;
  for (auto const & table : tables) {
    if (oracle.routed(vrfOf(table.name))) out.insert(table.name);
  }
  return out;
}

// What a table that is read no more had begun ends by the time that the switch is at rest.
void PrefixHistory::noteTables(Line const & line, std::vector<ReadTable> const & tables) {
  auto const now = readTables(tables);
  std::vector<std::string> changed;
  std::set_symmetric_difference(now.begin(), now.end(), read_.begin(), read_.end(),
                                std::back_inserter(changed));
  for (auto const & table : changed) {
    for (auto & [name, publication] : publications_) {
      if (name.vrf == vrfOf(table)) publication.once = false;
    }
  }
  tablesGo_ |= !std::includes(now.begin(), now.end(), read_.begin(), read_.end());
  read_ = now;
  if (!tablesGo_) return;
  for (auto const & entry : host_.records().pimIntfStatus->intfStatus().items()) {
    flags_[entry.key].tableWent = true;
  }
  tablesGo_ = line[0] != "settle";
}

void PrefixHistory::noteStars(Line const & line, std::vector<ReadTable> const & tables) {
  std::map<Star, Route> now;
  for (auto const & table : tables) {
    for (auto i = table.routes->routeBegin(); i; i.advance()) {
      if (i.key().isStarG()) now.emplace(Star{table.name, i.key()}, table.routes->route(i.key()));
    }
  }
  for (auto const & [star, route] : stars_) {
    if (now.count(star)) continue;
    publications_[{vrfOf(star.first), star.second}].once = false;
    gone_.insert(star);
    if (line[0] == "publisher" || line[0] == "tables") stopped_.insert(star);
  }
  for (auto const & [star, route] : now) {
    auto const was = stars_.find(star);
    if (was == stars_.end() || !(was->second == route)) noteChanged(star);
  }
  std::erase_if(olderThanIp_, [&now](auto const & one) { return !now.count(one.first); });
  stars_ = std::move(now);
}

void PrefixHistory::noteChanged(Star const & star) {
  RouteName const name{vrfOf(star.first), star.second};
  std::erase_if(olderThanIp_, [&star](auto const & one) { return one.first == star; });
  bool const first = !publications_.count(name);
  publications_[name].once = first;
  auto const several = several_.find(name);
  if (several != several_.end() && several->second) several_.erase(several);
}

// The tables that hold it, or may do so as far as the switch knows: it hears of the end of a
// publisher by the file that has gone.
U32 PrefixHistory::holders(RouteName const & name) const {
  std::set<Star> holders = stopped_;
  for (auto const & one : stars_) holders.insert(one.first);
  return static_cast<U32>(std::count_if(holders.begin(), holders.end(), [&name](auto const & one) {
    return one.second == name.key && vrfOf(one.first) == name.vrf;
  }));
}

void PrefixHistory::noteSeveral(bool settled) {
  for (auto const & [star, route] : stars_) {
    RouteName const name{vrfOf(star.first), star.second};
    if (holders(name) > 1) several_[name] = false;
  }
  std::set<Star> held = gone_;
  for (auto const & one : stars_) held.insert(one.first);
  std::map<Key, U32> tables;
  for (auto const & star : held) {
    if (++tables[star.second] > 1) heldTwice_.insert(star.second);
  }
  if (!settled) return;
  stopped_.clear();
  gone_.clear();
  std::erase_if(heldTwice_, [&tables](Key const & key) { return !tables.count(key); });
  for (auto & [name, over] : several_) over = holders(name) == 1;
  std::erase_if(several_, [this](auto const & one) { return holders(one.first) == 0; });
}

void PrefixHistory::notePublications(bool settled) {
  for (auto const & [star, route] : stars_) {
    auto & publication = publications_[{vrfOf(star.first), star.second}];
    publication.lacking &= lacks(star, route);
  }
  if (!settled) return;
  // One that has gone altogether begins anew.
  std::erase_if(publications_, [this](auto const & one) { return holders(one.first) == 0; });
}

bool PrefixHistory::lacks(Star const & star, Route const & route) const {
  return mayLean(host_, route) && (lacks(star, route.iif()) || lacks(star, route.notify()));
}

// Not before the route is taken in is an interface tracked.
bool PrefixHistory::lacks(Star const & star, IntfId intf) const {
  auto const found = intfs_.find(intf);
  if (found == intfs_.end() || olderThanIp_.count({star, intf})) return false;
  auto const * status = host_.records().pimIntfStatus->intfStatus().find(intf);
  if (!status) return true;
  Flags const & noted = flags(intf);
  if (noted.miscounted || noted.tableWent) return false;
  if (status->route().empty()) return !noted.hadSubnets;
  for (auto i = status->route().begin(); i; i.advance()) {
    if (!i->programmed()) return true;
  }
  return false;
}

void PrefixHistory::noteWaiting(bool settled) {
  std::erase_if(waited_, [this](auto const & one) {
    auto const now = stars_.find(one.first);
    return now == stars_.end() || !read_.count(one.first.first) || !installable(host_, now->second);
  });
  if (!settled) return;
  letIn_.clear();
  for (auto const & [star, route] : waited_) {
    if (!(stars_.at(star) == route)) letIn_.insert({vrfOf(star.first), star.second});
  }
  waited_ = waitingRoutes(host_);
}

// --- Chips

std::set<PrefixHistory::Standing> PrefixHistory::inHardware() const {
  std::set<Standing> out;
  auto const * programmer = host_.prefixProgrammer();
  if (!programmer) return out;
  for (auto i = programmer->mrouteInfo().begin(); i; i.advance()) {
    out.insert({i->key().prefix.genPrefix(), i->key().intfId});
  }
  return out;
}

// A new programmer may find less room than the last one had.
void PrefixHistory::noteRestart(Line const & line) {
  if (line[0] != "programmer") return;
  for (auto const & entry : host_.records().pimIntfStatus->intfStatus().items()) {
    for (auto i = entry.value->route().begin(); i; i.advance()) {
      flags_[entry.key].miscounted |= !i->programmed();
    }
  }
}

void PrefixHistory::noteChips(Line const & line) {
  auto const now = inHardware();
  for (auto & [chip, standing] : olderThanChip_) {
    std::erase_if(standing, [&now](auto const & one) { return !now.count(one); });
  }
  if (line.size() < 3 || line[0] != "chip") return;
  if (line[1] == "add") olderThanChip_[line[2]] = now;
  if (line[1] == "del") olderThanChip_.erase(line[2]);
}

}  // namespace Simulation
