#include "sim/Causes.h"

#include <algorithm>

#include "sim/Host.h"

namespace Brindle::Sim {

namespace {

// Seconds. Reviews are at most one apart.
constexpr Zet::Seconds recent = 5;
constexpr std::size_t shownCauses = 2;

template <class T> std::string joined(std::vector<T> const & items, char const * between) {
  std::string text;
  for (std::size_t i = 0; i < items.size() && i < shownCauses; ++i) {
    text.append(text.empty() ? "" : between).append(items[i]);
  }
  if (items.size() > shownCauses) {
    text += " and " + std::to_string(items.size() - shownCauses) + " more";
  }
  return text;
}

std::string vlanText(Bridging::VlanIdOrNone vlan) { return "VLAN " + std::to_string(vlan.value()); }

}  // namespace

Causes::Causes(Host & host) : host_(host) {
  followVrfs();
  auto const & machines = host.root().mira();
  for (auto i = machines.begin(); i; i.advance()) {
    auto const & routes = i->mrouteTable()->mroute();
    for (auto r = routes.begin(); r; r.advance()) {
      published_[{i.key(), r.key()}] = r->shoalRoute();
    }
  }
}

void Causes::followVrfs() {
  auto const & machines = host_.root().mira();
  Zet::replay(&machines, zetDirtyChangeSet_, [&](L3::VrfName const & vrf) {
    if (Mira const * const mira = machines.find(vrf)) {
      zetDirtyChangeSet_.attach(vrf, mira->dirtyChangeSet());
    } else {
      zetDirtyChangeSet_.del(vrf);
    }
  });
}

void Causes::commandIs(std::string_view line) {
  forgetOld();
  commands_.push_back({host_.now(), std::string(line)});
  followVrfs();
}

void Causes::forget() {
  commands_.clear();
  marks_.clear();
}

void Causes::forgetOld() {
  auto const old = [now = host_.now()](Recent const & one) { return now - one.time > recent; };
  std::erase_if(commands_, old);
  std::erase_if(marks_, old);
}

// --- Marks

void Causes::note(L3::VrfName vrf, Filters const & bits, std::string const & text) {
  for (Mark & mark : marks_) {
    if (mark.vrf != vrf || mark.text != text) continue;
    mark.time = host_.now();
    return;
  }
  marks_.push_back({{host_.now(), text}, vrf, bits});
}

void Causes::ZetDirtyChangeSet::onDirtyVlanCount() {
  for (auto vlan : target()->vlanId().items()) note({.vlan = vlanBit(vlan)}, vlanText(vlan));
}

void Causes::ZetDirtyChangeSet::onDirtyVlanPortCount() {
  for (auto i = target()->port().begin(); i; i.advance()) {
    note({.vlanPort = vlanPortBit(i.value(), i.key())},
         vlanText(i.value()) + " port " + Zet::textOf(i.key()));
  }
}

void Causes::ZetDirtyChangeSet::onDirtyVlanGroupCount() {
  for (auto i = target()->ethGroup().begin(); i; i.advance()) {
    note({.vlanGroup = vlanGroupBit(i.value(), i.key())},
         vlanText(i.value()) + " group " + Zet::textOf(i.key()));
  }
}

void Causes::ZetDirtyChangeSet::onDirtyLagCount() {
  for (auto lag : target()->lag().items()) note({.lag = lagBit(lag)}, Zet::textOf(lag));
}

void Causes::ZetDirtyChangeSet::onAllVlansDirtyCount() { note({.vlan = ~0u}, "all VLANs"); }

// --- Explanation

std::string Causes::of(RouteKey const & key, Bridging::VlanIdOrNone vlan, bool dropped) {
  forgetOld();
  std::string text = reason(key, vlan, dropped);
  std::vector<std::string> commands;
  for (Recent const & command : commands_) commands.push_back(command.text);
  if (commands.empty()) return text;
  return text + (text.empty() ? "" : ": ") + joined(commands, "; ");
}

std::string Causes::reason(RouteKey const & key, Bridging::VlanIdOrNone vlan, bool dropped) {
  if (key.kind() != Routing::Multicast::Fib::mroute_) return {};
  auto const & machines = host_.root().mira();
  for (auto i = machines.begin(); i; i.advance()) {
    Mroute const * const route = i->mrouteTable()->mroute(key);
    if (!route) {
      if (published_.erase({i.key(), key})) return "withdrawn";
      continue;
    }
    std::string const text = reasonOf(*i, *route, vlan);
    return dropped && text.empty() && commands_.empty() ? "nothing left to drop" : text;
  }
  return {};
}

std::string Causes::reasonOf(Mira const & mira, Mroute const & route, Bridging::VlanIdOrNone vlan) {
  auto & published = published_[{mira.vrfName(), route.key()}];
  bool const isNew = !(published == route.shoalRoute());
  published = route.shoalRoute();
  if (vlan && route.fastdrop().contains(Bridging::VlanId(vlan))) {
    return "RPF failures in " + vlanText(vlan);
  }
  if (isNew) return "published";
  std::vector<std::string> met;
  for (Mark const & mark : marks_) {
    if (mark.vrf == mira.vrfName() && mark.bits.meets(route.filters())) met.push_back(mark.text);
  }
  return joined(met, ", ");
}

}  // namespace Brindle::Sim
