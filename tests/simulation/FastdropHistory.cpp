// What each line of a script does to fastdrops.
#include "tests/simulation/FastdropHistory.h"

#include <algorithm>
#include <cstdio>

#include "mira/MiraRoot.h"
#include "tests/simulation/Comparison.h"
#include "tests/simulation/PrefixHistory.h"

namespace Simulation {

using Shoal::Multicast::Fib::rpaNone;
using Line = FastdropHistory::Line;

namespace {

using Words = std::vector<std::string>;

// The word behind another one; empty if there is none.
std::string after(Words const & words, char const * word) {
  auto const at = std::find(words.begin(), words.end(), word);
  return at == words.end() || at + 1 == words.end() ? "" : at[1];
}

// Tables of the VRF are read no more, or will be, a while later than others.
bool isReadAnew(Words const & words, L3::VrfName vrf) {
  if (words.size() < 2) return false;
  std::string const verb = words[0] + " " + words[1];
  if (words[0] == "detach" || words[0] == "attach") return vrfOf(words[1]) == vrf;
  if (verb == "publisher start") return vrfOf(words.at(2)) == vrf;
  if (verb == "vrf del") return words.at(2) == vrf.view();
  if (verb == "ip routing" || verb == "ip multicast-routing") {
    std::string const named = after(words, "vrf");
    return named.empty() ? vrf == L3::VrfName::defaultVrf() : named == vrf.view();
  }
  return verb == "hw routing";
}

Key wildcardOf(Key const & stream) { return Key(Nettle::IpGenPrefix("0.0.0.0/0"), stream.group()); }

}  // namespace

// --- Lines

void FastdropHistory::follow(Line const & line) {
  before_ = line.before;
  now_ = host_.now();
  auto const & words = line.words;
  std::string const verb = words.size() > 1 ? words[0] + " " + words[1] : words[0];
  bool const isSetting = words[0] == "fastdrop" || words[0] == "echo" || words[0] == "title";
  bool const partly = verb == "clock turns";
  bool const runs = words[0] == "settle" || verb == "clock advance" || partly;
  if (words[0] == "rpf-failure") {
    std::string const times = after(words, "times");
    failures(line, times.empty() ? 1 : static_cast<U32>(std::stoul(times)));
  } else if (words[0] == "traffic") {
    traffic(line);
  } else if (verb == "clear fastdrop") {
    clear(line);
  } else if (verb == "clock read-cost") {
    readCost_ = std::stod(words.at(2));
  } else if (runs) {
    if (!atRest_ && words[0] != "settle") glimpseAll(line);
    noteVrfs();
    passTime(partly);
  } else if (!isSetting) {
    disturb(verb == "review all");
  }
  noteUnread(words);
  noteAcceptedNowhere(words);
  noteVrfs();
  noteIntfs(words);
  compareLog(line.printed);
}

// From here on nobody knows when what is computed.
void FastdropHistory::disturb(bool byReview) {
  onlyReviewed_ = byReview && (atRest_ || onlyReviewed_);
  if (!atRest_) return;
  atRest_ = false;
  for (auto & [name, state] : vrfs_) doubt(state.limit, before_, false);
  for (auto & [name, route] : routes_) {
    for (auto & [vlan, drop] : route.drops) drop.published = Drop::unknown;
  }
}

// A route that is accepted by designated forwarder alone has its input's VLAN from its publication
// to its computation, which then takes its drops for those of an input that it has lost.
void FastdropHistory::noteAcceptedNowhere(Words const & words) {
  bool const isDf = std::find(words.begin(), words.end(), "accept-df") != words.end();
  if (words[0] != "publish" || !isDf) return;
  Nettle::IntfId const iif(after(words, "iif"));
  if (!host_.records().intfVlanIdTable->intfIdToVlanId(iif)) return;
  L3::VrfName const vrf = vrfOf(words[1]);
  auto const group = Nettle::IpGenAddr(words.at(5));
  for (auto & [name, route] : routes_) {
    bool const isThis = name.vrf == vrf && name.key.group().address() == group;
    if (isThis) route.accepted.insert(unknownVlan);
  }
}

// When its tables are read again a (*,G) route may have to wait, as a new one, and one of several
// tables is taken in from each of them in turn.
void FastdropHistory::noteUnread(Words const & words) {
  for (auto & [name, route] : routes_) {
    if (isReadAnew(words, name.vrf)) glimpse(name, nullptr);
  }
}

// Drops are published by their interfaces: one that goes, if only while its internal VLAN is set
// anew, takes the time with it.
void FastdropHistory::noteIntfs(Words const & words) {
  bool const isLink = words.size() > 3 && words[0] == "ip" && words[1] == "link";
  for (auto & [name, route] : routes_) {
    for (auto & [vlan, drop] : route.drops) {
      drop.seenAnew |= rules_.intfOf(vlan) != drop.intf;
      drop.seenAnew |= isLink && drop.intf.view() == words[3];
    }
  }
}

void FastdropHistory::noteVrfs() {
  if (!host_.started()) return;
  std::erase_if(vrfs_, [this](auto const & one) { return !host_.root().mira(one.first); });
  for (auto i = host_.root().mira().begin(); i; i.advance()) {
    auto const [state, isNew] = vrfs_.try_emplace(i->vrfName());
    if (isNew) doubt(state->second.limit, before_, false);
  }
}

// --- Failures

FastdropHistory::Stream FastdropHistory::streamOf(Words const & words) {
  Nettle::IpGenPrefix const source(Nettle::IpGenAddr(words.at(1)));
  Nettle::IpGenPrefix const group(Nettle::IpGenAddr(words.at(2)));
  return {Key(source, group), static_cast<U32>(std::stoul(after(words, "vlan")))};
}

void FastdropHistory::failures(Line const & line, U32 times) {
  noteVrfs();
  Stream const stream = streamOf(line.words);
  L3::VrfName const vrf = rules_.vrfOf(stream.vlan);
  if (!vrfs_.count(vrf)) return;
  if (vrf == L3::VrfName::defaultVrf()) failures_ += times;
  if (!rules_.mayBeEnabled(vrf, stream.vlan)) return;
  if (isDenied(vrf, stream)) return;
  if (!atRest_) return failUnknown(vrf, stream, line);
  for (; times > 0; --times) fail(vrf, stream);
}

// Of a route of the source what a boundary denies does not count. Where none stands that of the
// group counts, if it may be installed.
bool FastdropHistory::isDenied(L3::VrfName vrf, Stream const & stream) const {
  return mroute({vrf, stream.key}) &&
         boundaries_.isDenied(vrf, stream.key.group().address(), stream.vlan);
}

void FastdropHistory::fail(L3::VrfName vrf, Stream const & stream) {
  RouteName name{vrf, stream.key};
  ExpectedRoute const * route = standing(name);
  if (!route) {
    name.key = wildcardOf(stream.key);
    route = standing(name);
    if (!route) return;
  }
  if (isLeft(name)) {
    loseSight(name.vrf, routes_[name]);
    return mayMake(name, stream.vlan);
  }
  using Record = Shoal::Multicast::Fib::Route;
  if (name.key.isStarG() && !(route->record.flags() & Record::installStarG)) return;
  fail(name, *route, stream.vlan);
}

void FastdropHistory::fail(RouteName const & name, ExpectedRoute const & route, U32 vlan) {
  Route & model = routes_[name];
  auto const drop = model.drops.find(vlan);
  if (drop != model.drops.end()) {
    if (!drop->second.sure) mayMake(name, vlan);
    return;
  }
  if (rules_.ignores(route, vlan)) return;
  Count & count = model.counts[vlan];
  count.receives = rules_.receives(route, vlan);
  if (!count.sure) return mayMake(name, vlan);
  if (++count.failures < host_.root().mira(name.vrf)->fastdropRpfFailureThreshold()) return;
  Total const standing = total(name.vrf);
  if (standing.least >= rules_.limit(name.vrf)) return;
  if (standing.most >= rules_.limit(name.vrf)) return mayMake(name, vlan);
  make(name, route, vlan);
}

// The route is computed at once, which may take the drop away again.
void FastdropHistory::make(RouteName const & name, ExpectedRoute const & route, U32 vlan) {
  Route & model = routes_[name];
  Drop & drop = model.drops[vlan];
  drop.seen = span();
  noteKept(name, vlan, drop);
  drop.intf = rules_.intfOf(vlan);
  counted(name.vrf, span());
  model.counts.erase(vlan);
  if (rules_.forbids(route, vlan)) {
    model.drops.erase(vlan);
    counted(name.vrf, span());
  } else {
    drop.published = publishedAt(name, vlan);
  }
  forget(name, true);
  vrfs_[name.vrf].poll = span() + host_.root().mira(name.vrf)->fastdropPollingInterval();
  if (model.backup) model.hadBackup = model.backup;
}

// Chips that answer later have not heard that it went while the route was under way: its entry
// stays, and keeps its time.
void FastdropHistory::noteKept(RouteName const & name, U32 vlan, Drop & drop) const {
  auto const * const machine = host_.hardware().asyncMrouteSm(name.vrf);
  auto const * const route = machine ? machine->zetMroute(name.key) : nullptr;
  double const * const kept = activity(name, vlan);
  if (route && route->inProgress() && kept) drop.seen.first = std::min(drop.seen.first, *kept);
}

// A route that is left as it is may be computed after all.
void FastdropHistory::loseSight(L3::VrfName vrf, Route & model) {
  for (auto & [vlan, drop] : model.drops) drop.sure = false;
  if (!model.drops.empty()) doubt(vrfs_[vrf].limit, before_, true);
}

// The route is computed, as it is at rest.
void FastdropHistory::forget(RouteName const & name, bool sure) {
  ExpectedRoute const * route = standing(name);
  for (auto & [vlan, count] : routes_[name].counts) {
    if (!route || !rules_.receives(*route, vlan)) continue;
    if (sure) count.failures = 0;
    count.sure &= sure;
  }
}

void FastdropHistory::mayMake(RouteName const & name, U32 vlan) {
  Route & model = routes_[name];
  model.counts[vlan].sure = false;
  auto const [drop, isNew] = model.drops.try_emplace(vlan);
  if (isNew) {
    drop->second.sure = false;
    drop->second.seen = {0, now_};  // the chips may hold one from before
    drop->second.intf = rules_.intfOf(vlan);
  }
  drop->second.seenAnew = true;
  Vrf & vrf = vrfs_[name.vrf];
  doubt(vrf.limit, before_, true);
  Span const due = span() + host_.root().mira(name.vrf)->fastdropPollingInterval();
  vrf.poll = vrf.poll ? Span{std::min(vrf.poll->first, due.first), due.last} : due;
}

// Of a switch that is not at rest: the route, if there is one, may have been computed with what is
// published by now.
void FastdropHistory::failUnknown(L3::VrfName vrf, Stream const & stream, Line const & line) {
  auto const routes = line.routes();
  for (auto const & key : {stream.key, wildcardOf(stream.key)}) {
    RouteName const name{vrf, key};
    if (!mroute(name)) continue;
    auto const route = routes.find(name);
    glimpse(name, route == routes.end() ? nullptr : &route->second);
    mayMake(name, stream.vlan);
  }
}

// --- Traffic

// What the chips do with it is the simulated switch's own doing; it is told.
void FastdropHistory::traffic(Line const & line) {
  unsigned forwarded = 0, dropped = 0, toCpu = 0;
  auto const at = line.printed.find("forwarded ");
  if (at == std::string::npos) return;
  std::sscanf(line.printed.c_str() + at, "forwarded %u, dropped %u, to the CPU %u", &forwarded,
              &dropped, &toCpu);
  if (toCpu) failures(line, toCpu);
  if (!dropped) return;
  Stream const stream = streamOf(line.words);
  refresh(rules_.vrfOf(stream.vlan), stream);
}

// The drop of the source comes first.
void FastdropHistory::refresh(L3::VrfName vrf, Stream const & stream) {
  for (auto const & key : {stream.key, wildcardOf(stream.key)}) {
    auto const route = routes_.find({vrf, key});
    if (route == routes_.end()) continue;
    auto const found = route->second.drops.find(stream.vlan);
    if (found == route->second.drops.end()) continue;
    Drop & drop = found->second;
    if (drop.published == Drop::no) continue;
    bool const surely =
        drop.sure && drop.published == Drop::yes && !boundaries_.sharesStatus({vrf, stream.key});
    drop.seen = surely ? span() : Span{drop.seen.first, now_};
    if (surely) return;
  }
}

// --- What takes drops away

void FastdropHistory::clear(Line const & line) {
  std::string const named = after(line.words, "vrf");
  L3::VrfName const vrf = named.empty() ? L3::VrfName::defaultVrf() : L3::VrfName(named);
  if (!vrfs_.count(vrf)) return;
  auto const routes = atRest_ ? rest_ : line.routes();
  for (auto & [name, model] : routes_) {
    if (name.vrf != vrf || model.drops.empty()) continue;
    auto const route = routes.find(name);
    glimpse(name, route == routes.end() ? nullptr : &route->second);
    bool const known = model.drops.begin()->second.sure && !isLeft(name);
    while (!model.drops.empty()) {
      model.drops.erase(model.drops.begin());
      counted(vrf, span());
    }
    if (atRest_) forget(name, known);
  }
  vrfs_[vrf].poll.reset();
}

// The route may be computed now, with the record and the records as they are, or may have gone.
void FastdropHistory::glimpse(RouteName const & name, ExpectedRoute const * route) {
  if (atRest_) return;
  Route & model = routes_[name];
  auto const * found = mroute(name);
  bool const hides = !route || !found || route->standing != ExpectedRoute::stands ||
                     Comparison::isLeft(*found, *route);
  bool const hadInput =
      std::any_of(model.accepted.begin(), model.accepted.end(), [](U32 vlan) { return vlan != 0; });
  bool const loses = hides || (!route->vlan && hadInput);
  for (auto & [vlan, drop] : model.drops) drop.sure &= !loses && !rules_.forbids(*route, vlan);
  for (auto & [vlan, count] : model.counts) count.sure &= !hides && !rules_.receives(*route, vlan);
  model.accepted.insert(hides ? unknownVlan : route->vlan);
  if (hides) model.hadBackup = 0;
  if (route && route->frr) model.mayHaveHadBackup.insert(route->frr->vlan);
}

void FastdropHistory::glimpseAll(Line const & line) {
  auto const routes = line.routes();
  for (auto & [name, model] : routes_) {
    auto const route = routes.find(name);
    glimpse(name, route == routes.end() ? nullptr : &route->second);
  }
}

// --- Tools

FastdropHistory::Total FastdropHistory::total(L3::VrfName vrf) const {
  Total out;
  for (auto const & [name, route] : routes_) {
    if (name.vrf != vrf) continue;
    for (auto const & [vlan, drop] : route.drops) {
      out.least += drop.sure;
      ++out.most;
    }
  }
  return out;
}

void FastdropHistory::doubt(Limit & limit, Seconds since, bool touched) {
  if (limit.known) limit.since = since;
  limit.known = false;
  limit.touched |= touched;
}

// The route as it is at rest, if it has been taken in.
ExpectedRoute const * FastdropHistory::standing(RouteName const & name) const {
  auto const route = rest_.find(name);
  return route != rest_.end() && mroute(name) ? &route->second : nullptr;
}

// What stands is not what the records say.
bool FastdropHistory::isLeft(RouteName const & name) const {
  auto const route = rest_.find(name);
  auto const * found = mroute(name);
  return route == rest_.end() || !found || Comparison::isLeft(*found, route->second);
}

// Of what a chip refused it is not known until when, nor of what it may refuse the next time.
FastdropHistory::Drop::Published FastdropHistory::publishedAt(RouteName const & name,
                                                              U32 vlan) const {
  if (isRetried(host_, name) || boundaries_.sharesStatus(name)) return Drop::unknown;
  return activity(name, vlan) ? Drop::yes : Drop::no;
}

double const * FastdropHistory::activity(RouteName const & name, U32 vlan) const {
  auto const * published = statusOf(host_, name);
  auto const intf = rules_.intfOf(vlan);
  if (!published || !intf) return nullptr;
  return published->fastdropLastPollTime().find(Zet::String(intf.view()));
}

}  // namespace Simulation
