// What time does to fastdrops, and what the operator is told of their number.
#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "mira/MiraRoot.h"
#include "tests/simulation/FastdropHistory.h"

namespace Simulation {

namespace {

constexpr char exceeded[] = "MROUTE_FASTDROP_LIMIT_EXCEEDED";
constexpr char noLongerExceeded[] = "MROUTE_FASTDROP_LIMIT_NO_LONGER_EXCEEDED";
// A drop may be that much younger than two polls.
constexpr Zet::Seconds slack = 0.5;
// Where reads of the clock move it, what is due comes late, by some reads.
constexpr Zet::Seconds longestDelay = 2;

Zet::Seconds justAfter(Zet::Seconds time) {
  return std::nextafter(time, std::numeric_limits<Zet::Seconds>::infinity());
}

}  // namespace

// --- Clocks

// What is due may wait for a later turn, or come late with the next line.
void FastdropHistory::passTime(bool partly) {
  for (auto & [vrf, state] : vrfs_) {
    for (auto * due : {&state.poll, &state.limit.allClear}) {
      if (!*due || (*due)->first > now_) continue;
      bool const late = readCost_ > 0 && (*due)->last + longestDelay > now_;
      if (partly || late) (*due)->last = std::max((*due)->last, justAfter(now_));
    }
    passTime(vrf, state);
  }
}

// What is due at the same time as the poll was asked for before it.
void FastdropHistory::passTime(L3::VrfName vrf, Vrf & state) {
  for (;;) {
    auto const & polled = state.poll;
    auto const & told = state.limit.allClear;
    bool const pollDue = polled && polled->first <= now_;
    bool const tellDue = told && told->first <= now_;
    if (pollDue && tellDue && polled->meets(*told)) {
      doubt(state.limit, before_, true);
    }
    if (tellDue && (!pollDue || told->first <= polled->first)) {
      tellAllClear(vrf, state);
    } else if (pollDue) {
      poll(vrf, state);
    } else {
      return;
    }
  }
}

// When the loop gets to it.
FastdropHistory::Span FastdropHistory::startOf(Span due) const {
  Seconds const late = readCost_ > 0 ? longestDelay : 0;
  Seconds const first = std::max(due.first, before_);
  return {first, std::max(first, std::min(now_, std::max(due.last, before_) + late))};
}

void FastdropHistory::poll(L3::VrfName vrf, Vrf & state) {
  Span const at = startOf(*state.poll);
  bool const sure = state.poll->last <= now_;
  for (auto & [name, route] : routes_) {
    if (name.vrf != vrf) continue;
    std::vector<U32> vlans;
    for (auto const & [vlan, drop] : route.drops) vlans.push_back(vlan);
    bool gone = false, mayBeGone = false;
    for (U32 vlan : vlans) {
      gone |= age(name, route, vlan, at, sure);
      mayBeGone |= route.drops.count(vlan) && !route.drops[vlan].sure;
    }
    if (mayBeGone && isLeft(name)) loseSight(vrf, route);
    if (atRest_ && (gone || mayBeGone)) forget(name, gone);
  }
  Seconds const interval = host_.root().mira(vrf)->fastdropPollingInterval();
  if (total(vrf).most == 0) {
    state.poll.reset();
  } else if (sure) {
    state.poll = at + interval;
  } else {
    state.poll = Span{justAfter(now_), std::max(state.poll->last, at.last + interval)};
  }
}

// True if the drop surely goes. It does if no chip holds it, if it is where the backup was, or if
// nothing has come for two polls. Where chips answer later nobody knows since when they hold it.
bool FastdropHistory::age(RouteName const & name, Route & route, U32 vlan, Span at, bool sure) {
  Drop & drop = route.drops[vlan];
  bool const here = static_cast<bool>(rules_.intfOf(vlan));
  bool const later = chipsAnswerLater(host_);
  bool const lacks = !later && drop.published == Drop::no;
  Seconds const limit = 2.0 * host_.root().mira(name.vrf)->fastdropPollingInterval() - slack;
  bool const known = sure && drop.sure && !isLeft(name);
  bool const fresh = later || drop.seenAnew || isRetried(host_, name);
  bool const idle = !fresh && at.first - drop.seen.last >= limit;
  bool const goes = !here || lacks || idle || route.hadBackup == vlan;
  bool const mayGo = goes || later || drop.published != Drop::yes ||
                     at.last - drop.seen.first >= limit || route.mayHaveHadBackup.count(vlan) != 0;
  if (mayGo && !(goes && known)) {
    drop.sure = false;
    doubt(vrfs_[name.vrf].limit, at.first, true);
  }
  if (!goes || !known) return false;
  if (route.hadBackup == vlan) route.hadBackup = 0;
  if (route.backup != vlan) route.mayHaveHadBackup.erase(vlan);
  route.drops.erase(vlan);
  counted(name.vrf, at);
  return true;
}

// --- The limit

void FastdropHistory::counted(L3::VrfName vrf, Span at) {
  Limit & limit = vrfs_[vrf].limit;
  if (!limit.known) return doubt(limit, at.first, true);
  Total const standing = total(vrf);
  U32 const most = rules_.limit(vrf);
  if (standing.least < most && standing.most >= most) {
    doubt(limit, at.first, true);
  } else if (standing.least < most) {
    if (!limit.reached) return;
    limit.allClear = at + allClearDelay;
    limit.allClearSure = true;
  } else if (!limit.reached) {
    limit.reached = true;
    limit.allClear.reset();
    expectLog(vrf, exceeded);
  }
}

void FastdropHistory::tellAllClear(L3::VrfName vrf, Vrf & state) {
  Limit & limit = state.limit;
  bool const exact =
      limit.allClearSure && limit.allClear->first == limit.allClear->last && readCost_ == 0;
  Total const standing = total(vrf);
  bool const below = standing.most < rules_.limit(vrf);
  bool const above = standing.least >= rules_.limit(vrf);
  if (!limit.known || !limit.reached || above) {
    if (limit.allClear->last > now_) {
      limit.allClear->first = justAfter(now_);
    } else {
      limit.allClear.reset();
    }
    return;
  }
  if (exact && below) {
    limit.reached = false;
    expectLog(vrf, noLongerExceeded);
    limit.allClear.reset();
  } else {
    doubt(limit, before_, false);
  }
}

// Where it is not known when drops came and went, all that is known is that both messages take
// turns.
void FastdropHistory::compareLog(std::string const & printed) {
  std::map<std::pair<L3::VrfName, std::string>, U32> found;
  for (auto & [vrf, state] : vrfs_) {
    if (!state.limit.known) state.limit.reached = state.limit.reachedBefore;
  }
  std::istringstream lines(printed);
  for (std::string line; std::getline(lines, line);) {
    for (auto const * name : {exceeded, noLongerExceeded}) {
      if (line.find(std::string(" ") + name + ":") == std::string::npos) continue;
      std::string text = line.substr(line.rfind(' ') + 1);
      if (name == noLongerExceeded) text.pop_back();
      L3::VrfName const vrf{std::string_view(text)};
      ++found[{vrf, name}];
      auto const state = vrfs_.find(vrf);
      if (state == vrfs_.end() || state->second.limit.known) continue;
      Limit & limit = state->second.limit;
      if (limit.reached == (name == exceeded)) differ(line + ": was told already");
      limit.reached = name == exceeded;
    }
  }
  for (auto & [vrf, state] : vrfs_) {
    state.limit.reachedBefore = state.limit.reached;
    if (!state.limit.known) continue;
    for (auto const * name : {exceeded, noLongerExceeded}) {
      U32 const expected = expected_[{vrf, name}];
      if (found[{vrf, name}] == expected) continue;
      differ("expected " + std::to_string(expected) + " times " + name + " in VRF " +
             std::string(vrf.view()) + ", found " + std::to_string(found[{vrf, name}]));
    }
  }
  expected_.clear();
}

}  // namespace Simulation
