#include "sim/BoundaryViews.h"

#include <algorithm>

#include "sim/BoundaryAgent.h"
#include "sim/Host.h"
#include "sim/TextTable.h"
#include "sim/Words.h"

namespace Brindle::Sim {

using Nettle::IpGenPrefix;

namespace {

std::string nameOf(Nettle::IntfId intf) { return std::string(intf.view()); }

// Whether all chips that there are now hold an entry.
bool stands(auto const & chips, auto const & handles) {
  for (auto const & chip : chips.items()) {
    auto const * const held = handles.find(chip.key);
    if (!held || held->chip != chip.value || held->handle.isNull()) return false;
  }
  return true;
}

// The prefixes of sources for which a prefix of groups stands in the chips.
std::vector<std::string> sourcesOf(Host const & host, Nettle::IntfId intf,
                                   IpGenPrefix const & groups) {
  std::vector<std::string> out;
  BoundaryAgent const & agent = host.boundaryAgent();
  if (agent.asyncTcam()) {
    auto const * const sm = agent.asyncTcam()->intfSm(intf);
    auto const * const info = sm ? sm->prefixInfo().find(groups) : nullptr;
    auto const & chips = host.hardware().asyncFabric()->chip();
    if (info && stands(chips, info->routeHandle())) out.push_back("0.0.0.0/0");
  } else if (agent.tcam()) {
    auto const * const sm = agent.tcam()->intfSm(Zet::String(intf.view()));
    auto const * const info = sm ? sm->prefixInfo().find(groups) : nullptr;
    if (!info) return out;
    auto const & chips = host.hardware().fabric()->chip();
    for (auto i = info->sPrefixInfo().begin(); i; i.advance()) {
      if (stands(chips, i->routeHandle())) out.push_back(Zet::textOf(i.key()));
    }
  }
  std::sort(out.begin(), out.end());
  return out;
}

void addDenied(Host const & host, BoundaryAgent const & agent, BoundaryView & view) {
  auto const & all = agent.boundaries().intfBoundaryStatus();
  for (auto i = all.begin(); i; i.advance()) {
    auto const intf = i->intfId();
    bool const waits =
        agent.tcam() && agent.tcam()->unprogrammedIntf().contains(Zet::String(intf.view()));
    for (auto const & groups : i->boundary().items()) {
      view.denied.push_back({nameOf(intf), Zet::textOf(groups),
                             host.records().intfVlanIdTable->intfIdToVlanId(intf).value(),
                             sourcesOf(host, intf, groups), waits});
    }
  }
  std::sort(view.denied.begin(), view.denied.end(), [](auto const & a, auto const & b) {
    return std::tie(a.intf, a.groups) < std::tie(b.intf, b.groups);
  });
}

BoundaryView::Learned learned(Host const & host, KeyView const & key, Nettle::IntfId intf) {
  Bridging::VlanIdOrNone const vlan = host.records().intfVlanIdTable->intfIdToVlanId(intf);
  BoundaryView::Learned out{key, nameOf(intf), vlan.value(), false, {}};
  auto const * const table = host.routeTables().vrfMrouteTable(key.vrf);
  auto const * const route = table ? table->boundaryMroute(key.key) : nullptr;
  bool const stands = vlan && route && route->fastdrop().contains(Bridging::VlanId(vlan));
  auto const * const vrf = host.records().hardware->vrfStatus(key.vrf);
  auto const * const status = stands && vrf ? vrf->route(key.key) : nullptr;
  if (!status) return out;
  auto const drop = host.records().intfVlanIdTable->vlanIdToIntfId(Bridging::VlanId(vlan));
  double const * const seen = status->fastdropLastPollTime().find(Zet::String(drop.view()));
  out.inHardware = !status->hwFlags() && seen;
  if (seen) out.age = host.now() - *seen;
  return out;
}

void addLearned(Host const & host, BoundaryFastdrop::StatusColl const & all, BoundaryView & view) {
  for (auto vrf = all.vrfStatus().begin(); vrf; vrf.advance()) {
    for (auto intf = vrf->fastdrop().begin(); intf; intf.advance()) {
      for (auto group = intf->group().begin(); group; group.advance()) {
        for (auto source = group->source().begin(); source; source.advance()) {
          KeyView const key{vrf.key(), {IpGenPrefix(source.key()), IpGenPrefix(group.key())}};
          view.learned.push_back(learned(host, key, intf.key()));
        }
      }
    }
  }
  std::sort(view.learned.begin(), view.learned.end(), [](auto const & a, auto const & b) {
    return std::tie(a.key, a.intf) < std::tie(b.key, b.intf);
  });
}

std::string stateOf(BoundaryView::Denied const & one) {
  if (one.vlan == 0) return "no VLAN";
  if (!one.sources.empty()) return "in hardware";
  return one.waits ? "waits for room" : "-";
}

// Sources of which both tell: those of an entry, and those of a route.
bool meet(IpGenPrefix const & some, IpGenPrefix const & others) {
  return some.contains(others) || others.contains(some);
}

// What becomes of a route's traffic that comes in over a boundary.
std::string fateOf(BoundaryView const & view, BoundaryView::Denied const & one,
                   KeyView const & key) {
  if (view.by == BoundaryView::By::tcam) {
    std::vector<std::string> sources;
    for (auto const & source : one.sources) {
      if (meet(IpGenPrefix(source.c_str()), key.key.source())) sources.push_back(source);
    }
    if (!sources.empty()) return "the chips keep it out from " + joined(sources);
    if (!one.sources.empty()) return "but not from its sources";
    return one.vlan ? "but not every chip holds that" : "but the interface has no VLAN";
  }
  if (view.by == BoundaryView::By::nothing) return "which is left to the linecards";
  if (!one.vlan) return "but the interface has no VLAN";
  for (auto const & learned : view.learned) {
    if (learned.intf != one.intf || learned.key.vrf != key.vrf || learned.key.key != key.key) {
      continue;
    }
    return learned.inHardware ? "the chips drop what was reported"
                              : "reported, but not dropped by the chips";
  }
  return "of it nothing has been reported";
}

}  // namespace

std::vector<Denial> denialsOf(Host & host, KeyView const & key) {
  std::vector<Denial> out;
  if (!host.boundaryAgent().runs()) return out;
  auto const view = boundaryView(host);
  for (auto const & one : view.denied) {
    if (!meet(IpGenPrefix(one.groups.c_str()), key.key.group())) continue;
    Bridging::VlanIdOrNone const vlan(one.vlan);
    if (vlan && host.root().doGetVrfNameFromVid(vlan) != key.vrf) continue;
    out.push_back({"Denied on " + one.intf + ": " + one.groups + ", " + fateOf(view, one, key),
                   "boundary del " + one.groups + " dev " + one.intf});
  }
  return out;
}

BoundaryView boundaryView(Host & host) {
  BoundaryView view;
  BoundaryAgent const & agent = host.boundaries();
  if (agent.tcam() || agent.asyncTcam()) {
    view.by = BoundaryView::By::tcam;
  } else if (agent.fastdrop()) {
    view.by = BoundaryView::By::learning;
  }
  addDenied(host, agent, view);
  auto const * const all = agent.config()->fastdropStatusColl().get();
  if (all) addLearned(host, *all, view);
  return view;
}

void print(std::ostream & out, BoundaryView const & view) {
  out << "Boundaries by " << BoundaryView::byNames[static_cast<int>(view.by)] << '\n';
  TextTable denied({"Interface", "VLAN", "Denied", "Sources", "State"});
  for (auto const & one : view.denied) {
    denied.add({one.intf, one.vlan ? std::to_string(one.vlan) : "-", one.groups,
                one.sources.empty() ? "-" : joined(one.sources), stateOf(one)});
  }
  denied.print(out);
  if (view.learned.empty()) return;
  TextTable learned({"VRF", "Source", "Group", "Interface", "VLAN", "State", "Seen"});
  for (auto const & one : view.learned) {
    learned.add({one.key.vrfText(), one.key.source(), one.key.group(), one.intf,
                 one.vlan ? std::to_string(one.vlan) : "-",
                 one.inHardware ? "in hardware" : "not in hardware",
                 one.age ? std::to_string(static_cast<U32>(*one.age)) + " s ago" : "-"});
  }
  learned.print(out);
}

nlohmann::ordered_json toJson(BoundaryView const & view) {
  using Json = nlohmann::ordered_json;
  Json denied = Json::array(), learned = Json::array();
  for (auto const & one : view.denied) {
    denied.push_back({{"interface", one.intf},
                      {"vlan", one.vlan},
                      {"groups", one.groups},
                      {"sources", one.sources},
                      {"state", stateOf(one)}});
  }
  for (auto const & one : view.learned) {
    learned.push_back({{"vrf", one.key.vrfText()},
                       {"source", one.key.source()},
                       {"group", one.key.group()},
                       {"interface", one.intf},
                       {"vlan", one.vlan},
                       {"inHardware", one.inHardware},
                       {"age", one.age ? Json(*one.age) : Json()}});
  }
  return {{"by", BoundaryView::byNames[static_cast<int>(view.by)]},
          {"denied", std::move(denied)},
          {"learned", std::move(learned)}};
}

}  // namespace Brindle::Sim
